// SPDX-License-Identifier: MIT
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "cli/Arguments.h"
#include "cli/ServerConfiguration.h"
#include "fuzz/Target.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace varnel;
    const auto text = fuzz::textOf(data, size < 500 ? size : 500);
    std::vector<std::string> words;
    for (std::size_t start = 0; start < text.size();) {
        const std::size_t end = text.find('\n', start);
        words.emplace_back(text.substr(start, end == std::string_view::npos ? end : end - start));
        if (end == std::string_view::npos) break;
        start = end + 1;
    }
    const auto parsed = cli::parseArguments(words);
    if (!parsed) {
        fuzz::require(!parsed.error().text.empty(), "a refusal says why");
        fuzz::require(parsed.error().isError == (parsed.error().status == cli::ExitStatus::wrongUsage),
                      "only wrong usage is an error");
    }
    for (const auto& shares :
         {cli::ServerConfiguration::inSMBConfiguration(text, "f"),
          cli::ServerConfiguration::inAFPConfiguration(text, "f"), cli::ServerConfiguration::inAFPVolumeList(text, "f"),
          cli::ServerConfiguration::inUserShare(text, "f")}) {
        for (const auto& share : shares)
            fuzz::require(!share.folder.empty(), "a share has a folder");
    }
    return 0;
}
