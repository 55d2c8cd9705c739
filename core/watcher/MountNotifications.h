// SPDX-License-Identifier: MIT
#pragma once

#include <cstdint>
#include <functional>
#include <memory>

namespace varnel {

/// Port: the system's word that something was mounted or unmounted. Abstract because tests mount when they like.
class MountNotifications {
public:
    enum class Kind : std::uint8_t { didMount, didUnmount };
    using Token = std::uint64_t;

    virtual ~MountNotifications() = default;
    MountNotifications(const MountNotifications&) = delete;
    MountNotifications& operator=(const MountNotifications&) = delete;

    /// Calls `observer`, on whatever thread the system chooses, at every event of that kind until it is removed; the
    /// latest observer first, so that whoever handles events hears of a volume before the stream that brings them.
    virtual Token add(Kind kind, std::function<void()> observer) = 0;
    virtual void remove(Token token) = 0;

    /// Whether observers will hear of anything: the system may have had no thread or descriptor to give for it.
    virtual bool canHear() const { return true; }

    /// The system's own.
    static std::shared_ptr<MountNotifications> ofSystem();

protected:
    MountNotifications() = default;
};

}  // namespace varnel
