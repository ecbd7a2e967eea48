#include "platform/x11/selection_server.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <vector>

#include <X11/Xatom.h>
#include <poll.h>

namespace quillo::platform::x11 {
namespace {

constexpr int longItems = 32; // property format of C longs, whatever their size
constexpr int byteItems = 8;

// Bytes that a property of a single request can take. Xlib makes large requests of its own accord.
std::size_t largestProperty(Display* display)
{
    constexpr std::size_t unit = 4; // bytes
    constexpr std::size_t head = 64; // more than the request takes beside the bytes
    return static_cast<std::size_t>(std::max(XExtendedMaxRequestSize(display), XMaxRequestSize(display))) * unit - head;
}

// The STRING target is Latin-1 by definition.
std::string toLatin1(const std::string& utf8)
{
    std::string latin1;
    for (std::size_t i = 0; i < utf8.size();) {
        const auto lead = static_cast<unsigned char>(utf8[i++]);
        std::uint32_t character = lead;
        const std::size_t first = i;
        while (i < utf8.size() && (static_cast<unsigned char>(utf8[i]) & 0xC0U) == 0x80U)
            ++i;
        if (lead >= 0x80)
            character = (lead & 0xFCU) == 0xC0U && i == first + 1
                ? (lead & 0x03U) << 6 | (static_cast<unsigned char>(utf8[first]) & 0x3FU)
                : '?';
        latin1 += static_cast<char>(character);
    }
    return latin1;
}

// Server times wrap around every 49 days.
bool isBefore(Time a, Time b)
{
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) - static_cast<std::uint32_t>(b)) < 0;
}

} // namespace

void SelectionServer::serve(SharedSelection& shared)
{
    {
        SelectionServer server(shared);
        server.run();
    }
    const std::lock_guard lock(shared.mutex);
    shared.ended = true;
    shared.owned = shared.pasteExpected = shared.handOver = false;
    shared.text.reset();
    shared.changed.notify_all();
}

SelectionServer::SelectionServer(SharedSelection& shared)
    : shared_(shared)
{
    if (!connection_)
        return;
    Display* const display = connection_.get();
    static constexpr std::array<const char*, nameCount> texts{"CLIPBOARD", "CLIPBOARD_MANAGER", "SAVE_TARGETS",
        "TARGETS", "MULTIPLE", "ATOM_PAIR", "TIMESTAMP", "UTF8_STRING", "text/plain;charset=utf-8", "text/plain",
        "_SELECTION_SCRATCH"};
    for (std::size_t i = 0; i < nameCount; ++i)
        names_[i] = connection_.atom(texts[i]);
    largestText_ = largestProperty(display);
    window_ = XCreateSimpleWindow(display, connection_.root(), 0, 0, 1, 1, 0, 0, 0);
    XSelectInput(display, window_, PropertyChangeMask);
}

void SelectionServer::run()
{
    if (!connection_)
        return;
    pollfd sources[] = {{connection_.fd(), POLLIN, 0}, {shared_.wake.fd(), POLLIN, 0}};
    for (;;) {
        while (XPending(connection_.get()) > 0) {
            XEvent event;
            XNextEvent(connection_.get(), &event);
            if (connection_.lost())
                return;
            dispatch(event);
        }
        if (connection_.lost())
            return;
        poll(sources, std::size(sources), -1);
        if (!sources[1].revents)
            continue;
        shared_.wake.clear();
        doAsTold();
        const std::lock_guard lock(shared_.mutex);
        if (shared_.stop)
            return;
    }
}

void SelectionServer::doAsTold()
{
    std::unique_lock lock(shared_.mutex);
    const bool place = shared_.text != nullptr;
    const bool save = shared_.handOver;
    lock.unlock();
    // The claim needs the server's time, which the notice of a changed property tells.
    if (place)
        XChangeProperty(
            connection_.get(), window_, (*this)[Scratch], XA_INTEGER, byteItems, PropModeAppend, nullptr, 0);
    if (save)
        handOver();
}

void SelectionServer::dispatch(XEvent& event)
{
    switch (event.type) {
    case PropertyNotify:
        if (event.xproperty.atom == (*this)[Scratch] && event.xproperty.state == PropertyNewValue)
            claim(event.xproperty.time);
        break;
    case SelectionRequest:
        answer(event.xselectionrequest);
        break;
    case SelectionNotify:
        if (event.xselection.selection == (*this)[Manager])
            handedOver();
        break;
    case SelectionClear: {
        text_.reset();
        const std::lock_guard lock(shared_.mutex);
        shared_.owned = shared_.pasteExpected = false;
        shared_.changed.notify_all();
        break;
    }
    default:
        break;
    }
}

void SelectionServer::claim(Time time)
{
    std::unique_lock lock(shared_.mutex);
    const Text text = shared_.text;
    lock.unlock();
    if (!text)
        return;
    XSetSelectionOwner(connection_.get(), (*this)[Clipboard], window_, time);
    const bool owned = text->size() <= largestText_
        && XGetSelectionOwner(connection_.get(), (*this)[Clipboard]) == window_ && !connection_.lost();
    text_ = owned ? text : nullptr;
    ownedSince_ = time;
    lock.lock();
    shared_.owned = owned;
    shared_.pasteExpected = false;
    if (shared_.text == text)
        shared_.text.reset();
    shared_.changed.notify_all();
}

