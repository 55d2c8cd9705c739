// SPDX-License-Identifier: MIT
//
// The calls of Darwin that have no like elsewhere, for a test to answer. The headers beside this one give them the
// names by which the macOS sources call them.
#pragma once

#include <sys/types.h>
#include <time.h>

#include <cstddef>
#include <cstdint>

struct DarwinStat {
    std::int32_t st_dev;
    std::uint64_t st_ino;
    mode_t st_mode;
    timespec st_birthtimespec;
};
int DarwinStat(const char* path, struct DarwinStat* answer);
int darwinFstat(int descriptor, struct DarwinStat* answer);

struct DarwinStatfs {
    std::uint64_t f_blocks;
    std::uint32_t f_flags;
    char f_fstypename[16];
    char f_mntonname[1024];
};
int DarwinStatfs(const char* path, struct DarwinStatfs* answer);
int darwinFstatfs(int descriptor, struct DarwinStatfs* answer);

struct attrlist {
    std::uint16_t bitmapcount, reserved;
    std::uint32_t commonattr, volattr, dirattr, fileattr, forkattr;
};
int getattrlist(const char* path, void* wanted, void* answer, std::size_t size, unsigned options);
