// SPDX-License-Identifier: MIT
#include "platform/linux/WatchedFolders.h"

#ifndef __linux__
#error "This source is for Linux."
#endif

#include <algorithm>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "core/base/Path.h"

namespace varnel {

void WatchedFolders::reset(int watch, std::string root) {
    folders_.clear();
    places_.clear();
    root_ = watch;
    folders_[watch] = places_.emplace(Place{-1, std::move(root)}, watch).first;
}

bool WatchedFolders::add(int watch, int parent, std::string_view name) {
    if (watch == root_) return false;
    const auto found = folders_.find(watch);
    if (found != folders_.end()) {
        const Place& known = found->second->first;
        if (known.parent == parent && known.name == name) return false;
        places_.erase(found->second);
        folders_.erase(found);
    }
    const auto [place, isNew] = places_.try_emplace(Place{parent, std::string(name)}, watch);
    if (!isNew) {
        // Another folder had this place; that its watch is gone is still to be heard.
        folders_.erase(place->second);
        place->second = watch;
    }
    folders_[watch] = place;
    return true;
}

void WatchedFolders::remove(int watch) {
    const auto found = folders_.find(watch);
    if (found == folders_.end()) return;
    places_.erase(found->second);
    folders_.erase(found);
}

std::vector<int> WatchedFolders::removeBelow(int parent, std::string_view name) {
    std::vector<int> all;
    const int top = child(parent, name);
    if (top < 0) return all;
    all.push_back(top);
    for (std::size_t next = 0; next < all.size(); ++next) {
        const int folder = all[next];
        for (auto at = places_.lower_bound(PlaceView{folder, {}}); at != places_.end() && at->first.parent == folder;
             ++at) {
            all.push_back(at->second);
        }
    }
    for (const int watch : all)
        remove(watch);
    return all;
}

std::optional<std::string> WatchedFolders::path(int watch) const {
    std::vector<std::string_view> names;
    int top = -1;
    for (auto found = folders_.find(watch); found != folders_.end();
         found = folders_.find(found->second->first.parent)) {
        names.push_back(found->second->first.name);
        top = found->first;
    }
    if (top != root_) return std::nullopt;
    std::string path;
    for (auto name = names.rbegin(); name != names.rend(); ++name)
        path = path.empty() ? std::string(*name) : Path::joined(path, *name);
    return path;
}

int WatchedFolders::watchOf(std::string_view path) const {
    const auto root = folders_.find(root_);
    if (root == folders_.end()) return -1;
    const std::string& top = root->second->first.name;
    if (!Path::isAtOrBelow(path, top)) return -1;
    path.remove_prefix(std::min(path.size(), top.size()));
    int watch = root_;
    while (watch >= 0 && !path.empty()) {
        if (path.front() == '/') path.remove_prefix(1);
        const std::size_t end = std::min(path.find('/'), path.size());
        if (end > 0) watch = child(watch, path.substr(0, end));
        path.remove_prefix(end);
    }
    return watch;
}

int WatchedFolders::child(int parent, std::string_view name) const {
    const auto found = places_.find(PlaceView{parent, name});
    return found == places_.end() ? -1 : found->second;
}

}  // namespace varnel
