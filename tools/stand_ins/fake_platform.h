#pragma once

#include "platform/hotkey_probe.h"
#include "platform/keys.h"
#include "stand_ins/pressed_keys.h"

#include <atomic>
#include <condition_variable>
#include <deque>
#include <future>
#include <initializer_list>
#include <memory>
#include <mutex>
#include <string>
#include <utility>
#include <vector>

namespace quillo::test {

/// The operating system as a test sees it: a keyboard to press, a record of what was pasted, and failures on request.
/// Implements the platform headers; linked before the real platform library, whose place it takes. One per process;
/// every operation may be called from any thread.
class FakePlatform {
public:
    /// What the system consists of. All but the atomic values is guarded by the mutex.
    struct State {
        std::mutex mutex;
        std::condition_variable changed;
        PressedKeys keys;
        std::deque<std::pair<platform::KeyEvent, std::promise<bool>>> deliveries; // to the hook; whether it swallowed
        bool hookLost = false;
        int refusals = 0; // of the hook
        std::string dataRoot;
        std::string soundDevices;
        std::string clipboard;
        std::vector<std::string> pastes;

        std::atomic<unsigned long> hookError = 0;
        std::atomic<int> hooksInstalled = 0;
        std::atomic<int> hooksRunning = 0;
        std::atomic<int> probes = 0;
        std::atomic<platform::ProbeResult> probeResult = platform::ProbeResult::Available;
        std::atomic<bool> clipboardRefused = false;

        template<typename Value> Value get(Value State::*member)
        {
            const std::lock_guard lock(mutex);
            return this->*member;
        }
        template<typename Value> void set(Value State::*member, const Value& value)
        {
            const std::lock_guard lock(mutex);
            this->*member = value;
        }
    };

    static FakePlatform& instance();
    State& state() { return *state_; }

    /// Back to the initial state: no key down, nothing pasted, nothing refused. Not while a hook runs.
    void reset() { state_ = std::make_unique<State>(); }

    /// Presses or releases a key and waits until the hook has answered. True when the event was swallowed. Without a
    /// running hook the event only changes which keys are down.
    bool press(std::uint32_t virtualKey) { return send({virtualKey, true}); }
    bool release(std::uint32_t virtualKey) { return send({virtualKey, false}); }
    void press(std::initializer_list<std::uint32_t> virtualKeys);
    void release(std::initializer_list<std::uint32_t> virtualKeys);

    void refuseHook(unsigned long error) { state_->hookError = error; } ///< 0: allow it again
    /// The system takes the installed hook away, keys come up meanwhile, and the hook is put back.
    void loseHook(std::initializer_list<std::uint32_t> releasedMeanwhile = {});
    /// Takes the hook away and refuses it; returns when it has been asked for that many times.
    void takeHookAway(unsigned long error, int refusals);
    int hooksInstalled() const { return state_->hooksInstalled; } ///< how often a hook was installed
    int hooksRunning() const { return state_->hooksRunning; }

    void setProbeResult(platform::ProbeResult result) { state_->probeResult = result; }
    int probes() const { return state_->probes; } ///< how often the system was asked about a combination

    void setDataRoot(const std::string& folder) { state_->set(&State::dataRoot, folder); }
    void setSoundDevices(const std::string& devices) { state_->set(&State::soundDevices, devices); }

    void refuseClipboard(bool refuse) { state_->clipboardRefused = refuse; }
    std::string clipboard() const { return state_->get(&State::clipboard); }
    std::vector<std::string> pastes() const { return state_->get(&State::pastes); } ///< the clipboard at each shortcut

private:
    bool send(const platform::KeyEvent& event);

    std::unique_ptr<State> state_ = std::make_unique<State>();
};

} // namespace quillo::test
