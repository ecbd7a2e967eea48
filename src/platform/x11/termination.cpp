#include "platform/termination.h"

#include "platform/x11/event_fd.h"

#include <QGuiApplication>
#include <QSocketNotifier>

#include <array>
#include <cerrno>
#include <csignal>
#include <utility>

namespace quillo::platform {
namespace {

constexpr std::array watchedSignals{SIGINT, SIGTERM};

// Never destroyed, so that a handler that still runs on another thread never meets a closed descriptor.
x11::EventFd* requests = nullptr;

void onSignal(int)
{
    const int before = errno;
    requests->signal();
    errno = before;
}

x11::EventFd& openRequests()
{
    if (!requests)
        requests = new x11::EventFd;
    return *requests;
}

} // namespace

struct TerminationRequests::Impl {
    explicit Impl(std::function<void()> action)
        : onRequest(std::move(action))
        , notifier(openRequests().fd(), QSocketNotifier::Read)
    {
        QObject::connect(&notifier, &QSocketNotifier::activated, &notifier, [this] {
            requests->clear();
            onRequest();
        });
        if (auto* application = qobject_cast<QGuiApplication*>(QCoreApplication::instance()))
            QObject::connect(
                application, &QGuiApplication::commitDataRequest, &notifier, [this] { onRequest(); },
                Qt::DirectConnection);
        struct sigaction disposition { };
        disposition.sa_handler = onSignal;
        disposition.sa_flags = SA_RESTART;
        for (std::size_t i = 0; i < watchedSignals.size(); ++i)
            sigaction(watchedSignals[i], &disposition, &before[i]);
        // A peer that closed its connection is an error value where it is written to, not the end of the process.
        std::signal(SIGPIPE, SIG_IGN);
    }
    ~Impl()
    {
        for (std::size_t i = 0; i < watchedSignals.size(); ++i)
            sigaction(watchedSignals[i], &before[i], nullptr);
    }
    Impl(const Impl&) = delete;
    Impl& operator=(const Impl&) = delete;

    std::function<void()> onRequest;
    QSocketNotifier notifier;
    std::array<struct sigaction, watchedSignals.size()> before{};
};

TerminationRequests::TerminationRequests(std::function<void()> onRequest)
    : impl_(std::make_unique<Impl>(std::move(onRequest)))
{
}

TerminationRequests::~TerminationRequests() = default;

} // namespace quillo::platform
