// SPDX-License-Identifier: MIT
#include <cstddef>
#include <cstdint>
#include <nlohmann/json.hpp>
#include <string>

#include "core/plan/PlanCoding.h"
#include "core/plan/PlanReport.h"
#include "fuzz/Target.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace varnel;
    const auto text = fuzz::textOf(data, size);
    const auto plan = PlanCoding::decodePlan(text);
    if (!plan) {
        fuzz::require(!plan.error().message.empty(), "a refusal says why");
    } else {
        const auto json = nlohmann::json::parse(text, nullptr, /*allow_exceptions=*/false);
        for (const char* key : {"root", "volume", "items", "protectedItems", "errors", "tallies"}) {
            fuzz::require(json.contains(key), "nothing is accepted without its keys");
        }
        const std::string coded = PlanCoding::encode(*plan);
        const auto again = PlanCoding::decodePlan(coded);
        fuzz::require(again.has_value(), "what was written can be read");
        fuzz::require(PlanCoding::encode(*again) == coded, "and is the same");
        fuzz::require(again->items == plan->items && again->tallies == plan->tallies && again->volume == plan->volume &&
                          again->errors == plan->errors && again->protectedItems == plan->protectedItems &&
                          again->root == plan->root,
                      "record by record");
    }
    static_cast<void>(PlanCoding::decodeVolume(text));
    static_cast<void>(PlanCoding::decodeMatchItem(text));
    static_cast<void>(PlanCoding::decodeRuleTally(text));
    return 0;
}
