// SPDX-License-Identifier: MIT
#include "core/log/Log.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <ctime>
#include <limits>
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
constexpr std::chrono::milliseconds longestGathering{1};

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

    /// Takes a message for later. True where somebody has to call writeWaiting() on the queue.
    bool take(std::int64_t now, std::string_view message) {
        const std::lock_guard lock(mutex);
        if (now != stampedSecond) {
            stamp = LogStamp::text(now);
            stampedSecond = now;
        }
        std::string& line = waiting.emplace_back();
        line.reserve(stamp.size() + message.size() + 2);
        line.append(stamp).append(1, ' ').append(message).append(1, '\n');
        return !std::exchange(isScheduled, true);
    }

    /// Writes what waits, and stays for what follows shortly: in a storm of lines it would cost more to wake this
    /// thread for each than to write them. On the log's queue only.
    void writeWaiting() {
        std::unique_lock lock(mutex);
        while (!waiting.empty() && flushes == 0) {
            writeOnce(lock);
            awaited.wait_for(lock, longestGathering, [this] { return flushes > 0; });
        }
        // Where somebody flushes, the lines that are left are theirs.
        isScheduled = !waiting.empty();
    }

    /// Announces a call of flush(), so that the gathering ends. Safe from any thread.
    void announceFlush() {
        const std::lock_guard lock(mutex);
        ++flushes;
        awaited.notify_all();
    }

    /// Writes what waits now, however many lines others add meanwhile. On the log's queue only.
    void flush() {
        std::unique_lock lock(mutex);
        --flushes;
        isScheduled = false;
        writeOnce(lock);
    }

    void writeOnce(std::unique_lock<std::mutex>& lock) {
        std::vector<std::string> lines;
        lines.swap(waiting);
        lock.unlock();
        for (const std::string& line : lines) {
            if (descriptor.isOpen()) append(line);
            if (echo) echo(std::string_view(line).substr(0, line.size() - 1));
        }
        lock.lock();
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
    std::condition_variable awaited;
    std::vector<std::string> waiting;
    bool isScheduled = false;
    int flushes = 0;    // that were called and have not written yet
    std::string stamp;  // of the second below: most lines share theirs with the line before
    std::int64_t stampedSecond = std::numeric_limits<std::int64_t>::min();

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
    if (!queue) return nullptr;
    std::string path = Path::joined(directory, fileName);
    auto file = openFile(directory, path);
    if (!file.isOpen()) return nullptr;
    return std::shared_ptr<Log>(
        new Log(std::move(path), std::make_shared<File>(std::move(file), nullptr), std::move(queue), std::move(clock)));
}

std::shared_ptr<Log> Log::openEchoing(const std::string& directory, Echo echo) {
    auto queue = SerialQueue::create(queueLabel);
    if (!queue) return nullptr;
    std::string path = Path::joined(directory, fileName);
    auto file = openFile(directory, path);
    if (!file.isOpen()) path.clear();
    return std::shared_ptr<Log>(new Log(std::move(path), std::make_shared<File>(std::move(file), std::move(echo)),
                                        std::move(queue), systemClock));
}

std::string Log::defaultDirectory() {
    return Path::joined(HomeFolder::current(), "Library/Logs/Varnel");
}

void Log::write(std::string_view message) {
    const std::int64_t now = clock_();
    const std::string text = Text::repaired(message);
    SystemLog::mirror(text);
    if (file_->take(now, text)) queue_->async([file = file_] { file->writeWaiting(); });
}

void Log::flush() {
    file_->announceFlush();
    queue_->sync([this] { file_->flush(); });
}

int Log::lastError() const {
    return file_->lastError;
}

}  // namespace varnel
