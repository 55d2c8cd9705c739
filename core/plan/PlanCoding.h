// SPDX-License-Identifier: MIT
//
// The coded form of plans: one JSON object per record, its keys the names of the fields, in their order.
//
// Paths are bytes, JSON is text. Where an item's path is not UTF-8 the repaired text is coded, and the bytes beside it
// in base64 under "pathBytes"; a reader that does not know that key loses nothing else.
#pragma once

#include <expected>
#include <string>
#include <string_view>

#include "core/plan/Plan.h"
#include "core/volumes/Volume.h"

namespace varnel::PlanCoding {

/// Why a text is not the record that it should be, fit to be shown.
struct DecodeError {
    std::string message;
};

/// The record as JSON on one line, without a line feed. Every key is written, also for empty lists.
std::string encode(const Plan& plan);
std::string encode(const MatchItem& item);
std::string encode(const RuleTally& tally);
std::string encode(const Volume& volume);

/// A JSON string for any bytes, repaired where they are not UTF-8, quotes included.
std::string encodeText(std::string_view bytes);

/// `,"pathBytes":"…"` where the bytes are not UTF-8, else nothing.
std::string encodePathBytes(std::string_view bytes);

/// Strict: every key is required and has exactly its type; unknown keys are ignored. Never throws.
std::expected<Plan, DecodeError> decodePlan(std::string_view json);
std::expected<MatchItem, DecodeError> decodeMatchItem(std::string_view json);
std::expected<RuleTally, DecodeError> decodeRuleTally(std::string_view json);
std::expected<Volume, DecodeError> decodeVolume(std::string_view json);

}  // namespace varnel::PlanCoding
