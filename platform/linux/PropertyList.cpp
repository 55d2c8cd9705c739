// SPDX-License-Identifier: MIT
#include "core/disk/PropertyList.h"

#ifndef __linux__
#error "This source is for Linux."
#endif

#include <plist/plist.h>

#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>

namespace varnel::PropertyList {
namespace {

struct ListDeleter {
    void operator()(plist_t list) const { plist_free(list); }
};
using List = std::unique_ptr<std::remove_pointer_t<plist_t>, ListDeleter>;

constexpr std::string_view byteOrderMark = "\xEF\xBB\xBF";

/// The library takes a list for whole that breaks off behind its root.
bool breaksOff(std::string_view list) {
    return list.find("<plist") != std::string_view::npos && list.find("</plist") == std::string_view::npos;
}

List parsed(std::string_view list) {
    if (list.starts_with(byteOrderMark)) list.remove_prefix(byteOrderMark.size());
    if (list.size() > std::numeric_limits<std::uint32_t>::max() || breaksOff(list)) return nullptr;
    plist_t root = nullptr;
    plist_from_xml(list.data(), static_cast<std::uint32_t>(list.size()), &root);
    return List(root);
}

}  // namespace

std::optional<std::string> textOfShallow(const std::string& list, const std::string& key) {
    const List root = parsed(list);
    if (!root || plist_get_node_type(root.get()) != PLIST_DICT) return std::nullopt;
    const plist_t value = plist_dict_get_item(root.get(), key.c_str());
    if (value == nullptr || plist_get_node_type(value) != PLIST_STRING) return std::nullopt;
    std::uint64_t length = 0;
    const char* const characters = plist_get_string_ptr(value, &length);
    if (characters == nullptr) return std::nullopt;
    return std::string(characters, static_cast<std::size_t>(length));
}

}  // namespace varnel::PropertyList
