// SPDX-License-Identifier: MIT
#pragma once

#include <memory>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tests/support/Daemon.h"

namespace varnel::tests {

/// A block device over a file, with an ext4 file system on it; given back when this goes. Needs root.
class LoopDevice {
public:
    explicit LoopDevice(const std::string& image);
    ~LoopDevice();
    LoopDevice(const LoopDevice&) = delete;
    LoopDevice& operator=(const LoopDevice&) = delete;

    const std::string& path() const { return path_; }  ///< "/dev/loop0"
    std::string name() const;                          ///< "loop0"
    std::uint64_t number() const;
    bool isAttached() const;  ///< To the file that it was made for.
    /// Whether it let go of that file, if need be in a moment: whoever looks at it delays that.
    bool isFreed() const;

private:
    std::string image_;
    std::string path_;
};

/// A bus of the test's own in the place of the system's, for this process and those that it starts; with a UDisks2 on
/// it that does as the test says, where that is wanted (support/udisks_double.py tells how).
class SystemBus {
public:
    explicit SystemBus(const std::string& folder);
    ~SystemBus();
    SystemBus(const SystemBus&) = delete;
    SystemBus& operator=(const SystemBus&) = delete;

    /// What the test needs for startUDisks() and this machine has not; empty where nothing is missing.
    static std::string missing();

    void startUDisks(nlohmann::json parameters);

    /// The calls to UDisks2, in their order.
    std::vector<std::string> calls() const;

private:
    std::string folder_;
    std::unique_ptr<Daemon> bus_;
    std::unique_ptr<Daemon> udisks_;
};

/// The real UDisks2 with a bus and a device manager of its own, in this process's mount namespace: /run, /dev and its
/// state are fresh, and of the block devices it can open only those that it is given.
class RealUDisks {
public:
    explicit RealUDisks(const std::string& folder);

    static std::string missing();

    /// Makes a device known, with the partitions on it.
    static void add(const LoopDevice& device);

    /// Waits until UDisks2 knows where a device is mounted.
    static bool knowsMount(const std::string& device, const std::string& mountPoint);

private:
    SystemBus bus_;
    std::unique_ptr<Daemon> udev_;
    std::unique_ptr<Daemon> udisks_;
};

}  // namespace varnel::tests
