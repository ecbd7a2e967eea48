#include "platform/termination.h"

#include "platform/windows/hidden_window.h"

#include <utility>

namespace quillo::platform {

struct TerminationRequests::Impl {
    explicit Impl(std::function<void()> action)
        : onRequest(std::move(action))
    {
    }

    bool handle(UINT message, WPARAM wParam) const
    {
        const bool sessionEnds = message == WM_ENDSESSION && wParam != FALSE;
        if (!sessionEnds && message != WM_CLOSE)
            return false; // asked whether the session may end, the system's default agrees
        onRequest();
        return true;
    }

    std::function<void()> onRequest;
    HiddenWindow window{L"QuilloTermination", [this](UINT message, WPARAM wParam) { return handle(message, wParam); }};
};

TerminationRequests::TerminationRequests(std::function<void()> onRequest)
    : impl_(std::make_unique<Impl>(std::move(onRequest)))
{
}

TerminationRequests::~TerminationRequests() = default;

} // namespace quillo::platform
