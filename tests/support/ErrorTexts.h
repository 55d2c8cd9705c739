// SPDX-License-Identifier: MIT
#pragma once

#include <gtest/gtest.h>

#include <cerrno>
#include <functional>
#include <map>
#include <nlohmann/json.hpp>
#include <string>

#include "tests/support/Vectors.h"

namespace varnel::tests {

/// Holds the words for an operation that failed on a path against what a platform is recorded to say. Gives how many
/// cases there were.
inline int compareErrorTexts(const std::string& platform, const std::string& operation,
                             const std::function<std::string(const std::string& path, int error)>& words) {
    static const std::map<std::string, int> errors = {
        {"EACCES", EACCES}, {"EPERM", EPERM},     {"ENOENT", ENOENT}, {"EROFS", EROFS},   {"ENOTEMPTY", ENOTEMPTY},
        {"EIO", EIO},       {"ENOTDIR", ENOTDIR}, {"EBUSY", EBUSY},   {"EISDIR", EISDIR}, {"ENOEXEC", ENOEXEC}};
    int compared = 0;
    forEachVector("error-texts.json", [&](const nlohmann::json& vector) {
        const nlohmann::json& input = vector["input"];
        if (input["op"] != operation || input["platform"] != platform || isUnconfirmed(vector)) return;
        EXPECT_EQ(words(input["path"], errors.at(input["errno"])), vector["expected"].get<std::string>());
        ++compared;
    });
    return compared;
}

}  // namespace varnel::tests
