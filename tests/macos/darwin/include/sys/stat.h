// SPDX-License-Identifier: MIT
#pragma once
#pragma clang system_header
#include_next <sys/stat.h>

#include "tests/macos/darwin/Calls.h"

#define stat DarwinStat
#define fstat darwinFstat
