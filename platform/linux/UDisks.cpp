// SPDX-License-Identifier: MIT
#include "platform/linux/UDisks.h"

#ifndef __linux__
#error "This source is for Linux."
#endif

#include <systemd/sd-bus-protocol.h>
#include <systemd/sd-bus.h>

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <expected>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <system_error>
#include <utility>
#include <vector>

#include "core/base/FunctionRef.h"
#include "core/base/Process.h"
#include "core/base/Text.h"

namespace varnel {
namespace {

constexpr const char* service = "org.freedesktop.UDisks2";
constexpr const char* root = "/org/freedesktop/UDisks2";
constexpr const char* blockInterface = "org.freedesktop.UDisks2.Block";
constexpr const char* driveInterface = "org.freedesktop.UDisks2.Drive";
constexpr const char* encryptedInterface = "org.freedesktop.UDisks2.Encrypted";
constexpr const char* filesystemInterface = "org.freedesktop.UDisks2.Filesystem";
constexpr const char* loopInterface = "org.freedesktop.UDisks2.Loop";
constexpr const char* partitionInterface = "org.freedesktop.UDisks2.Partition";
constexpr std::uint64_t noTimeLimit = UINT64_MAX;

struct MessageDeleter {
    void operator()(sd_bus_message* message) const { sd_bus_message_unref(message); }
};
using Message = std::unique_ptr<sd_bus_message, MessageDeleter>;

class Error {
public:
    Error() = default;
    ~Error() { sd_bus_error_free(&error_); }
    Error(const Error&) = delete;
    Error& operator=(const Error&) = delete;

    sd_bus_error* get() { return &error_; }

    /// Whether nobody was there to answer.
    bool isNobodyThere() const {
        constexpr std::array<std::string_view, 4> names = {
            SD_BUS_ERROR_SERVICE_UNKNOWN,
            SD_BUS_ERROR_NAME_HAS_NO_OWNER,
            SD_BUS_ERROR_NO_SERVER,
            SD_BUS_ERROR_DISCONNECTED,
        };
        const std::string_view name = error_.name == nullptr ? "" : error_.name;
        return name.starts_with("org.freedesktop.DBus.Error.Spawn.") || name.starts_with("System.Error.") ||
               std::find(names.begin(), names.end(), name) != names.end();
    }

