// SPDX-License-Identifier: MIT
#include "core/log/SystemLog.h"

#ifndef __linux__
#error "This source is for Linux."
#endif

#include <syslog.h>  // IWYU pragma: keep
#include <systemd/sd-journal.h>
#include <unistd.h>

#include <cstdint>
#include <string>

namespace varnel::SystemLog {
namespace {

enum class Sink : std::uint8_t { none, journal, syslog };

/// Looked up once: without a socket each message would cost a failed connection attempt.
Sink findSink() {
    if (::access("/run/systemd/journal/socket", W_OK) == 0) return Sink::journal;
    if (::access("/dev/log", W_OK) == 0) return Sink::syslog;
    return Sink::none;
}

}  // namespace

void mirror(const std::string& message) {
    static const Sink sink = findSink();
    switch (sink) {
        case Sink::none:
            break;
        case Sink::journal:
            sd_journal_send("MESSAGE=%s", message.c_str(), "PRIORITY=%i", LOG_DEBUG, "SYSLOG_IDENTIFIER=varnel",
                            "VARNEL_SUBSYSTEM=com.quorin.varnel", "VARNEL_CATEGORY=clean", nullptr);
            break;
        case Sink::syslog:
            ::syslog(LOG_DEBUG | LOG_USER, "com.quorin.varnel clean: %s", message.c_str());
            break;
    }
}

}  // namespace varnel::SystemLog
