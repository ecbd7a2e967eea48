#include "support/fake_platform.h"

#include "platform/clipboard.h"
#include "platform/compositing.h"
#include "platform/data_root.h"
#include "platform/key_event.h"
#include "platform/keyboard_hook.h"
#include "platform/sound_devices.h"

#include <condition_variable>
#include <deque>
#include <future>
#include <mutex>
#include <set>
#include <utility>

namespace quillo::test {

struct FakePlatform::State {
    mutable std::mutex mutex;
    mutable std::condition_variable changed;

    struct Delivery {
        platform::KeyEvent event;
        std::promise<bool> swallowed;
    };
    std::set<std::uint32_t> keysDown;
    std::deque<Delivery> deliveries;
    unsigned long hookError = 0;
    int hooksRefused = 0; // since hookError was set
    bool hookLost = false;
    int hooksInstalled = 0;
    int hooksRunning = 0;

    platform::ProbeResult probeResult = platform::ProbeResult::Available;
    int probes = 0;

    std::string dataRoot;
    std::string soundDevices;

    bool clipboardRefused = false;
    std::string clipboard;
    std::vector<std::string> pastes;
    int pastesWithKeysDown = 0;
};

FakePlatform::FakePlatform()
    : state_(std::make_unique<State>())
{
}

FakePlatform::~FakePlatform() = default;

FakePlatform& FakePlatform::instance()
{
    static FakePlatform platform;
    return platform;
}

void FakePlatform::reset()
{
    state_ = std::make_unique<State>();
}

bool FakePlatform::press(std::uint32_t virtualKey)
{
    return send({virtualKey, true});
}

bool FakePlatform::release(std::uint32_t virtualKey)
{
    return send({virtualKey, false});
}

void FakePlatform::press(std::initializer_list<std::uint32_t> virtualKeys)
{
    for (const auto key : virtualKeys)
        press(key);
}

void FakePlatform::release(std::initializer_list<std::uint32_t> virtualKeys)
{
    for (const auto key : virtualKeys)
        release(key);
}

bool FakePlatform::send(const platform::KeyEvent& event)
{
    std::unique_lock lock(state_->mutex);
    if (state_->hooksRunning == 0) {
        event.down ? (void)state_->keysDown.insert(event.virtualKey) : (void)state_->keysDown.erase(event.virtualKey);
        return false;
    }
    std::promise<bool> answer;
    auto swallowed = answer.get_future();
    state_->deliveries.push_back({event, std::move(answer)});
    lock.unlock();
    state_->changed.notify_all();
    return swallowed.get();
}

void FakePlatform::refuseHook(unsigned long error)
{
    const std::lock_guard lock(state_->mutex);
    state_->hookError = error;
    state_->hooksRefused = 0;
}

void FakePlatform::takeHookAway(unsigned long error, int refusals)
{
    std::unique_lock lock(state_->mutex);
    state_->hookError = error;
    state_->hooksRefused = 0;
    state_->hookLost = true;
    state_->changed.notify_all();
    state_->changed.wait(lock, [&] { return state_->hooksRefused >= refusals; });
}

void FakePlatform::loseHook(std::initializer_list<std::uint32_t> releasedMeanwhile)
{
    std::unique_lock lock(state_->mutex);
    for (const auto key : releasedMeanwhile)
        state_->keysDown.erase(key);
    const int installed = state_->hooksInstalled;
    state_->hookLost = true;
    state_->changed.notify_all();
    state_->changed.wait(lock, [&] { return state_->hooksInstalled > installed && state_->hooksRunning > 0; });
}

int FakePlatform::hooksInstalled() const
{
    const std::lock_guard lock(state_->mutex);
    return state_->hooksInstalled;
}

int FakePlatform::hooksRunning() const
{
    const std::lock_guard lock(state_->mutex);
    return state_->hooksRunning;
}

void FakePlatform::setProbeResult(platform::ProbeResult result)
{
    const std::lock_guard lock(state_->mutex);
    state_->probeResult = result;
}

int FakePlatform::probes() const
{
    const std::lock_guard lock(state_->mutex);
    return state_->probes;
}

void FakePlatform::setDataRoot(const std::string& folder)
{
    const std::lock_guard lock(state_->mutex);
    state_->dataRoot = folder;
}

void FakePlatform::setSoundDevices(const std::string& devices)
{
    const std::lock_guard lock(state_->mutex);
    state_->soundDevices = devices;
}

void FakePlatform::refuseClipboard(bool refuse)
{
    const std::lock_guard lock(state_->mutex);
    state_->clipboardRefused = refuse;
}

std::string FakePlatform::clipboard() const
{
    const std::lock_guard lock(state_->mutex);
    return state_->clipboard;
}

std::vector<std::string> FakePlatform::pastes() const
{
    const std::lock_guard lock(state_->mutex);
    return state_->pastes;
}

int FakePlatform::pastesWithKeysDown() const
{
    const std::lock_guard lock(state_->mutex);
    return state_->pastesWithKeysDown;
}

bool FakePlatform::waitForPastes(std::size_t count, std::chrono::milliseconds timeout) const
{
    std::unique_lock lock(state_->mutex);
    return state_->changed.wait_for(lock, timeout, [&] { return state_->pastes.size() >= count; });
}

} // namespace quillo::test

