#pragma once

#include "platform/hotkey_probe.h"
#include "platform/keys.h"

#include <chrono>
#include <cstdint>
#include <initializer_list>
#include <memory>
#include <string>
#include <vector>

namespace quillo::test {

/// The operating system as a test sees it: a keyboard to press, a record of what was pasted, and failures on request.
/// Implements the platform headers; linked before the real platform library, whose place it takes. One per process;
/// every operation may be called from any thread.
class FakePlatform {
public:
    static FakePlatform& instance();

    /// Back to the initial state: no key down, nothing pasted, nothing refused. Not while a hook runs.
    void reset();

    /// Presses or releases a key and waits until the hook has answered. True when the event was swallowed. Without a
    /// running hook the event only changes which keys are down.
    bool press(std::uint32_t virtualKey);
    bool release(std::uint32_t virtualKey);
    void press(std::initializer_list<std::uint32_t> virtualKeys);
    void release(std::initializer_list<std::uint32_t> virtualKeys);

    void refuseHook(unsigned long error); ///< 0: allow it again
    /// The system takes the installed hook away, keys come up meanwhile, and the hook is put back.
    void loseHook(std::initializer_list<std::uint32_t> releasedMeanwhile = {});
    /// Takes the hook away and refuses it; returns when it has been asked for that many times.
    void takeHookAway(unsigned long error, int refusals);
    int hooksInstalled() const; ///< how often a hook was installed
    int hooksRunning() const;

    void setProbeResult(platform::ProbeResult result);
    int probes() const; ///< how often the system was asked about a combination

    void setDataRoot(const std::string& folder);
    void setSoundDevices(const std::string& devices);

    void refuseClipboard(bool refuse);
    std::string clipboard() const;
    std::vector<std::string> pastes() const; ///< clipboard content at each paste shortcut
    int pastesWithKeysDown() const; ///< how many shortcuts were sent while the user held a key
    /// Waits until so many pastes have been sent. False when they have not within the time.
    bool waitForPastes(std::size_t count, std::chrono::milliseconds timeout = std::chrono::seconds(60)) const;

    struct State;
    State& state() { return *state_; }

private:
    FakePlatform();
    ~FakePlatform();
    bool send(const platform::KeyEvent& event);

    std::unique_ptr<State> state_;
};

} // namespace quillo::test
