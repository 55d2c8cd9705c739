// SPDX-License-Identifier: MIT
#include <benchmark/benchmark.h>

#include <cstddef>
#include <string>
#include <vector>

#include "core/base/Path.h"
#include "core/base/Text.h"
#include "core/rules/ActiveRules.h"
#include "core/rules/Rule.h"
#include "core/rules/RuleSet.h"

namespace varnel {
namespace {

const std::vector<std::string>& ordinaryNames() {
    static const std::vector<std::string> names = {
        "IMG_00123.jpg", "source4.c", "Letter 12.pdf", ".gitignore", "track.mp3",
        "desktop.png",   "Thumbs up", "system.log",    "_index.md",  "a"};
    return names;
}

const std::vector<std::string>& litterNames() {
    static const std::vector<std::string> names = {"._IMG_00123.jpg", ".DS_Store", "Thumbs.db", "DESKTOP.INI", "._a"};
    return names;
}

const std::vector<std::string>& unicodeNames() {
    static const std::vector<std::string> names = {"\u00c9t\u00e9.jpg", "\u6771\u4eac.png", "._\u00c9t\u00e9",
                                                   "._e\u0301", "\U0001f389 party"};
    return names;
}

void matchActive(benchmark::State& state, const std::vector<std::string>& names) {
    const ActiveRules active(RuleSet::standard(), RuleScope::adhoc);
    std::size_t at = 0;
    for (auto _ : state)
        benchmark::DoNotOptimize(active.firstMatch(names[at++ % names.size()], /*isDirectory=*/false));
}

void matchRuleSet(benchmark::State& state, const std::vector<std::string>& names) {
    std::size_t at = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(
            RuleSet::standard().firstMatch(names[at++ % names.size()], /*isDirectory=*/false, RuleScope::adhoc));
    }
}

BENCHMARK_CAPTURE(matchActive, ordinary, ordinaryNames());
BENCHMARK_CAPTURE(matchActive, litter, litterNames());
BENCHMARK_CAPTURE(matchActive, unicode, unicodeNames());
BENCHMARK_CAPTURE(matchRuleSet, ordinary, ordinaryNames());
BENCHMARK_CAPTURE(matchRuleSet, litter, litterNames());
BENCHMARK_CAPTURE(matchRuleSet, unicode, unicodeNames());

void glob(benchmark::State& state, const std::string& pattern, const std::string& name) {
    const std::vector<std::string> patternCharacters = Text::characters(pattern);
    for (auto _ : state)
        benchmark::DoNotOptimize(Rule::glob(patternCharacters, Text::characters(name)));
}
BENCHMARK_CAPTURE(glob, suffix, "*.tmp", "a rather ordinary name.tmp");
BENCHMARK_CAPTURE(glob, backtracking, "*a*b*c*d", "aaaabbbbaaaabbbbccccaaaabbbbccccdddde");
BENCHMARK_CAPTURE(glob, unicode, "*\u00e9*", "E\u0301te\u0301 a\u0300 la plage");

void standardize(benchmark::State& state, const std::string& path) {
    for (auto _ : state)
        benchmark::DoNotOptimize(Path::standardized(path));
}
BENCHMARK_CAPTURE(standardize, clean, "/media/ana/USB/DCIM/100CAM/DSC0001.JPG");
BENCHMARK_CAPTURE(standardize, untidy, "/media//ana/./USB/x/../DCIM/100CAM//DSC0001.JPG/");

void count(benchmark::State& state, const std::string& text) {
    for (auto _ : state)
        benchmark::DoNotOptimize(Text::characterCount(text));
}
BENCHMARK_CAPTURE(count, ascii, "/media/ana/USB/Projects/project-12/part3/part1/source12.c");
BENCHMARK_CAPTURE(count, unicode,
                  "/media/ana/USB/E\u0301te\u0301 a\u0300 la plage/\u6771\u4eac/\U0001f469\u200d\U0001f467.jpg");

}  // namespace
}  // namespace varnel

BENCHMARK_MAIN();
