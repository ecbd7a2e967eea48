#pragma once

#include "platform/keys.h"

#include <set>

namespace quillo::test {

/// Which keys of a keyboard are down after the events so far; asked like the system.
class PressedKeys {
public:
    void take(const platform::KeyEvent& event)
    {
        keys_.erase(event.virtualKey);
        if (event.down)
            keys_.insert(event.virtualKey);
    }

    bool isDown(std::uint32_t key) const
    {
        namespace vk = platform::vk;
        switch (key) {
        case vk::shift:
            return keys_.contains(vk::leftShift) || keys_.contains(vk::rightShift);
        case vk::control:
            return keys_.contains(vk::leftControl) || keys_.contains(vk::rightControl);
        case vk::menu:
            return keys_.contains(vk::leftMenu) || keys_.contains(vk::rightMenu);
        default:
            return keys_.contains(key);
        }
    }

private:
    std::set<std::uint32_t> keys_;
};

} // namespace quillo::test