void SelectionServer::handOver()
{
    if (!text_ || XGetSelectionOwner(connection_.get(), (*this)[Manager]) == None) {
        handedOver();
        return;
    }
    setProperty(window_, (*this)[SaveTargets], XA_ATOM, {(*this)[Utf8String], (*this)[PlainUtf8], XA_STRING});
    XConvertSelection(
        connection_.get(), (*this)[Manager], (*this)[SaveTargets], (*this)[SaveTargets], window_, ownedSince_);
}

void SelectionServer::handedOver()
{
    const std::lock_guard lock(shared_.mutex);
    shared_.handOver = false;
    shared_.changed.notify_all();
}

void SelectionServer::answer(const XSelectionRequestEvent& request)
{
    const bool current = text_ && request.selection == (*this)[Clipboard]
        && (request.time == CurrentTime || !isBefore(request.time, ownedSince_));
    // Old clients name no property.
    const Atom property = request.property == None ? request.target : request.property;
    const bool converted = current && convert(request.requestor, request.target, property);
    XEvent reply{};
    reply.xselection.type = SelectionNotify;
    reply.xselection.requestor = request.requestor;
    reply.xselection.selection = request.selection;
    reply.xselection.target = request.target;
    reply.xselection.property = converted ? property : None;
    reply.xselection.time = request.time;
    XSendEvent(connection_.get(), request.requestor, False, NoEventMask, &reply);
    XFlush(connection_.get());
    const bool isText = request.target != (*this)[Targets] && request.target != (*this)[Timestamp]
        && request.target != (*this)[SaveTargets];
    if (converted && isText)
        textDelivered();
}

bool SelectionServer::convert(Window requestor, Atom target, Atom property)
{
    if (target == (*this)[Targets])
        setProperty(requestor, property, XA_ATOM,
            {(*this)[Targets], (*this)[Multiple], (*this)[Timestamp], (*this)[SaveTargets], (*this)[Utf8String],
                (*this)[PlainUtf8], (*this)[Plain], XA_STRING});
    else if (target == (*this)[Timestamp])
        setProperty(requestor, property, XA_INTEGER, {ownedSince_});
    else if (target == (*this)[SaveTargets])
        setProperty(requestor, property, XInternAtom(connection_.get(), "NULL", False), {});
    else if (target == (*this)[Multiple])
        return convertMultiple(requestor, property);
    else
        return convertText(requestor, target, property);
    return true;
}

bool SelectionServer::convertMultiple(Window requestor, Atom property)
{
    constexpr long mostPairs = 64;
    Atom type = None;
    int format = 0;
    unsigned long count = 0;
    unsigned long rest = 0;
    unsigned char* data = nullptr;
    if (XGetWindowProperty(connection_.get(), requestor, property, 0, 2 * mostPairs, False, AnyPropertyType, &type,
            &format, &count, &rest, &data)
        != Success)
        return false;
    const std::unique_ptr<unsigned char, decltype(&XFree)> owner(data, XFree);
    if (format != longItems)
        return false;
    const auto* const atoms = reinterpret_cast<const unsigned long*>(data);
    std::vector<unsigned long> pairs(atoms, atoms + count - count % 2);
    for (std::size_t i = 0; i < pairs.size(); i += 2)
        if (pairs[i] == (*this)[Multiple] || pairs[i + 1] == None || !convert(requestor, pairs[i], pairs[i + 1]))
            pairs[i + 1] = None; // says that this one failed
    setProperty(requestor, property, (*this)[AtomPair], pairs);
    return true;
}

bool SelectionServer::convertText(Window requestor, Atom target, Atom property)
{
    if (target == (*this)[Utf8String] || target == (*this)[PlainUtf8] || target == (*this)[Plain])
        setText(requestor, property, target, *text_);
    else if (target == XA_STRING)
        setText(requestor, property, target, toLatin1(*text_));
    else
        return false;
    return true;
}

void SelectionServer::textDelivered()
{
    const std::lock_guard lock(shared_.mutex);
    shared_.pasteExpected = false;
    shared_.changed.notify_all();
}

void SelectionServer::setProperty(Window window, Atom property, Atom type, const std::vector<unsigned long>& values)
{
    XChangeProperty(connection_.get(), window, property, type, longItems, PropModeReplace,
        reinterpret_cast<const unsigned char*>(values.data()), static_cast<int>(values.size()));
}

void SelectionServer::setText(Window window, Atom property, Atom type, const std::string& bytes)
{
    XChangeProperty(connection_.get(), window, property, type, byteItems, PropModeReplace,
        reinterpret_cast<const unsigned char*>(bytes.data()), static_cast<int>(bytes.size()));
}

} // namespace quillo::platform::x11
