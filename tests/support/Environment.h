// SPDX-License-Identifier: MIT
#pragma once

#include <cstdlib>
#include <optional>
#include <string>

namespace varnel::tests {

/// Sets an environment variable for as long as this lives.
class Environment {
public:
    Environment(const char* name, const std::string& value) : name_(name) {
        if (const char* const before = std::getenv(name)) before_ = before;
        ::setenv(name, value.c_str(), 1);
    }
    ~Environment() {
        if (before_) {
            ::setenv(name_, before_->c_str(), 1);
        } else {
            ::unsetenv(name_);
        }
    }
    Environment(const Environment&) = delete;
    Environment& operator=(const Environment&) = delete;

private:
    const char* name_;
    std::optional<std::string> before_;
};

}  // namespace varnel::tests
