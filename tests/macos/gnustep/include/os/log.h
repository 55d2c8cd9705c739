// SPDX-License-Identifier: MIT
//
// Stands for macOS's unified log: what is logged is kept for the test (Fakes.h).
#pragma once

typedef struct VarnelFakeLog* os_log_t;

os_log_t os_log_create(const char* subsystem, const char* category);
void varnelFakeLogDebug(os_log_t log, const char* format, const char* argument);

#define os_log_debug(log, format, argument) varnelFakeLogDebug(log, format, argument)
