#pragma once

#include <functional>
#include <vector>

#include <X11/Xlib.h>

namespace quillo::platform::x11 {

/// A connection of our own to the X server that DISPLAY names, closed with the object.
///
/// Used by one thread at a time. Errors of its requests are dropped unless failuresOf() asks for them; when the server
/// or another client closes the connection, it is lost() from then on and its calls do nothing: neither ends the
/// process. Errors on the connections of others (the toolkit's) go where they went before; the loss of one ends the
/// process at once.
class Connection {
public:
    Connection();
    ~Connection();
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

    /// Open and not lost.
    explicit operator bool() const { return display_ && !lost_; }
    bool lost() const { return lost_; }

    /// Only of an open connection.
    Display* get() const { return display_; }
    int fd() const { return ConnectionNumber(display_); }
    Window root() const { return DefaultRootWindow(display_); }
    Atom atom(const char* name) const { return XInternAtom(display_, name, False); }

    /// Runs the requests, waits until the server has processed them, and returns the serial numbers of those that it
    /// refused, in ascending order.
    std::vector<unsigned long> failuresOf(const std::function<void()>& requests);

    /// For the process-wide error handler.
    void noteError(unsigned long serial);

private:
    Display* display_ = nullptr;
    bool lost_ = false;
    bool recording_ = false;
    std::vector<unsigned long> failures_;
};

} // namespace quillo::platform::x11
