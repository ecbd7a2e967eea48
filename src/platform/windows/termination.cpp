#include "platform/termination.h"

namespace quillo::platform {

// Windows announces the end of a session to the windows of a program, so that the toolkit reports it; a program
// without a console has no Ctrl+C to hear of either. Nothing is left to watch.
struct TerminationRequests::Impl { };

// NOLINTNEXTLINE(performance-unnecessary-value-param): other systems keep it
TerminationRequests::TerminationRequests(std::function<void()> /*onRequest*/) { }

TerminationRequests::~TerminationRequests() = default;

} // namespace quillo::platform
