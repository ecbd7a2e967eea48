// Another program that deals badly with the clipboard: `desktop_clipboard`, commands on standard input, one a line:
//
//   own       owns the clipboard and never answers who asks for it
//   cling     the same, and takes the clipboard back whenever another program has taken it
//   manage    is the clipboard manager, which never says that it has saved anything
//   pester    asks for the clipboard at every change of its owner, in all the ways that are wrong, and does not wait
//   for
//             the answers
//   let go    ends all of this
//
// Each command is answered by a line "ok". Whenever another program takes the clipboard there is a line "taken".

#include <X11/Xatom.h>
#include <X11/Xlib.h>
#include <X11/extensions/Xfixes.h>

#include <array>
#include <cstdio>
#include <memory>
#include <string>

#include <poll.h>
#include <unistd.h>

namespace {

struct CloseDisplay {
    void operator()(Display* display) const { XCloseDisplay(display); }
};

int ignoreError(Display*, XErrorEvent*)
{
    return 0;
}

void say(const char* line)
{
    std::puts(line);
    std::fflush(stdout);
}

class Offender {
public:
    explicit Offender(Display* display)
        : display_(display)
        , clipboard_(atom("CLIPBOARD"))
        , manager_(atom("CLIPBOARD_MANAGER"))
        , window_(makeWindow())
    {
        int error = 0;
        XFixesQueryExtension(display_, &change_, &error);
        XFixesSelectSelectionInput(
            display_, DefaultRootWindow(display_), clipboard_, XFixesSetSelectionOwnerNotifyMask);
    }

    void carryOut(const std::string& command)
    {
        if (command == "own" || command == "cling")
            XSetSelectionOwner(display_, clipboard_, window_, CurrentTime);
        else if (command == "manage")
            XSetSelectionOwner(display_, manager_, window_, CurrentTime);
        else if (command == "let go")
            for (const Atom selection : {clipboard_, manager_})
                if (XGetSelectionOwner(display_, selection) == window_)
                    XSetSelectionOwner(display_, selection, None, CurrentTime);
        clings_ = command == "cling";
        pesters_ = command == "pester";
        XSync(display_, False);
        say("ok");
    }

    void dispatch(const XEvent& event)
    {
        if (event.type != change_ + XFixesSelectionNotify)
            return; // requests among them, which get no answer
        const Window owner = reinterpret_cast<const XFixesSelectionNotifyEvent&>(event).owner;
        if (owner == None || owner == window_)
            return;
        if (clings_)
            XSetSelectionOwner(display_, clipboard_, window_, CurrentTime);
        if (pesters_)
            pester();
        XFlush(display_);
        say("taken");
    }

private:
    Atom atom(const char* name) { return XInternAtom(display_, name, False); }

    Window makeWindow() { return XCreateSimpleWindow(display_, DefaultRootWindow(display_), 0, 0, 1, 1, 0, 0, 0); }

    void pester()
    {
        constexpr Time longAgo = 1;
        const std::array<Atom, 6> targets{atom("TARGETS"), atom("MULTIPLE"), atom("SAVE_TARGETS"), atom("UTF8_STRING"),
            atom("TIMESTAMP"), atom("NO_SUCH_TARGET")};
        for (const Atom target : targets)
            for (const Time time : {Time{CurrentTime}, longAgo})
                for (const Atom property : {Atom{None}, atom("ANSWER")}) {
                    XConvertSelection(display_, clipboard_, target, property, window_, time);
                    const Window gone = makeWindow();
                    XConvertSelection(display_, clipboard_, target, property, gone, time);
                    XDestroyWindow(display_, gone);
                }
        const std::array<long, 3> odd{static_cast<long>(atom("MULTIPLE")), 0, 77777777}; // no pairs, and no atoms
        XChangeProperty(display_, window_, atom("ODD"), atom("ATOM_PAIR"), 32, PropModeReplace,
            reinterpret_cast<const unsigned char*>(odd.data()), odd.size());
        XConvertSelection(display_, clipboard_, atom("MULTIPLE"), atom("ODD"), window_, CurrentTime);
    }

    Display* display_;
    Atom clipboard_;
    Atom manager_;
    Window window_;
    int change_ = 0;
    bool clings_ = false;
    bool pesters_ = false;
};

} // namespace

int main()
{
    const std::unique_ptr<Display, CloseDisplay> display(XOpenDisplay(nullptr));
    if (!display)
        return 1;
    XSetErrorHandler(ignoreError);
    Offender offender(display.get());
    std::string pending;
    std::array<pollfd, 2> sources{{{ConnectionNumber(display.get()), POLLIN, 0}, {STDIN_FILENO, POLLIN, 0}}};
    for (;;) {
        while (XPending(display.get()) > 0) {
            XEvent event;
            XNextEvent(display.get(), &event);
            offender.dispatch(event);
        }
        poll(sources.data(), sources.size(), -1);
        if (!sources[1].revents)
            continue;
        std::array<char, 256> bytes{};
        const ssize_t count = read(STDIN_FILENO, bytes.data(), bytes.size());
        if (count <= 0)
            return 0;
        pending.append(bytes.data(), static_cast<std::size_t>(count));
        for (std::size_t end = pending.find('\n'); end != std::string::npos; end = pending.find('\n')) {
            offender.carryOut(pending.substr(0, end));
            pending.erase(0, end + 1);
        }
    }
}
