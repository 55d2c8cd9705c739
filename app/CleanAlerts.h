// SPDX-License-Identifier: MIT
//
// What the cleaning of one folder or volume says and asks, word by word.
#pragma once

#include <expected>
#include <optional>
#include <string>

#include "app/Alert.h"
#include "core/disk/DiskError.h"
#include "core/plan/ExecResult.h"
#include "core/plan/Plan.h"

namespace varnel::CleanAlerts {

/// A message with nothing to decide.
Alert notice(std::string message, std::string informativeText);

/// Of a step for which the system has no thread.
Alert notBegun();

Alert refused(const std::string& path);

/// Asks before anything on a Mac's own file system is touched.
Alert macFormat(const std::string& path, const std::string& fileSystemType);

/// Of an empty plan: its first problems, if it has any.
Alert nothingToClean(const Plan& plan);

/// Asks before the plan is carried out, and shows it.
Alert confirmation(const Plan& plan);

/// What ejecting came to.
using Ejected = std::expected<void, DiskError>;

/// The outcome for people. `ejected`: none where ejecting was not asked for.
std::string report(const ExecResult& result, const std::optional<Ejected>& ejected);

Alert finished(const std::string& report);

}  // namespace varnel::CleanAlerts
