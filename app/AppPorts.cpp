// SPDX-License-Identifier: MIT
#include "app/AppPorts.h"

#include <chrono>
#include <expected>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "app/Desktop.h"
#include "core/base/SerialQueue.h"
#include "core/disk/Disk.h"
#include "core/disk/DiskError.h"
#include "core/log/Log.h"
#include "core/rules/RuleSet.h"
#include "core/scan/FSInfo.h"
#include "core/volumes/Volume.h"
#include "core/volumes/VolumeList.h"
#include "core/watcher/EventStream.h"
#include "core/watcher/MountNotifications.h"
#include "core/watcher/Watcher.h"

namespace varnel {
namespace {

constexpr const char* queueLabel = "com.quorin.varnel.watcher";

std::vector<Volume> mountedTargets() {
    return VolumeList::targets();
}

double now() {
    return std::chrono::duration<double>(std::chrono::system_clock::now().time_since_epoch()).count();
}

std::expected<void, DiskError> ejectVolume(const std::string& path, bool force) {
    // Were it unmounted meanwhile, or only a folder among the volumes, it would lead to the volume around it.
    if (!FSInfo::isMountPoint(path)) return std::unexpected(DiskError{"It is not a mounted volume."});
    return Disk::eject(path, force);
}

}  // namespace

AppPorts AppPorts::ofSystem(std::shared_ptr<Desktop> desktop) {
    AppPorts ports;
    ports.log = Log::open(Log::defaultDirectory());
    ports.createWatcher = [desktop = std::move(desktop)](RuleSet rules, double latency,
                                                         std::shared_ptr<Log> log) -> std::shared_ptr<Watcher> {
        auto queue = SerialQueue::create(queueLabel);
        if (!queue) return nullptr;
        const auto mounts = MountNotifications::ofSystem();
        const auto onProblem = [desktop](const std::string& problem) { desktop->writeToConsole("Varnel: " + problem); };
        return Watcher::create(
            std::move(rules), latency, std::move(log),
            {std::move(queue), EventStreams::ofSystem(mountedTargets, mounts, onProblem), mounts, mountedTargets, now});
    };
    ports.targets = mountedTargets;
    ports.fileSystemType = FSInfo::type;
    ports.eject = ejectVolume;
    return ports;
}

}  // namespace varnel
