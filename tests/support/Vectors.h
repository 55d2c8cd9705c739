// SPDX-License-Identifier: MIT
//
// The recorded platform behaviours in tests/data/vectors: what macOS answers, case by case.
#pragma once

#include <gtest/gtest.h>

#include <fstream>
#include <functional>
#include <nlohmann/json.hpp>
#include <string>

namespace varnel::tests {

/// Runs `check` on every case of a file, with a trace that names the case.
inline void forEachVector(const std::string& file, const std::function<void(const nlohmann::json& vector)>& check) {
    std::ifstream stream(std::string(VARNEL_TEST_DATA) + "/vectors/" + file);
    const nlohmann::json document = nlohmann::json::parse(stream, nullptr, /*allow_exceptions=*/false);
    ASSERT_TRUE(document.is_object()) << "cannot read " << file;
    ASSERT_FALSE(document["cases"].empty());
    for (const nlohmann::json& vector : document["cases"]) {
        SCOPED_TRACE(file + ": " + vector["input"].dump().substr(0, 300) + " " + vector["note"].get<std::string>());
        check(vector);
    }
}

/// Whether nobody could confirm the case, so that another answer needs a reason rather than a fix.
inline bool isUnconfirmed(const nlohmann::json& vector) {
    return vector["confidence"] == "low";
}

inline std::string bytesFromHex(const std::string& hex) {
    std::string bytes;
    for (std::size_t at = 0; at + 1 < hex.size(); at += 2) {
        bytes += static_cast<char>(std::stoi(hex.substr(at, 2), nullptr, 16));
    }
    return bytes;
}

}  // namespace varnel::tests
