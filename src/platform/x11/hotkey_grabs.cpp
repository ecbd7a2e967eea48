#include "platform/x11/hotkey_grabs.h"

#include <algorithm>
#include <mutex>
#include <set>
#include <utility>

namespace quillo::platform::x11 {
namespace {

using Grab = std::pair<unsigned, unsigned>; // keycode, modifier state

struct Record {
    std::mutex mutex;
    std::set<Grab> grabs;
    std::vector<unsigned> keycodes;
};

Record& record()
{
    static Record instance;
    return instance;
}

void put(std::set<Grab> grabs, std::vector<unsigned> keycodes)
{
    const std::lock_guard lock(record().mutex);
    record().grabs = std::move(grabs);
    record().keycodes = std::move(keycodes);
}

// The keyboard freezes at the key press, so that the decision whether to pass it on can be taken first.
void grab(const Connection& connection, unsigned keycode, unsigned state)
{
    XGrabKey(connection.get(), static_cast<int>(keycode), state, connection.root(), False, GrabModeAsync, GrabModeSync);
}

} // namespace

HotkeyGrabs::~HotkeyGrabs()
{
    put({}, {});
}

void HotkeyGrabs::take(const KeyMap& keys, const KeyCombination& combination)
{
    keycodes_ = keys.keycodes(combination.virtualKey);
    required_.clear();
    others_.clear();
    everyState_ = false;
    for (unsigned state = 0; state < modifierStates; ++state)
        (keys.holds(state, combination.modifiers) ? required_ : others_).push_back(state);

    std::vector<std::pair<unsigned long, Grab>> requests;
    const std::vector<unsigned long> refused = connection_.failuresOf([&] {
        XUngrabKey(connection_.get(), AnyKey, AnyModifier, connection_.root());
        for (const unsigned keycode : keycodes_)
            for (const unsigned state : required_) {
                requests.emplace_back(NextRequest(connection_.get()), Grab{keycode, state});
                grab(connection_, keycode, state);
            }
    });
    std::set<Grab> granted;
    for (const auto& [serial, wanted] : requests)
        if (!std::binary_search(refused.begin(), refused.end(), serial))
            granted.insert(wanted);
    put(std::move(granted), keycodes_);
}

void HotkeyGrabs::takeEveryState()
{
    if (std::exchange(everyState_, true))
        return;
    for (const unsigned keycode : keycodes_)
        for (const unsigned state : others_)
            grab(connection_, keycode, state);
}

void HotkeyGrabs::dropOtherStates()
{
    if (!std::exchange(everyState_, false))
        return;
    for (const unsigned keycode : keycodes_)
        for (const unsigned state : others_)
            XUngrabKey(connection_.get(), static_cast<int>(keycode), state, connection_.root());
}

bool grabbedHere(unsigned keycode, unsigned state)
{
    const std::lock_guard lock(record().mutex);
    return record().grabs.contains({keycode, state});
}

bool isWatchedHere(unsigned keycode)
{
    const std::lock_guard lock(record().mutex);
    return std::ranges::find(record().keycodes, keycode) != record().keycodes.end();
}

} // namespace quillo::platform::x11
