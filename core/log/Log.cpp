// SPDX-License-Identifier: MIT
#include "core/log/Log.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "core/base/FileDescriptor.h"
#include "core/base/HomeFolder.h"
#include "core/base/Path.h"
#include "core/base/SerialQueue.h"
#include "core/base/Text.h"
#include "core/log/LogStamp.h"
#include "core/log/SystemLog.h"

namespace varnel {
namespace {

constexpr const char* queueLabel = "com.quorin.varnel.log";
constexpr const char* fileName = "varnel.log";
constexpr mode_t folderMode = 0777;  // as far as the umask lets
constexpr mode_t fileMode = 0666;

/// Makes the folder with every folder above it that is missing. What fails shows when the file is opened.
void makeFolders(const std::string& directory) {
    if (::mkdir(directory.c_str(), folderMode) == 0 || errno != ENOENT) return;
    const std::string parent(Path::withoutLastComponent(directory));
    if (parent.empty() || parent == directory) return;
    makeFolders(parent);
    ::mkdir(directory.c_str(), folderMode);
}

FileDescriptor openFile(const std::string& directory, const std::string& path) {
    makeFolders(directory);
    return FileDescriptor(
        ::open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC | O_NOCTTY | O_NONBLOCK, fileMode));
}

std::int64_t systemClock() {
    return static_cast<std::int64_t>(std::time(nullptr));
}

}  // namespace

/// What the queue's work needs, shared with it so that a line outlives the log that took it.
struct Log::File {
    File(FileDescriptor opened, Echo listener) : descriptor(std::move(opened)), echo(std::move(listener)) {}

    /// Takes a line for later. True where somebody has to call writeWaiting() on the queue: a storm of lines must not
    /// wake the queue for each.
    bool take(std::string line) {
        const std::lock_guard lock(mutex);
        waiting.push_back(std::move(line));
        return !std::exchange(isScheduled, true);
    }

    /// On the log's queue only.
    void writeWaiting() {
        std::vector<std::string> lines;
        {
            const std::lock_guard lock(mutex);
            lines.swap(waiting);
            isScheduled = false;
        }
        for (const std::string& line : lines) {
            if (descriptor.isOpen()) append(line);
            if (echo) echo(std::string_view(line).substr(0, line.size() - 1));
        }
    }

    /// On the log's queue only.
    void append(std::string_view line) {
        std::string repairedLine;
        if (isBroken) {
            repairedLine = "\n" + std::string(line);
            line = repairedLine;
        }
        for (;;) {
            const ssize_t written = ::write(descriptor.get(), line.data(), line.size());
            if (written < 0 && errno == EINTR) continue;
            if (written < 0) {
                lastError = errno;
            } else if (static_cast<std::size_t>(written) < line.size()) {
                lastError = ENOSPC;
                if (written > 0) isBroken = true;
            } else {
                isBroken = false;
            }
            return;
        }
    }

    std::mutex mutex;
    std::vector<std::string> waiting;
    bool isScheduled = false;

    FileDescriptor descriptor;  // none where no file could be opened
    Echo echo;
    bool isBroken = false;  // the file ends in the middle of a line
    std::atomic<int> lastError{0};
};

Log::Log(std::string path, std::shared_ptr<File> file, std::shared_ptr<SerialQueue> queue, Clock clock)
    : path_(std::move(path)), file_(std::move(file)), queue_(std::move(queue)), clock_(std::move(clock)) {}

std::shared_ptr<Log> Log::open(const std::string& directory) {
    return open(directory, SerialQueue::create(queueLabel), systemClock);
}

std::shared_ptr<Log> Log::open(const std::string& directory, std::shared_ptr<SerialQueue> queue, Clock clock) {
    std::string path = Path::joined(directory, fileName);
    auto file = openFile(directory, path);
    if (!file.isOpen()) return nullptr;
    return std::shared_ptr<Log>(
        new Log(std::move(path), std::make_shared<File>(std::move(file), nullptr), std::move(queue), std::move(clock)));
}

std::shared_ptr<Log> Log::openEchoing(const std::string& directory, Echo echo) {
    std::string path = Path::joined(directory, fileName);
    auto file = openFile(directory, path);
    if (!file.isOpen()) path.clear();
    return std::shared_ptr<Log>(new Log(std::move(path), std::make_shared<File>(std::move(file), std::move(echo)),
                                        SerialQueue::create(queueLabel), systemClock));
}

std::string Log::defaultDirectory() {
    return Path::joined(HomeFolder::current(), "Library/Logs/Varnel");
}

void Log::write(std::string_view message) {
    const std::string text = Text::repaired(message);
    std::string line = LogStamp::text(clock_()) + ' ' + text + '\n';
    SystemLog::mirror(text);
    if (file_->take(std::move(line))) queue_->async([file = file_] { file->writeWaiting(); });
}

void Log::flush() {
    queue_->sync([] {});
}

int Log::lastError() const {
    return file_->lastError;
}

}  // namespace varnel
