// SPDX-License-Identifier: MIT
//
// The system's storage daemon, over the system bus. Shared by the sources of this folder, for nobody else.
#pragma once

#include <cstdint>
#include <expected>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "core/base/Process.h"

struct sd_bus;

namespace varnel {

/// A connection to UDisks2. Its failures read like those of a program: the status is -1 where there is no bus or no
/// UDisks2, else 1. No call has a time limit: what is left to write to a slow stick takes as long as it takes.
class UDisks {
public:
    /// A device with a file system, a partition, or a whole disk.
    struct Block {
        std::string object;
        std::uint64_t number = 0;  ///< As st_rdev has it.
        std::string drive{};       ///< The object of the drive; empty where there is none.
        std::string table{};       ///< Of a partition: the object of the disk that it is a part of; else empty.
        std::string encrypted{};   ///< Of an unlocked device: the object of the locked one below it; else empty.
        bool isLoop = false;
    };

    struct Drive {
        bool canPowerOff = false;
        bool isEjectable = false;
    };

    /// Everything there is, at one moment.
    struct Disks {
        std::vector<Block> blocks;
        std::map<std::string, Drive> drives;  ///< By object.

        /// Null where there is none.
        const Block* withNumber(std::uint64_t number) const;
        const Block* withObject(const std::string& object) const;

        /// The whole disk that a block is a part of, through partitions and encryption.
        const Block& wholeDisk(const Block& block) const;
        /// Every block of a whole disk and of its drive, unlocked ones included.
        std::vector<const Block*> partsOf(const Block& wholeDisk) const;
    };

    static std::expected<UDisks, ProgramResult> connect();

    std::expected<Disks, ProgramResult> disks() const;

    ProgramResult unmount(const Block& block, bool force) const;
    ProgramResult lock(const std::string& encrypted) const;
    ProgramResult deleteLoop(const Block& block) const;
    ProgramResult powerOff(const std::string& drive) const;
    ProgramResult ejectMedium(const std::string& drive) const;

private:
    struct BusDeleter {
        void operator()(sd_bus* bus) const;
    };
    using Bus = std::unique_ptr<sd_bus, BusDeleter>;

    explicit UDisks(Bus bus) : bus_(std::move(bus)) {}

    ProgramResult call(const std::string& object, const char* interface, const char* method, bool force = false) const;

    Bus bus_;
};

}  // namespace varnel
