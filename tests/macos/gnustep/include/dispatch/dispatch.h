// SPDX-License-Identifier: MIT
//
// Stands for libdispatch, as far as this project uses it, on a thread for each queue. What would hang or crash on macOS
// ends the test: waiting for one's own queue, releasing a queue twice.
#pragma once

#include <stdint.h>

typedef struct VarnelFakeQueue* dispatch_queue_t;
typedef void* dispatch_queue_attr_t;
typedef void (*dispatch_function_t)(void* context);
typedef uint64_t dispatch_time_t;

#define DISPATCH_QUEUE_SERIAL nullptr
#define DISPATCH_TIME_NOW 0ULL

dispatch_queue_t dispatch_queue_create(const char* label, dispatch_queue_attr_t attributes);
void dispatch_retain(dispatch_queue_t queue);
void dispatch_release(dispatch_queue_t queue);
void dispatch_async_f(dispatch_queue_t queue, void* context, dispatch_function_t work);
void dispatch_sync_f(dispatch_queue_t queue, void* context, dispatch_function_t work);
void dispatch_after_f(dispatch_time_t when, dispatch_queue_t queue, void* context, dispatch_function_t work);
enum { QOS_CLASS_USER_INITIATED = 0x19 };
dispatch_queue_t dispatch_get_main_queue(void);
dispatch_queue_t dispatch_get_global_queue(intptr_t quality, uintptr_t flags);
dispatch_time_t dispatch_time(dispatch_time_t base, int64_t nanoseconds);
void dispatch_queue_set_specific(dispatch_queue_t queue, const void* key, void* value, dispatch_function_t destructor);
void* dispatch_get_specific(const void* key);
