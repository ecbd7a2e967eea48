#include "platform/x11/selection_owner.h"

#include <chrono>
#include <memory>

namespace quillo::platform::x11 {
namespace {

constexpr std::chrono::seconds patience{1}; // with the server, a pasting application, a clipboard manager

}

SelectionOwner::~SelectionOwner()
{
    stopThread();
}

template<class Condition> bool SelectionOwner::await(std::unique_lock<std::mutex>& lock, Condition condition)
{
    shared_.wake.signal();
    return shared_.changed.wait_for(lock, patience, [&] { return condition() || shared_.ended; }) && !shared_.ended;
}

bool SelectionOwner::setText(const std::string& utf8)
{
    const std::lock_guard callers(callers_);
    // A second time for the case that the loss of the old connection comes to light only now.
    return place(utf8) || (hasEnded() && place(utf8));
}

bool SelectionOwner::place(const std::string& utf8)
{
    if (hasEnded())
        restartThread();
    std::unique_lock lock(shared_.mutex);
    shared_.text = std::make_shared<const std::string>(utf8);
    return await(lock, [this] { return !shared_.text; }) && shared_.owned;
}

void SelectionOwner::expectPaste()
{
    const std::lock_guard lock(shared_.mutex);
    shared_.pasteExpected = shared_.owned;
}

void SelectionOwner::handOver()
{
    const std::lock_guard callers(callers_);
    if (!hasEnded()) {
        std::unique_lock lock(shared_.mutex);
        await(lock, [this] { return !shared_.pasteExpected; });
        shared_.handOver = true;
        await(lock, [this] { return !shared_.handOver; });
    }
    stopThread();
}

bool SelectionOwner::hasEnded()
{
    const std::lock_guard lock(shared_.mutex);
    return shared_.ended;
}

void SelectionOwner::restartThread()
{
    stopThread();
    shared_.stop = false;
    shared_.ended = false;
    thread_ = std::thread([this] { SelectionServer::serve(shared_); });
}

void SelectionOwner::stopThread()
{
    if (!thread_.joinable())
        return;
    {
        const std::lock_guard lock(shared_.mutex);
        shared_.stop = true;
    }
    shared_.wake.signal();
    thread_.join();
}

} // namespace quillo::platform::x11
