// SPDX-License-Identifier: MIT
#include "core/plan/PlanCoding.h"

#include <cmath>
#include <cstdint>
#include <expected>
#include <limits>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "core/base/Base64.h"
#include "core/base/Path.h"
#include "core/base/Text.h"
#include "core/plan/Plan.h"
#include "core/volumes/Volume.h"

namespace varnel::PlanCoding {
namespace {

using Json = nlohmann::json;

constexpr int deepestNesting = 512;
constexpr const char* pathBytesKey = "pathBytes";

const char* boolean(bool value) {
    return value ? "true" : "false";
}

std::string encodeTexts(const std::vector<std::string>& texts) {
    std::string json = "[";
    for (const std::string& text : texts) {
        if (json.size() > 1) json += ',';
        json += encodeText(text);
    }
    return json + ']';
}

template <typename Record>
std::string encodeList(const std::vector<Record>& records) {
    std::string json = "[";
    for (const Record& record : records) {
        if (json.size() > 1) json += ',';
        json += encode(record);
    }
    return json + ']';
}

/// Reads the keys of one object and keeps the first thing that is wrong with it.
class Reader {
public:
    Reader(const Json& json, const char* record) : json_(json), record_(record) {
        if (!json_.is_object()) fail("is not an object");
    }

    std::string text(const char* key) {
        const Json* const value = find(key);
        if (value == nullptr) return {};
        if (!value->is_string()) return fail(key, "a text"), std::string();
        return value->get<std::string>();
    }

    bool boolean(const char* key) {
        const Json* const value = find(key);
        if (value == nullptr) return false;
        if (!value->is_boolean()) return fail(key, "true or false"), false;
        return value->get<bool>();
    }

    /// An integral number in any spelling that fits into 64 bits; nothing else passes for one.
    std::int64_t integer(const char* key) {
        const Json* const value = find(key);
        if (value == nullptr) return 0;
        if (value->is_number_unsigned()) {
            const auto number = value->get<std::uint64_t>();
            if (number <= static_cast<std::uint64_t>(std::numeric_limits<std::int64_t>::max())) {
                return static_cast<std::int64_t>(number);
            }
        } else if (value->is_number_integer()) {
            return value->get<std::int64_t>();
        } else if (value->is_number_float()) {
            constexpr double bound = 9223372036854775808.0;  // 2 to the 63rd
            const auto number = value->get<double>();
            if (number > -bound && number < bound && number == std::trunc(number)) {
                return static_cast<std::int64_t>(number);
            }
        }
        fail(key, "an integer of 64 bits");
        return 0;
    }

    std::vector<std::string> texts(const char* key) {
        std::vector<std::string> result;
        for (const Json& element : list(key)) {
            if (!element.is_string()) return fail(key, "a list of texts"), std::vector<std::string>();
            result.push_back(element.get<std::string>());
        }
        return result;
    }

    template <typename Record>
    std::vector<Record> records(const char* key, std::expected<Record, DecodeError> (*decode)(const Json&)) {
        std::vector<Record> result;
        for (const Json& element : list(key)) {
            auto record = decode(element);
            if (!record) return fail(record.error().message), std::vector<Record>();
            result.push_back(*std::move(record));
        }
        return result;
    }

    template <typename Record>
    Record record(const char* key, std::expected<Record, DecodeError> (*decode)(const Json&)) {
        const Json* const value = find(key);
        if (value == nullptr) return {};
        auto nested = decode(*value);
        if (!nested) return fail(nested.error().message), Record();
        return *std::move(nested);
    }

    /// The value of a key that may be missing or be anything.
    const Json* optional(const char* key) const {
        if (!json_.is_object()) return nullptr;
        const auto found = json_.find(key);
        return found == json_.end() ? nullptr : &*found;
    }

    template <typename Record>
    std::expected<Record, DecodeError> finish(Record record) {
        if (error_) return std::unexpected(DecodeError{*std::move(error_)});
        return record;
    }

private:
    const Json* find(const char* key) {
        const Json* const value = optional(key);
        if (value == nullptr) fail("lacks the key \"" + std::string(key) + '"');
        return value;
    }

    const Json& list(const char* key) {
        static const Json none = Json::array();
        const Json* const value = find(key);
        if (value == nullptr) return none;
        if (!value->is_array()) return fail(key, "a list"), none;
        return *value;
    }

    void fail(const char* key, const char* wanted) { fail("\"" + std::string(key) + "\" is not " + wanted); }

    void fail(const std::string& what) {
        if (!error_) error_ = std::string(record_) + ": " + what;
    }

