// SPDX-License-Identifier: MIT
#pragma once

namespace varnel {

/// What a person is told where the system has no thread or no descriptor to give: why, and what helps.
inline constexpr const char* shortageText =
    "the system has no thread or descriptor to give; end other programs, or raise the limits of processes and of open "
    "files";

}  // namespace varnel
