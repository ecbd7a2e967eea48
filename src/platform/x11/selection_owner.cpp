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
    board_.wake.signal();
    return board_.changed.wait_for(lock, patience, [&] { return condition() || board_.ended; }) && !board_.ended;
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
    std::unique_lock lock(board_.mutex);
    board_.text = std::make_shared<const std::string>(utf8);
    return await(lock, [this] { return !board_.text; }) && board_.owned;
}

void SelectionOwner::expectPaste()
{
    const std::lock_guard lock(board_.mutex);
    board_.pasteExpected = board_.owned;
}

void SelectionOwner::settle()
{
    const std::lock_guard callers(callers_);
    if (!hasEnded()) {
        std::unique_lock lock(board_.mutex);
        await(lock, [this] { return !board_.pasteExpected; });
        board_.handOver = true;
        await(lock, [this] { return !board_.handOver; });
    }
    stopThread();
}

bool SelectionOwner::hasEnded()
{
    const std::lock_guard lock(board_.mutex);
    return board_.ended;
}

void SelectionOwner::restartThread()
{
    stopThread();
    board_.stop = false;
    board_.ended = false;
    thread_ = std::thread([this] { SelectionServer::serve(board_); });
}

void SelectionOwner::stopThread()
{
    if (!thread_.joinable())
        return;
    {
        const std::lock_guard lock(board_.mutex);
        board_.stop = true;
    }
    board_.wake.signal();
    thread_.join();
}

} // namespace quillo::platform::x11
