// SPDX-License-Identifier: MIT
#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <expected>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <thread>
#include <utility>

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

/// The file that bore the log's name when it was opened, and how far it was printed.
class LogFile {
public:
    /// An errno value where it cannot be opened.
    static std::expected<LogFile, int> open(const std::string& path) {
        FileDescriptor file(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
        struct stat facts {};
        if (!file.isOpen() || ::fstat(file.get(), &facts) != 0) return std::unexpected(errno);
        return LogFile(std::move(file), facts);
    }

    /// Leaves out all but the last lines, found from the end. 0 or an errno value.
    int skipToLast(std::int64_t lines) {
        struct stat facts {};
        if (::fstat(file_.get(), &facts) != 0) return errno;
        printed_ = lines > 0 ? 0 : facts.st_size;
        std::string block;
        for (off_t end = facts.st_size; end > 0 && lines > 0;) {
            const off_t start = std::max<off_t>(0, end - blockSize);
            block.resize(static_cast<std::size_t>(end - start));
            const ssize_t got = ::pread(file_.get(), block.data(), block.size(), start);
            if (got < 0) return errno;
            if (got < static_cast<ssize_t>(block.size())) return 0;  // emptied meanwhile
            for (off_t at = end; at > start && lines > 0; --at) {
                // The line feed at the very end ends the last line and begins no other.
                const bool beginsLine = block[static_cast<std::size_t>(at - 1 - start)] == '\n' && at != facts.st_size;
                if (beginsLine && --lines == 0) printed_ = at;
            }
            end = start;
        }
        return 0;
    }

    /// Prints the whole lines that are new. 0 or an errno value.
    int printNew() {
        struct stat facts {};
        if (::fstat(file_.get(), &facts) != 0) return errno;
        if (facts.st_size < printed_) {  // emptied, as whoever rotates logs may do; what follows is new
            printed_ = 0;
            partialLine_.clear();
        }
        std::array<char, 16384> buffer{};
        for (;;) {
            const ssize_t got = ::pread(file_.get(), buffer.data(), buffer.size(), printed_);
            if (got < 0) return errno;
            if (got == 0) return 0;
            printed_ += got;
            partialLine_.append(buffer.data(), static_cast<std::size_t>(got));
            std::size_t start = 0;
            for (auto end = partialLine_.find('\n'); end != std::string::npos; end = partialLine_.find('\n', start)) {
                print(std::string_view(partialLine_).substr(start, end - start));
                start = end + 1;
            }
            partialLine_.erase(0, start);
        }
    }

    /// Prints the line that has no end yet.
    void printPartialLine() {
        if (!partialLine_.empty()) print(partialLine_);
        partialLine_.clear();
    }

    /// Whether another file bears the name by now. Not so where there is none: the log may go on in this one.
    bool isReplacedAt(const std::string& path) const {
        struct stat facts {};
        return ::stat(path.c_str(), &facts) == 0 && (facts.st_dev != device_ || facts.st_ino != inode_);
    }

private:
    LogFile(FileDescriptor file, const struct stat& facts)
        : file_(std::move(file)), device_(facts.st_dev), inode_(facts.st_ino) {}

    static void print(std::string_view line) { Output::result(Output::shown(line) + '\n'); }

    FileDescriptor file_;
    dev_t device_;
    ino_t inode_;
    off_t printed_ = 0;
    std::string partialLine_;
};

ExitStatus failure(const std::string& path, int error) {
    Output::message(Output::shownInMessage(path) + ": " + std::generic_category().message(error));
    return ExitStatus::failed;
}

/// Waits until it is time to look again. False where nobody reads what is printed any more: that shows without a line
/// to print.
bool waitForReader() {
    struct stat facts {};
    const bool isPipe = ::fstat(STDOUT_FILENO, &facts) == 0 && (S_ISFIFO(facts.st_mode) || S_ISSOCK(facts.st_mode));
    if (!isPipe) {
        std::this_thread::sleep_for(lookInterval);
        return true;
    }
    pollfd end{STDOUT_FILENO, 0, 0};  // POLLERR
    return ::poll(&end, 1, static_cast<int>(lookInterval.count())) <= 0;
}

/// Prints what is written, in whatever file bears the name, until nobody reads it.
ExitStatus follow(const std::string& path, std::optional<LogFile> log) {
    for (;;) {
        if (!log) {
            auto opened = LogFile::open(path);
            if (opened) {
                log = *std::move(opened);
            } else if (opened.error() != ENOENT) {
                return failure(path, opened.error());
            }
        }
        const bool isReplaced = log && log->isReplacedAt(path);  // asked first: what it got until then is printed
        if (const int error = log ? log->printNew() : 0; error != 0) return failure(path, error);
        if (isReplaced) {
            log->printPartialLine();
            log.reset();
        }
        if (!Output::flush() || (!isReplaced && !waitForReader())) return ExitStatus::failed;
    }
}

}  // namespace

ExitStatus runLog(const LogArguments& arguments) {
    const std::string path = Path::joined(Log::defaultDirectory(), "varnel.log");
    if (!arguments.lines && !arguments.follow) {
        Output::result(Output::shown(path) + '\n');
        return ExitStatus::done;
    }
    auto log = LogFile::open(path);
    if (!log && log.error() == ENOENT && arguments.follow) {
        Output::message(Output::shownInMessage(path) + ": No such file or directory; waiting until it is there");
        return follow(path, std::nullopt);
    }
    if (!log) return failure(path, log.error());
    int error = log->skipToLast(arguments.lines.value_or(linesBeforeFollowing));
    if (error == 0) error = log->printNew();
    if (error != 0) return failure(path, error);
    if (arguments.follow) return follow(path, *std::move(log));
    log->printPartialLine();
    return ExitStatus::done;
}

}  // namespace varnel::cli
