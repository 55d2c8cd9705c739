// SPDX-License-Identifier: MIT
#pragma once

#include <cstddef>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

namespace varnel {

/// Which folder each of the kernel's watches stands for. A folder is kept as its parent's watch and its name, so that
/// the paths of a large tree share their beginnings.
class WatchedFolders {
public:
    /// Begins anew with the folder at the top.
    void reset(int watch, std::string root);

    /// Notes that `watch` stands for the folder `name` in the one of `parent`. False where that is known already.
    bool add(int watch, int parent, std::string_view name);

    /// Forgets one folder whose watch is gone.
    void remove(int watch);

    /// Forgets the folder `name` in the one of `parent` with all below it; gives their watches.
    std::vector<int> removeBelow(int parent, std::string_view name);

    bool contains(int watch) const { return folders_.contains(watch); }
    bool isRoot(int watch) const { return watch == root_; }
    /// The path of a folder that is known; none where one above it gave way to another folder, and nothing has been
    /// heard yet of where it went.
    std::optional<std::string> path(int watch) const;
    /// The watch of the folder at a path; negative where it is not known.
    int watchOf(std::string_view path) const;
    std::size_t size() const { return folders_.size(); }

private:
    /// A folder's name in the folder of another watch. The root's name is its path, in no folder.
    struct Place {
        int parent = -1;
        std::string name;
    };
    struct PlaceView {
        int parent = -1;
        std::string_view name;
    };
    struct Order {
        using is_transparent = void;
        static PlaceView view(const Place& place) { return {place.parent, place.name}; }
        static PlaceView view(const PlaceView& place) { return place; }
        bool operator()(const auto& a, const auto& b) const {
            const PlaceView one = view(a);
            const PlaceView other = view(b);
            return one.parent < other.parent || (one.parent == other.parent && one.name < other.name);
        }
    };
    using Places = std::map<Place, int, Order>;

    int child(int parent, std::string_view name) const;

    int root_ = -1;
    Places places_;
    std::unordered_map<int, Places::iterator> folders_;
};

}  // namespace varnel
