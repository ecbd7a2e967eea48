#include "platform/termination.h"

#include "platform/x11/event_fd.h"

#include <QGuiApplication>
#include <QSocketNotifier>

#include <cerrno>
#include <csignal>
#include <utility>

#include <X11/ICE/ICElib.h>

namespace quillo::platform {
namespace {

// Never destroyed, so that a handler that still runs on another thread never meets a closed descriptor.
x11::EventFd* requests = nullptr;

void onSignal(int)
{
    const int before = errno;
    requests->signal();
    errno = before;
}

// Without a handler of ours the library would leave through exit().
void onSessionManagerLost(IceConn)
{
    requests->signal();
}

x11::EventFd& openRequests()
{
    if (!requests)
        requests = new x11::EventFd;
    requests->clear(); // what came for another object, at its end
    return *requests;
}

bool isIgnored(int signal)
{
    struct sigaction present { };
    return sigaction(signal, nullptr, &present) == 0 && present.sa_handler == SIG_IGN;
}

void catchRequests()
{
    struct sigaction disposition { };
    disposition.sa_handler = onSignal;
    disposition.sa_flags = SA_RESTART;
    for (const int signal : {SIGINT, SIGTERM, SIGHUP})
        if (signal != SIGHUP || !isIgnored(signal)) // as nohup asks for
            sigaction(signal, &disposition, nullptr);
    IceSetIOErrorHandler(onSessionManagerLost);
    // A peer that closed its connection is an error value where it is written to, not the end of the process.
    std::signal(SIGPIPE, SIG_IGN);
}

} // namespace

struct TerminationRequests::Impl {
    explicit Impl(TerminationActions given)
        : actions(std::move(given))
        , notifier(openRequests().fd(), QSocketNotifier::Read)
    {
        QObject::connect(&notifier, &QSocketNotifier::activated, &notifier, [this] {
            requests->clear();
            actions.end();
        });
        if (auto* application = qobject_cast<QGuiApplication*>(QCoreApplication::instance()))
            QObject::connect(
                application, &QGuiApplication::commitDataRequest, &notifier, [this] { actions.finishWork(); },
                Qt::DirectConnection);
        catchRequests();
    }

    TerminationActions actions;
    QSocketNotifier notifier;
};

TerminationRequests::TerminationRequests(TerminationActions actions)
    : impl_(std::make_unique<Impl>(std::move(actions)))
{
}

TerminationRequests::~TerminationRequests() = default;

} // namespace quillo::platform
