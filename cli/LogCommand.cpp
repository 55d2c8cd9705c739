// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <system_error>
#include <thread>

#include "cli/Arguments.h"
#include "cli/Commands.h"
#include "cli/ExitStatus.h"
#include "cli/Output.h"
#include "core/base/FileDescriptor.h"
#include "core/base/Path.h"
#include "core/log/Log.h"

namespace varnel::cli {
namespace {

constexpr std::int64_t linesBeforeFollowing = 10;
constexpr std::chrono::milliseconds lookInterval{200};
constexpr off_t blockSize = off_t{64} * 1024;

/// Where the last `lines` lines of a file of `size` bytes begin, read from its end.
off_t startOfLastLines(int file, off_t size, std::int64_t lines) {
    if (lines <= 0) return size;
    std::string block;
    for (off_t end = size; end > 0;) {
        const off_t start = std::max<off_t>(0, end - blockSize);
        block.resize(static_cast<std::size_t>(end - start));
        const ssize_t got = ::pread(file, block.data(), block.size(), start);
        if (got < static_cast<ssize_t>(block.size())) return size;
        for (off_t at = end; at > start; --at) {
            // The line feed at the very end ends the last line and begins no other.
            const bool beginsLine = block[static_cast<std::size_t>(at - 1 - start)] == '\n' && at != size;
            if (beginsLine && --lines == 0) return at;
        }
        end = start;
    }
    return 0;
}

/// Prints what lies between `from` and the file's end, line by line; gives the new position.
off_t printFrom(int file, off_t from, std::string& partialLine) {
    std::array<char, 16384> buffer{};
    for (;;) {
        const ssize_t got = ::pread(file, buffer.data(), buffer.size(), from);
        if (got <= 0) return from;
        from += got;
        partialLine.append(buffer.data(), static_cast<std::size_t>(got));
        std::size_t start = 0;
        for (std::size_t end = partialLine.find('\n'); end != std::string::npos; end = partialLine.find('\n', start)) {
            Output::result(Output::shown(std::string_view(partialLine).substr(start, end - start)) + '\n');
            start = end + 1;
        }
        partialLine.erase(0, start);
    }
}

ExitStatus follow(const FileDescriptor& file, off_t at, std::string& partialLine) {
    while (Output::finish()) {
        std::this_thread::sleep_for(lookInterval);
        at = printFrom(file.get(), at, partialLine);
    }
    return ExitStatus::failed;
}

}  // namespace

ExitStatus runLog(const LogArguments& arguments) {
    const std::string path = Path::joined(Log::defaultDirectory(), "varnel.log");
    if (!arguments.lines && !arguments.follow) {
        Output::result(Output::shown(path) + '\n');
        return ExitStatus::done;
    }
    const FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat facts {};
    const bool canRead = file.isOpen() && ::fstat(file.get(), &facts) == 0;
    const int error = errno;
    if (!canRead) {
        Output::message(Output::shownInMessage(path) + ": " + std::generic_category().message(error));
        return ExitStatus::failed;
    }
    std::string partialLine;
    const off_t start = startOfLastLines(file.get(), facts.st_size, arguments.lines.value_or(linesBeforeFollowing));
    const off_t at = printFrom(file.get(), start, partialLine);
    if (arguments.follow) return follow(file, at, partialLine);
    if (!partialLine.empty()) Output::result(Output::shown(partialLine) + '\n');
    return ExitStatus::done;
}

}  // namespace varnel::cli
