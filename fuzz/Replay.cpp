// SPDX-License-Identifier: MIT
//
// Plays every file of a folder into a fuzz target, with its beginnings and with each byte flipped, so that ordinary
// builds profit from what the fuzzers found.   replay FOLDER
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>

#include "fuzz/Target.h"

namespace {

void play(const std::string& bytes) {
    LLVMFuzzerTestOneInput(reinterpret_cast<const std::uint8_t*>(bytes.data()), bytes.size());
}

}  // namespace

int main(int count, char** words) {
    if (count != 2) return 2;
    long played = 0;
    for (const auto& entry : std::filesystem::directory_iterator(words[1])) {
        std::ifstream stream(entry.path(), std::ios::binary);
        const std::string bytes{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
        play(bytes);
        for (std::size_t at = 0; at < bytes.size() && at < 400; ++at) {
            play(bytes.substr(0, at));
            std::string flipped = bytes;
            flipped[at] = static_cast<char>(flipped[at] ^ 0x81);
            play(flipped);
        }
        ++played;
    }
    std::printf("%ld inputs\n", played);
    return played > 0 ? 0 : 1;
}
