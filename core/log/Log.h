// SPDX-License-Identifier: MIT
//
// The one journal of what Varnel did: a text file that only ever grows, and a mirror in the system's log.
//
// Each line goes out in one write to a file opened for appending, so that the application and the command line can
// write to the same file. Where a write falls short, on a full disk, the next line begins with a line feed of its own:
// lines may be lost then, but never run into each other.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

#include "core/base/SerialQueue.h"

namespace varnel {

class Log {
public:
    /// The time that stamps the lines, in seconds since 1970.
    using Clock = std::function<std::int64_t()>;

    /// Opens, or creates with its folders, the file "varnel.log" in `directory`. Null where it cannot be opened, or
    /// where there is no queue to write on.
    static std::shared_ptr<Log> open(const std::string& directory);
    static std::shared_ptr<Log> open(const std::string& directory, std::shared_ptr<SerialQueue> queue, Clock clock);

    /// The same, with each line handed to `echo` as well, on the log's queue. Null only where there is no queue:
    /// lines that can go into no file are still worth hearing.
    using Echo = std::function<void(std::string_view line)>;
    static std::shared_ptr<Log> openEchoing(const std::string& directory, Echo echo);

    /// The folder of the activity log in the current user's home folder. Two names for one value.
    static std::string defaultDirectory();
    static std::string logDirectory() { return defaultDirectory(); }

    Log(const Log&) = delete;
    Log& operator=(const Log&) = delete;

    /// Absolute path of the log file; empty where none could be opened.
    const std::string& path() const { return path_; }

    /// Records one message and returns at once: the file is written later, on the log's own queue, in the order of the
    /// calls, also when the log is let go of meanwhile. The message is not escaped. Safe from any thread.
    void write(std::string_view message);

    /// Waits until everything recorded so far has been written, or has failed to be.
    void flush();

    /// The errno of the latest write that failed, 0 if none did. Exact after flush().
    int lastError() const;

private:
    struct File;

    Log(std::string path, std::shared_ptr<File> file, std::shared_ptr<SerialQueue> queue, Clock clock);

    std::string path_;
    std::shared_ptr<File> file_;
    std::shared_ptr<SerialQueue> queue_;
    Clock clock_;
};

}  // namespace varnel
