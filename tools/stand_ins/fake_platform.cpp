#include "stand_ins/fake_platform.h"

#include "platform/clipboard.h"
#include "platform/compositing.h"
#include "platform/data_root.h"
#include "platform/key_event.h"
#include "platform/keyboard_hook.h"
#include "platform/sound_devices.h"

namespace quillo::test {

FakePlatform& FakePlatform::instance()
{
    static FakePlatform platform;
    return platform;
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
        state_->keys.take(event);
        return false;
    }
    auto swallowed = state_->deliveries.emplace_back(event, std::promise<bool>()).second.get_future();
    lock.unlock();
    state_->changed.notify_all();
    return swallowed.get();
}

void FakePlatform::takeHookAway(unsigned long error, int refusals)
{
    std::unique_lock lock(state_->mutex);
    state_->hookError = error;
    state_->hookLost = true;
    state_->changed.notify_all();
    state_->changed.wait(lock, [&, enough = state_->refusals + refusals] { return state_->refusals >= enough; });
}

void FakePlatform::loseHook(std::initializer_list<std::uint32_t> releasedMeanwhile)
{
    std::unique_lock lock(state_->mutex);
    for (const auto key : releasedMeanwhile)
        state_->keys.take({key, false});
    state_->hookLost = true;
    state_->changed.notify_all();
    state_->changed.wait(lock, [&] { return !state_->hookLost; });
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
        ++state.refusals;
    } else {
        impl_->handler = std::move(handler);
        ++state.hooksInstalled;
        ++state.hooksRunning;
        state.hookLost = false;
    }
    state.changed.notify_all();
    return impl_->error == 0;
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
        auto [event, swallowed] = std::move(state.deliveries.front());
        state.deliveries.pop_front();
        state.keys.take(event);
        lock.unlock();
        swallowed.set_value(impl_->handler(event));
        lock.lock();
    }
    --state.hooksRunning;
    for (auto& [event, swallowed] : state.deliveries)
        swallowed.set_value(false);
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
    return system().get(&State::keys).isDown(virtualKey);
}

ProbeResult probeHotkey(const KeyCombination&)
{
    ++system().probes;
    return system().probeResult;
}

bool setClipboardText(const std::string& utf8)
{
    if (system().clipboardRefused)
        return false;
    system().set(&State::clipboard, utf8);
    return true;
}

bool sendPasteShortcut(const std::function<bool()>& mayBeSent)
{
    if (!mayBeSent())
        return false;
    // The hook hears of the shortcut's keys as of any others.
    auto& keyboard = test::FakePlatform::instance();
    keyboard.press({vk::leftControl, 'V'});
    keyboard.release({'V', vk::leftControl});
    const std::lock_guard lock(system().mutex);
    system().pastes.push_back(system().clipboard);
    return true;
}

void handOverClipboard() { }

bool isCompositing()
{
    return true;
}

std::string dataRoot()
{
    return system().get(&State::dataRoot);
}

std::uint32_t virtualKeyOfEvent(std::uint32_t /*nativeScanCode*/, std::uint32_t nativeVirtualKey)
{
    return nativeVirtualKey;
}

std::string soundDevices()
{
    return system().get(&State::soundDevices);
}

void receiveSoundMessages(void (* /*receive*/)(const char* line)) { }

} // namespace quillo::platform