    std::string message() const {
        const char* const text = error_.message == nullptr ? error_.name : error_.message;
        return text == nullptr ? std::string() : std::string(Text::trimmed(text));
    }

private:
    sd_bus_error error_{};
};

ProgramResult unreachable(const std::string& reason) {
    return {-1, "UDisks2 cannot be reached: " + reason};
}

ProgramResult unreachable(int negativeError) {
    return unreachable(std::generic_category().message(-negativeError));
}

std::expected<Message, ProgramResult> answerTo(sd_bus* bus, sd_bus_message* call) {
    Error error;
    sd_bus_message* reply = nullptr;
    if (sd_bus_call(bus, call, noTimeLimit, error.get(), &reply) < 0) {
        if (error.isNobodyThere()) return std::unexpected(unreachable(error.message()));
        return std::unexpected(ProgramResult{1, error.message()});
    }
    return Message(reply);
}

std::expected<Message, ProgramResult> newCall(sd_bus* bus, const std::string& object, const char* interface,
                                              const char* method) {
    sd_bus_message* call = nullptr;
    const int status = sd_bus_message_new_method_call(bus, &call, service, object.c_str(), interface, method);
    if (status < 0) return std::unexpected(unreachable(status));
    return Message(call);
}

// The properties that matter, out of the whole answer a{oa{sa{sv}}}. Each of these gives a negative number where the
// answer is not what it should be.

/// Calls `visit` inside each entry of a dictionary; it must read the entry to its end.
int forEachEntry(sd_bus_message* message, const char* entry, FunctionRef<int()> visit) {
    const std::string array = '{' + std::string(entry) + '}';
    int status = sd_bus_message_enter_container(message, SD_BUS_TYPE_ARRAY, array.c_str());
    if (status < 0) return status;
    while ((status = sd_bus_message_enter_container(message, SD_BUS_TYPE_DICT_ENTRY, entry)) > 0) {
        if (status = visit(); status < 0) return status;
        if (status = sd_bus_message_exit_container(message); status < 0) return status;
    }
    return status < 0 ? status : sd_bus_message_exit_container(message);
}

/// Reads a variant where it holds the wanted type; else it is none, and passed over.
template <typename Value>
int readVariant(sd_bus_message* message, const char* type, std::optional<Value>& value) {
    const char* contents = nullptr;
    if (const int status = sd_bus_message_peek_type(message, nullptr, &contents); status < 0) return status;
    if (contents == nullptr || std::string_view(contents) != type) return sd_bus_message_skip(message, "v");
    value.emplace();
    return sd_bus_message_read(message, "v", type, &*value);
}

/// An object's path; empty for the one that means none.
int readObject(sd_bus_message* message, std::string& object) {
    std::optional<const char*> path;
    const int status = readVariant(message, "o", path);
    if (path && *path != nullptr && std::string_view(*path) != "/") object = *path;
    return status;
}

int readFlag(sd_bus_message* message, bool& flag) {
    std::optional<int> value;
    const int status = readVariant(message, "b", value);
    flag = value.value_or(0) != 0;
    return status;
}

/// What one object turns out to be while its interfaces are read.
struct Found {
    UDisks::Block block;
    UDisks::Drive drive;
    bool isBlock = false;
    bool isDrive = false;
};

int readProperty(sd_bus_message* message, std::string_view interface, std::string_view property, Found& found) {
    if (interface == blockInterface) {
        if (property == "DeviceNumber") {
            std::optional<std::uint64_t> number;
            const int status = readVariant(message, "t", number);
            found.block.number = number.value_or(0);
            return status;
        }
        if (property == "Drive") return readObject(message, found.block.drive);
        if (property == "CryptoBackingDevice") return readObject(message, found.block.encrypted);
    } else if (interface == partitionInterface) {
        if (property == "Table") return readObject(message, found.block.table);
    } else if (interface == driveInterface) {
        if (property == "CanPowerOff") return readFlag(message, found.drive.canPowerOff);
        if (property == "Ejectable") return readFlag(message, found.drive.isEjectable);
    }
    return sd_bus_message_skip(message, "v");
}

int readInterface(sd_bus_message* message, Found& found) {
    const char* interface = nullptr;
    if (const int status = sd_bus_message_read(message, "s", &interface); status < 0) return status;
    const std::string_view name = interface;
    found.isBlock = found.isBlock || name == blockInterface;
    found.isDrive = found.isDrive || name == driveInterface;
    found.block.isLoop = found.block.isLoop || name == loopInterface;
    return forEachEntry(message, "sv", [&] {
        const char* property = nullptr;
        const int status = sd_bus_message_read(message, "s", &property);
        return status < 0 ? status : readProperty(message, name, property, found);
    });
}

int readDisks(sd_bus_message* message, UDisks::Disks& disks) {
    return forEachEntry(message, "oa{sa{sv}}", [&] {
        Found found;
        const char* object = nullptr;
        int status = sd_bus_message_read(message, "o", &object);
        if (status < 0) return status;
        status = forEachEntry(message, "sa{sv}", [&] { return readInterface(message, found); });
        found.block.object = object;
        if (found.isDrive) disks.drives[object] = found.drive;
        if (found.isBlock) disks.blocks.push_back(std::move(found.block));
        return status;
    });
}

}  // namespace

const UDisks::Block* UDisks::Disks::withNumber(std::uint64_t number) const {
    const auto found =
        std::find_if(blocks.begin(), blocks.end(), [number](const Block& block) { return block.number == number; });
    return found == blocks.end() ? nullptr : &*found;
}

const UDisks::Block* UDisks::Disks::withObject(const std::string& object) const {
    const auto found =
        std::find_if(blocks.begin(), blocks.end(), [&](const Block& block) { return block.object == object; });
    return found == blocks.end() ? nullptr : &*found;
}

const UDisks::Block& UDisks::Disks::wholeDisk(const Block& block) const {
    const Block* part = &block;
    // As many steps as there are blocks end every chain, and every circle too.
    for (std::size_t steps = 0; steps < blocks.size(); ++steps) {
        const Block* const below = withObject(part->encrypted.empty() ? part->table : part->encrypted);
        if (below == nullptr) break;
        part = below;
    }
    return *part;
}

std::vector<const UDisks::Block*> UDisks::Disks::partsOf(const Block& wholeDisk) const {
    std::vector<const Block*> parts;
    for (const Block& block : blocks) {
        const Block& whole = this->wholeDisk(block);
        const bool isOnSameDrive = !whole.drive.empty() && whole.drive == wholeDisk.drive;
        if (&whole == &wholeDisk || isOnSameDrive) parts.push_back(&block);
    }
    return parts;
}

void UDisks::BusDeleter::operator()(sd_bus* bus) const {
    sd_bus_flush_close_unref(bus);
}

std::expected<UDisks, ProgramResult> UDisks::connect() {
    sd_bus* bus = nullptr;
    if (const int status = sd_bus_open_system(&bus); status < 0) return std::unexpected(unreachable(status));
    return UDisks(Bus(bus));
}

std::expected<UDisks::Disks, ProgramResult> UDisks::disks() const {
    const auto call = newCall(bus_.get(), root, "org.freedesktop.DBus.ObjectManager", "GetManagedObjects");
    if (!call) return std::unexpected(call.error());
    const auto answer = answerTo(bus_.get(), call->get());
    if (!answer) return std::unexpected(answer.error());
    Disks disks;
    if (readDisks(answer->get(), disks) < 0) {
        return std::unexpected(ProgramResult{1, "UDisks2 gave an answer that cannot be read"});
    }
    return disks;
}

ProgramResult UDisks::unmount(const Block& block, bool force) const {
    return call(block.object, filesystemInterface, "Unmount", force);
}

ProgramResult UDisks::lock(const std::string& encrypted) const {
    return call(encrypted, encryptedInterface, "Lock");
}

ProgramResult UDisks::deleteLoop(const Block& block) const {
    return call(block.object, loopInterface, "Delete");
}

ProgramResult UDisks::powerOff(const std::string& drive) const {
    return call(drive, driveInterface, "PowerOff");
}

ProgramResult UDisks::ejectMedium(const std::string& drive) const {
    return call(drive, driveInterface, "Eject");
}

ProgramResult UDisks::call(const std::string& object, const char* interface, const char* method, bool force) const {
    const auto call = newCall(bus_.get(), object, interface, method);
    if (!call) return call.error();
    const int status = force ? sd_bus_message_append(call->get(), "a{sv}", 1, "force", "b", 1)
                             : sd_bus_message_append(call->get(), "a{sv}", 0);
    if (status < 0) return unreachable(status);
    const auto answer = answerTo(bus_.get(), call->get());
    return answer ? ProgramResult{0, ""} : answer.error();
}

}  // namespace varnel
