// SPDX-License-Identifier: MIT
#include "tests/support/SystemBus.h"

#include <sched.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "core/base/FileDescriptor.h"
#include "tests/support/PrivateMounts.h"
#include "tests/support/Waiting.h"

namespace varnel::tests {
namespace {

constexpr const char* addressVariable = "DBUS_SYSTEM_BUS_ADDRESS";
constexpr const char* python = "/usr/bin/python3";
constexpr const char* busDaemon = "/usr/bin/dbus-daemon";
constexpr const char* udevDaemon = "/lib/systemd/systemd-udevd";
constexpr const char* udisksDaemon = "/usr/libexec/udisks2/udisksd";

const std::string programs = "export PATH=$PATH:/sbin:/usr/sbin; ";

void waitFor(const std::string& file) {
    if (!comesTrue([&] { return std::filesystem::exists(file); })) throw std::runtime_error(file + " never appeared");
}

/// The file of a socket is there a moment before anybody listens at it.
bool answers(const std::string& socketFile) {
    const FileDescriptor connection(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    socketFile.copy(address.sun_path, sizeof address.sun_path - 1);
    return ::connect(connection.get(), reinterpret_cast<const sockaddr*>(&address), sizeof address) == 0;
}

bool succeeds(const std::string& command) {
    return std::system((programs + "{ " + command + "; } >/dev/null 2>&1 </dev/null").c_str()) == 0;
}

}  // namespace

LoopDevice::LoopDevice(const std::string& image) : image_(image) {
    // The one that is free may be somebody else's a moment later.
    shell(programs + "truncate -s 16M '" + image + "' && mkfs.ext4 -q -F '" + image + "' && " +
          patiently("losetup -f -P --show '" + image + "'") + " >'" + image + ".device'");
    std::ifstream(image + ".device") >> path_;
}

LoopDevice::~LoopDevice() {
    if (isAttached()) succeeds("losetup -d " + path_);
}

std::string LoopDevice::name() const {
    return std::filesystem::path(path_).filename().string();
}

std::uint64_t LoopDevice::number() const {
    struct stat facts {};
    if (::stat(path_.c_str(), &facts) != 0) throw std::runtime_error("no device " + path_);
    return facts.st_rdev;
}

bool LoopDevice::isAttached() const {
    // Once given back it may be anybody's.
    std::ifstream file("/sys/block/" + name() + "/loop/backing_file");
    std::string image;
    return std::getline(file, image) && image == image_;
}

bool LoopDevice::isFreed() const {
    return comesTrue([this] { return !isAttached(); });
}

SystemBus::SystemBus(const std::string& folder) : folder_(folder) {
    const std::string socket = folder_ + "/bus";
    std::ofstream(folder_ + "/bus.conf")
        << "<busconfig><type>system</type><listen>unix:path=" << socket
        << "</listen><policy context=\"default\"><allow send_destination=\"*\"/>"
           "<allow receive_sender=\"*\"/><allow own=\"*\"/><allow user=\"*\"/></policy></busconfig>";
    bus_ = std::make_unique<Daemon>(
        std::vector<std::string>{busDaemon, "--config-file=" + folder_ + "/bus.conf", "--nofork", "--nopidfile"},
        folder_ + "/bus.log");
    if (!comesTrue([&] { return answers(socket); })) throw std::runtime_error("the bus does not answer");
    ::setenv(addressVariable, ("unix:path=" + socket).c_str(), 1);
}

SystemBus::~SystemBus() {
    ::unsetenv(addressVariable);
}

std::string SystemBus::missing() {
    if (::access(busDaemon, X_OK) != 0) return "dbus-daemon";
    if (!succeeds(std::string(python) + " -c 'import dbusmock'")) return "python3-dbusmock";
    return {};
}

void SystemBus::startUDisks(nlohmann::json parameters) {
    parameters["journal"] = folder_ + "/calls";
    parameters["ready"] = folder_ + "/ready";
    udisks_ = std::make_unique<Daemon>(
        std::vector<std::string>{python, "-B", "-m", "dbusmock", "--system", "--template",
                                 VARNEL_TEST_SUPPORT "/udisks_double.py", "-p", parameters.dump()},
        folder_ + "/udisks.log");
    waitFor(folder_ + "/ready");
}

std::vector<std::string> SystemBus::calls() const {
    std::vector<std::string> lines;
    std::ifstream journal(folder_ + "/calls");
    for (std::string line; std::getline(journal, line);)
        lines.push_back(line);
    return lines;
}

RealUDisks::RealUDisks(const std::string& folder) : bus_(folder) {
    // The kernel tells every network namespace of devices; what the device manager makes of it stays in this one.
    if (::unshare(CLONE_NEWNET) != 0) throw std::runtime_error("no network namespace");
    // Where the daemon keeps what it remembers is made at its first start, which this machine may not have seen.
    const std::string state = "/var/lib/udisks2";
    shell(programs + "mount -t tmpfs run /run && mkdir -p /run/udev /run/lock /run/devices " + state +
          " && mount -t tmpfs state " + state + " && mount -t tmpfs devices /run/devices && " +
          "cd /run/devices && for n in null zero full random urandom tty ptmx loop-control fuse; do cp -a /dev/$n . || "
          "exit; " +
          "done && ln -s /proc/self/fd fd && mkdir pts shm && mount --bind /dev/pts pts && " +
          "mount --move /run/devices /dev");
    udev_ = std::make_unique<Daemon>(std::vector<std::string>{udevDaemon}, folder + "/udev.log");
    waitFor("/run/udev/control");
    udisks_ = std::make_unique<Daemon>(std::vector<std::string>{udisksDaemon}, folder + "/udisks.log");
}

std::string RealUDisks::missing() {
    if (::access(busDaemon, X_OK) != 0) return "dbus-daemon";
    if (::access(udevDaemon, X_OK) != 0) return "udev";
    if (::access(udisksDaemon, X_OK) != 0) return "udisks2";
    if (!succeeds("command -v dbus-send")) return "dbus-send";
    return {};
}

void RealUDisks::add(const LoopDevice& device) {
    shell(programs + "for B in /sys/block/" + device.name() + " /sys/block/" + device.name() + "/" + device.name() +
          "p*; do [ -e $B/dev ] || continue; D=$(cat $B/dev); N=/dev/${B##*/}; " +
          "[ -e $N ] || mknod $N b ${D%:*} ${D#*:} || exit; " +
          // A device manager that has only just begun may miss the event, and whoever waits for it waits for ever.
          patiently("timeout 5 udevadm trigger --settle $B") + "; done");
}

bool RealUDisks::knowsMount(const std::string& device, const std::string& mountPoint) {
    return comesTrue([&] {
        return succeeds(
            "dbus-send --system --print-reply --dest=org.freedesktop.UDisks2 "
            "/org/freedesktop/UDisks2/block_devices/" +
            std::filesystem::path(device).filename().string() +
            " org.freedesktop.DBus.Properties.Get string:org.freedesktop.UDisks2.Filesystem "
            "string:MountPoints | grep -q '\"" +
            mountPoint + "\"'");
    });
}

}  // namespace varnel::tests
