// SPDX-License-Identifier: MIT
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include "core/base/Path.h"
#include "fuzz/Target.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace varnel;
    const std::string path(fuzz::textOf(data, size));
    const auto nobody = [](std::string_view) { return std::optional<std::string>(); };
    const std::string once = Path::standardized(path, nobody);
    fuzz::require(Path::standardized(once, nobody) == once, "standardising again changes nothing");
    fuzz::require(once.size() <= path.size(), "nothing grows");
    fuzz::require(once.find("//") == std::string::npos, "no empty component stays");
    fuzz::require(once == "/" || !once.ends_with('/'), "no slash trails");
    fuzz::require(path.starts_with('/') == once.starts_with('/'), "absolute stays absolute");
    if (once.starts_with('/')) {
        fuzz::require((once + "/").find("/./") == std::string::npos, "no dot stays");
        fuzz::require((once + "/").find("/../") == std::string::npos, "no parent stays");
        const std::string joined = Path::joined(Path::withoutLastComponent(once), Path::lastComponent(once));
        fuzz::require(once == "/" || joined == once, "the parts make the whole");
    }
    const std::string_view extension = Path::extension(path);
    fuzz::require(extension.empty() || path.ends_with("." + std::string(extension)), "an extension ends its name");
    return 0;
}
