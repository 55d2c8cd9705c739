// SPDX-License-Identifier: MIT
#pragma once

#include "tests/macos/darwin/Calls.h"

#define MNT_LOCAL 0x00001000
#define statfs DarwinStatfs
#define fstatfs darwinFstatfs
