// SPDX-License-Identifier: MIT
#pragma once

#include "tests/macos/darwin/Calls.h"

#define ATTR_BIT_MAP_COUNT 5
#define ATTR_VOL_UUID 0x00040000
#define ATTR_VOL_INFO 0x80000000