namespace quillo::platform {

using State = test::FakePlatform::State;

namespace {

State& system()
{
    return test::FakePlatform::instance().state();
}

} // namespace

struct KeyboardHook::Impl {
    Handler handler;
    unsigned long error = 0;
    bool installed = false;
};

KeyboardHook::KeyboardHook()
    : impl_(std::make_unique<Impl>())
{
}

KeyboardHook::~KeyboardHook() = default;

bool KeyboardHook::install(const KeyCombination&, Handler handler)
{
    State& state = system();
    const std::lock_guard lock(state.mutex);
    impl_->error = state.hookError;
    if (impl_->error != 0) {
        ++state.hooksRefused;
        state.changed.notify_all();
        return false;
    }
    impl_->handler = std::move(handler);
    ++state.hooksInstalled;
    ++state.hooksRunning;
    state.hookLost = false;
    state.changed.notify_all();
    return true;
}

unsigned long KeyboardHook::error() const
{
    return impl_->error;
}

void KeyboardHook::run(std::atomic<bool>& running)
{
    State& state = system();
    std::unique_lock lock(state.mutex);
    for (;;) {
        state.changed.wait(lock, [&] { return !running || state.hookLost || !state.deliveries.empty(); });
        if (!running || state.hookLost)
            break;
        State::Delivery delivery = std::move(state.deliveries.front());
        state.deliveries.pop_front();
        const auto key = delivery.event.virtualKey;
        delivery.event.down ? (void)state.keysDown.insert(key) : (void)state.keysDown.erase(key);
        state.changed.notify_all();
        lock.unlock();
        delivery.swallowed.set_value(impl_->handler(delivery.event));
        lock.lock();
    }
    --state.hooksRunning;
    for (auto& unanswered : state.deliveries)
        unanswered.swallowed.set_value(false);
    state.deliveries.clear();
}

void KeyboardHook::wake()
{
    // Under the lock, so that run() cannot miss it between its look at `running` and its wait.
    const std::lock_guard lock(system().mutex);
    system().changed.notify_all();
}

bool KeyboardHook::isDown(std::uint32_t virtualKey) const
{
    const State& state = system();
    const std::lock_guard lock(state.mutex);
    const auto anyDown = [&](std::initializer_list<std::uint32_t> keys) {
        for (const auto key : keys)
            if (state.keysDown.contains(key))
                return true;
        return false;
    };
    switch (virtualKey) {
    case vk::shift:
        return anyDown({vk::shift, vk::leftShift, vk::rightShift});
    case vk::control:
        return anyDown({vk::control, vk::leftControl, vk::rightControl});
    case vk::menu:
        return anyDown({vk::menu, vk::leftMenu, vk::rightMenu});
    default:
        return anyDown({virtualKey});
    }
}

ProbeResult probeHotkey(const KeyCombination&)
{
    State& state = system();
    const std::lock_guard lock(state.mutex);
    ++state.probes;
    return state.probeResult;
}

bool setClipboardText(const std::string& utf8)
{
    State& state = system();
    const std::lock_guard lock(state.mutex);
    if (!state.clipboardRefused)
        state.clipboard = utf8;
    return !state.clipboardRefused;
}

bool sendPasteShortcut(const std::function<bool()>& mayBeSent)
{
    State& state = system();
    {
        std::unique_lock lock(state.mutex);
        state.changed.wait_for(lock, std::chrono::seconds(1), [&] { return state.keysDown.empty(); });
        lock.unlock();
        if (!mayBeSent())
            return false;
        lock.lock();
        state.pastesWithKeysDown += state.keysDown.empty() ? 0 : 1;
    }
    // The hook hears of the shortcut's keys as of any others.
    auto& keyboard = test::FakePlatform::instance();
    keyboard.press({vk::leftControl, 'V'});
    keyboard.release({'V', vk::leftControl});
    const std::lock_guard lock(state.mutex);
    state.pastes.push_back(state.clipboard);
    state.changed.notify_all();
    return true;
}

void settleClipboard() { }

bool isCompositing()
{
    return true;
}

std::string dataRoot()
{
    const State& state = system();
    const std::lock_guard lock(state.mutex);
    return state.dataRoot;
}

std::uint32_t virtualKeyOfEvent(std::uint32_t /*nativeScanCode*/, std::uint32_t nativeVirtualKey)
{
    return nativeVirtualKey;
}

std::string soundDevices()
{
    const State& state = system();
    const std::lock_guard lock(state.mutex);
    return state.soundDevices;
}

void receiveSoundMessages(void (* /*receive*/)(const char* line)) { }

} // namespace quillo::platform