    const Json& json_;
    const char* record_;
    std::optional<std::string> error_;
};

std::expected<Volume, DecodeError> volumeFrom(const Json& json) {
    Reader reader(json, "volume");
    Volume volume;
    volume.mountPoint = reader.text("mountPoint");
    volume.fsType = reader.text("fsType");
    volume.isLocal = reader.boolean("isLocal");
    volume.isRemovable = reader.boolean("isRemovable");
    volume.isInternal = reader.boolean("isInternal");
    return reader.finish(std::move(volume));
}

/// The bytes beside a repaired path; only where they are the very bytes that were repaired.
std::optional<std::string> pathBytes(const Reader& reader, const std::string& path) {
    const Json* const coded = reader.optional(pathBytesKey);
    if (coded == nullptr || !coded->is_string()) return std::nullopt;
    auto bytes = Base64::decoded(coded->get_ref<const std::string&>());
    if (!bytes || Text::repaired(*bytes) != path) return std::nullopt;
    return bytes;
}

std::expected<MatchItem, DecodeError> matchItemFrom(const Json& json) {
    Reader reader(json, "item");
    MatchItem item;
    item.path = reader.text("path");
    item.name = reader.text("name");
    item.ruleID = reader.text("ruleID");
    item.isDirectory = reader.boolean("isDirectory");
    item.bytes = reader.integer("bytes");
    if (auto bytes = pathBytes(reader, item.path)) {
        item.path = *std::move(bytes);
        item.name = Path::lastComponent(item.path);
    }
    return reader.finish(std::move(item));
}

std::expected<RuleTally, DecodeError> ruleTallyFrom(const Json& json) {
    Reader reader(json, "tally");
    RuleTally tally;
    tally.ruleID = reader.text("ruleID");
    tally.label = reader.text("label");
    tally.count = reader.integer("count");
    tally.bytes = reader.integer("bytes");
    tally.directories = reader.integer("directories");
    return reader.finish(std::move(tally));
}

std::expected<Plan, DecodeError> planFrom(const Json& json) {
    Reader reader(json, "plan");
    Plan plan;
    plan.root = reader.text("root");
    if (auto bytes = pathBytes(reader, plan.root)) plan.root = *std::move(bytes);
    plan.volume = reader.record("volume", volumeFrom);
    plan.items = reader.records("items", matchItemFrom);
    plan.protectedItems = reader.texts("protectedItems");
    plan.errors = reader.texts("errors");
    plan.tallies = reader.records("tallies", ruleTallyFrom);
    return reader.finish(std::move(plan));
}

template <typename Record>
std::expected<Record, DecodeError> decode(std::string_view text,
                                          std::expected<Record, DecodeError> (*from)(const Json&)) {
    bool isTooDeep = false;
    const Json::parser_callback_t watchDepth = [&isTooDeep](int depth, Json::parse_event_t event, Json&) {
        const bool opens = event == Json::parse_event_t::object_start || event == Json::parse_event_t::array_start;
        if (opens && depth >= deepestNesting) isTooDeep = true;
        return !isTooDeep;
    };
    const Json json = Json::parse(text, watchDepth, /*allow_exceptions=*/false);
    if (isTooDeep) return std::unexpected(DecodeError{"the JSON text is nested too deeply"});
    if (json.is_discarded()) return std::unexpected(DecodeError{"not a well-formed JSON text"});
    return from(json);
}

}  // namespace

std::string encodeText(std::string_view bytes) {
    return Json(Text::repaired(bytes)).dump();
}

std::string encodePathBytes(std::string_view bytes) {
    if (Text::isValidUTF8(bytes)) return {};
    return std::string(",\"") + pathBytesKey + "\":\"" + Base64::encoded(bytes) + '"';
}

std::string encode(const Volume& volume) {
    return "{\"mountPoint\":" + encodeText(volume.mountPoint) + ",\"fsType\":" + encodeText(volume.fsType) +
           ",\"isLocal\":" + boolean(volume.isLocal) + ",\"isRemovable\":" + boolean(volume.isRemovable) +
           ",\"isInternal\":" + boolean(volume.isInternal) + '}';
}

std::string encode(const MatchItem& item) {
    return "{\"path\":" + encodeText(item.path) + ",\"name\":" + encodeText(item.name) +
           ",\"ruleID\":" + encodeText(item.ruleID) + ",\"isDirectory\":" + boolean(item.isDirectory) +
           ",\"bytes\":" + std::to_string(item.bytes) + encodePathBytes(item.path) + '}';
}

std::string encode(const RuleTally& tally) {
    return "{\"ruleID\":" + encodeText(tally.ruleID) + ",\"label\":" + encodeText(tally.label) +
           ",\"count\":" + std::to_string(tally.count) + ",\"bytes\":" + std::to_string(tally.bytes) +
           ",\"directories\":" + std::to_string(tally.directories) + '}';
}

std::string encode(const Plan& plan) {
    return "{\"root\":" + encodeText(plan.root) + ",\"volume\":" + encode(plan.volume) +
           ",\"items\":" + encodeList(plan.items) + ",\"protectedItems\":" + encodeTexts(plan.protectedItems) +
           ",\"errors\":" + encodeTexts(plan.errors) + ",\"tallies\":" + encodeList(plan.tallies) +
           encodePathBytes(plan.root) + '}';
}

std::expected<Plan, DecodeError> decodePlan(std::string_view json) {
    return decode(json, planFrom);
}
std::expected<MatchItem, DecodeError> decodeMatchItem(std::string_view json) {
    return decode(json, matchItemFrom);
}
std::expected<RuleTally, DecodeError> decodeRuleTally(std::string_view json) {
    return decode(json, ruleTallyFrom);
}
std::expected<Volume, DecodeError> decodeVolume(std::string_view json) {
    return decode(json, volumeFrom);
}

}  // namespace varnel::PlanCoding
