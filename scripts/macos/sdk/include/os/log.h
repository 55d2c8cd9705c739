// What this project uses of <os/log.h>, which the open Darwin headers lack: the same names, and the same way of making
// the arguments' bytes, so that clang checks formats against arguments as it does on a Mac.
#pragma once

#include <os/object.h>
#include <stdint.h>

#if defined(__cplusplus)
extern "C" {
#endif

typedef struct os_log_s* os_log_t;
typedef uint8_t os_log_type_t;
enum : os_log_type_t { OS_LOG_TYPE_DEBUG = 2 };

os_log_t _Nonnull os_log_create(const char* _Nonnull subsystem, const char* _Nonnull category);
bool os_log_type_enabled(os_log_t _Nonnull log, os_log_type_t type);
void _os_log_debug_impl(void* _Nonnull dso, os_log_t _Nonnull log, os_log_type_t type, const char* _Nonnull format,
                        uint8_t* _Nonnull buffer, uint32_t size);
extern char __dso_handle;

#if defined(__cplusplus)
}
#endif

#define os_log_debug(log, format, ...)                                                                              \
    __extension__({                                                                                                 \
        os_log_t _log = (log);                                                                                      \
        if (os_log_type_enabled(_log, OS_LOG_TYPE_DEBUG)) {                                                         \
            static const char _format[] __attribute__((section("__TEXT,__oslogstring,cstring_literals"))) = format; \
            uint8_t _buffer[__builtin_os_log_format_buffer_size(format, ##__VA_ARGS__)];                            \
            __builtin_os_log_format(_buffer, format, ##__VA_ARGS__);                                                \
            _os_log_debug_impl(&__dso_handle, _log, OS_LOG_TYPE_DEBUG, _format, _buffer, sizeof _buffer);           \
        }                                                                                                           \
    })
