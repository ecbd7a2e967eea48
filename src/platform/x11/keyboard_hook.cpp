#include "platform/keyboard_hook.h"

#include "platform/x11/event_fd.h"
#include "platform/x11/key_watch.h"

#include <utility>

namespace quillo::platform {

struct KeyboardHook::Impl {
    x11::EventFd wake;
    std::unique_ptr<x11::KeyWatch> watch; // while installed
    int error = 0;
};

KeyboardHook::KeyboardHook()
    : impl_(std::make_unique<Impl>())
{
}

KeyboardHook::~KeyboardHook() = default;

bool KeyboardHook::install(const KeyCombination& watched, Handler handler)
{
    impl_->watch.reset();
    impl_->error = impl_->wake.error();
    if (impl_->error)
        return false;
    impl_->watch = std::make_unique<x11::KeyWatch>(watched, std::move(handler));
    impl_->error = impl_->watch->error();
    if (impl_->error)
        impl_->watch.reset();
    return !impl_->error;
}

unsigned long KeyboardHook::error() const
{
    return static_cast<unsigned long>(impl_->error);
}

void KeyboardHook::run(std::atomic<bool>& running)
{
    if (impl_->watch)
        impl_->watch->run(running, impl_->wake);
    impl_->watch.reset();
}

void KeyboardHook::wake()
{
    impl_->wake.signal();
}

bool KeyboardHook::isDown(std::uint32_t virtualKey) const
{
    return impl_->watch && impl_->watch->isDown(virtualKey);
}

} // namespace quillo::platform
