#include "platform/clipboard.h"
#include "platform/x11/desktop.h"

#include <gtest/gtest.h>

#include <array>
#include <functional>
#include <future>

#include <X11/Xatom.h>

namespace quillo::platform {
namespace {

const auto always = [] { return true; };

// Another program that asks for the clipboard, or plays the clipboard manager.
class Peer {
public:
    Peer()
        : display_(connect())
        , window_(makeWindow())
    {
    }

    Display* display() const { return display_.get(); }
    Atom atom(const char* name) const { return XInternAtom(display(), name, False); }
    Window clipboardOwner() const { return XGetSelectionOwner(display(), atom("CLIPBOARD")); }

    void killOwner()
    {
        XKillClient(display(), clipboardOwner());
        XSync(display(), False);
    }

    // Whether the clipboard's owner has put its content into our property. It stays there.
    bool request(const char* target)
    {
        XConvertSelection(display(), atom("CLIPBOARD"), atom(target), property_, window_, CurrentTime);
        return await([](const XEvent& e) { return e.type == SelectionNotify; }).xselection.property != None;
    }

    // The clipboard's content, or "refused".
    std::string fetch(const char* target) { return request(target) ? take() : "refused"; }

    // Asks in all the ways that are wrong, and waits for no answer.
    void pester()
    {
        constexpr Time longAgo = 1;
        for (const char* target : {"TARGETS", "MULTIPLE", "SAVE_TARGETS", "UTF8_STRING", "TIMESTAMP", "NO_SUCH"})
            for (const Time time : {Time{CurrentTime}, longAgo})
                for (const Atom property : {Atom{None}, property_}) {
                    const Window gone = makeWindow();
                    for (const Window window : {window_, gone})
                        XConvertSelection(display(), atom("CLIPBOARD"), atom(target), property, window, time);
                    XDestroyWindow(display(), gone);
                }
        const std::array<long, 3> odd{static_cast<long>(atom("MULTIPLE")), 0, 77777777}; // no pairs, and no atoms
        XChangeProperty(display(), window_, atom("ODD"), atom("ATOM_PAIR"), 32, PropModeReplace,
            reinterpret_cast<const unsigned char*>(odd.data()), odd.size());
        XConvertSelection(display(), atom("CLIPBOARD"), atom("MULTIPLE"), atom("ODD"), window_, CurrentTime);
        XSync(display(), False);
    }

    // Becomes the clipboard manager; serves one request to save the clipboard and returns what it saved.
    void becomeManager()
    {
        XSetSelectionOwner(display(), atom("CLIPBOARD_MANAGER"), window_, CurrentTime);
        XSync(display(), False);
    }
    std::string save()
    {
        const XSelectionRequestEvent request =
            await([](const XEvent& e) { return e.type == SelectionRequest; }).xselectionrequest;
        EXPECT_EQ(request.target, atom("SAVE_TARGETS"));
        std::string saved = fetch("UTF8_STRING");
        XEvent reply{};
        reply.xselection = {SelectionNotify, 0, True, display(), request.requestor, request.selection, request.target,
            request.property, request.time};
        XSendEvent(display(), request.requestor, False, NoEventMask, &reply);
        XSync(display(), False);
        return saved;
    }

private:
    Window makeWindow() { return XCreateSimpleWindow(display(), DefaultRootWindow(display()), 0, 0, 1, 1, 0, 0, 0); }

    XEvent await(const std::function<bool(const XEvent&)>& wanted)
    {
        const bool came = eventually([&] {
            while (XPending(display()) > 0) {
                XNextEvent(display(), &lastEvent_);
                if (wanted(lastEvent_))
                    return true;
            }
            return false;
        });
        EXPECT_TRUE(came);
        return came ? lastEvent_ : XEvent{};
    }
    std::string take()
    {
        constexpr long everything = 1 << 24;
        Atom type = None;
        int format = 0;
        unsigned long count = 0;
        unsigned long rest = 0;
        unsigned char* data = nullptr;
        XGetWindowProperty(
            display(), window_, property_, 0, everything, True, AnyPropertyType, &type, &format, &count, &rest, &data);
        const std::size_t itemSize = format == 32 ? sizeof(long) : 1;
        std::string content(reinterpret_cast<char*>(data), data ? count * itemSize : 0);
        XFree(data);
        return content;
    }

    Connection display_;
    Window window_;
    Atom property_ = atom("PEER_DATA");
    XEvent lastEvent_{};
};

class X11Clipboard : public testing::Test {
protected:
    ~X11Clipboard() override { handOverClipboard(); }

    Peer peer_;
};

TEST_F(X11Clipboard, DeliversTextByteForByte)
{
    for (const std::string& text : {std::string("Grüße, naïve café ✓ 🎙️ 日本語\nzweite Zeile\t"),
             std::string(1'000'000, 'x'), std::string()}) {
        ASSERT_TRUE(setClipboardText(text));
        for (const char* target : {"UTF8_STRING", "text/plain;charset=utf-8", "text/plain"}) {
            EXPECT_TRUE(peer_.request(target)); // and asks again before it has read the answer
            EXPECT_TRUE(peer_.fetch(target) == text) << target << ", " << text.size() << " bytes";
        }
    }
    EXPECT_FALSE(setClipboardText(std::string(17'000'000, 'x'))) << "more than a request can carry";
    ASSERT_TRUE(setClipboardText("Grüße ✓ 🎙 ÿ"));
    EXPECT_EQ(peer_.fetch("STRING"),
        "Gr\xFC\xDF"
        "e ? ? \xFF");
    EXPECT_EQ(peer_.fetch("image/png"), "refused");
    const std::string targets = peer_.fetch("TARGETS");
    const Atom utf8 = peer_.atom("UTF8_STRING");
    EXPECT_NE(targets.find(std::string(reinterpret_cast<const char*>(&utf8), sizeof utf8)), std::string::npos);
    EXPECT_EQ(peer_.fetch("TIMESTAMP").size(), sizeof(long));
}

TEST_F(X11Clipboard, SurvivesWhatOtherProgramsDoToIt)
{
    ASSERT_TRUE(setClipboardText("first"));
    Peer pest;
    pest.pester();
    EXPECT_EQ(peer_.fetch("UTF8_STRING"), "first");
    XSetSelectionOwner(peer_.display(), peer_.atom("CLIPBOARD"), None, CurrentTime);
    XSync(peer_.display(), False);
    ASSERT_TRUE(setClipboardText("second"));
    EXPECT_EQ(peer_.fetch("UTF8_STRING"), "second");
    peer_.killOwner();
    ASSERT_TRUE(setClipboardText("third"));
    EXPECT_EQ(peer_.fetch("UTF8_STRING"), "third");
    peer_.killOwner();
    sendPasteShortcut(always);
    handOverClipboard(); // must neither hang nor fall over the lost connection
    {
        const NoServer noServer;
        EXPECT_FALSE(setClipboardText("fourth"));
        sendPasteShortcut(always);
    }
    EXPECT_TRUE(setClipboardText("fifth"));
}

TEST_F(X11Clipboard, EndWaitsForThePaste)
{
    constexpr std::chrono::milliseconds slowApplication{50};
    ASSERT_TRUE(setClipboardText("spät"));
    sendPasteShortcut(always);
    auto handedOver = std::async(std::launch::async, handOverClipboard);
    std::this_thread::sleep_for(slowApplication);
    EXPECT_EQ(peer_.fetch("UTF8_STRING"), "spät");
    handedOver.get();
    EXPECT_EQ(peer_.clipboardOwner(), None);
    handOverClipboard(); // nothing left to do
    ASSERT_TRUE(setClipboardText("again"));
    EXPECT_EQ(peer_.fetch("UTF8_STRING"), "again");
}

TEST_F(X11Clipboard, EndLeavesTheTextWithTheManager)
{
    Peer manager;
    manager.becomeManager();
    ASSERT_TRUE(setClipboardText("bleibt ✓"));
    auto handedOver = std::async(std::launch::async, handOverClipboard);
    EXPECT_EQ(manager.save(), "bleibt ✓");
    handedOver.get();
    EXPECT_EQ(peer_.clipboardOwner(), None);

    ASSERT_TRUE(setClipboardText("verloren"));
    sendPasteShortcut(always);
    handOverClipboard(); // waits for ever neither for a paste that nobody serves nor for a manager that is silent
}

TEST(X11Paste, SendsCtrlVAndNothingElse)
{
    const struct {
        User::Keyboard keyboard;
        const char* before; // typed before the paste
        const char* during; // typed while the paste waits
        const char* seen;
    } cases[] = {
        {User::Keyboard::XTest, "", "", "+Control_L +v -v -Control_L"},
        {User::Keyboard::Hardware, "+Control_L +Shift_L", "-Shift_L -Control_L",
            "+Control_L +Shift_L -Shift_L -Control_L +Control_L +v -v -Control_L"},
        {User::Keyboard::Hardware, "+Shift_L +Alt_L", "",
            "+Shift_L +Alt_L -Shift_L -Alt_L +Control_L +v -v -Control_L"},
        {User::Keyboard::XTest, "+Control_L +Shift_L", "",
            "+Control_L +Shift_L -Control_L -Shift_L +Control_L +v -v -Control_L"},
    };
    for (const auto& c : cases) {
        Application application;
        User user(c.keyboard);
        user.type(c.before);
        auto paste = std::async(std::launch::async, sendPasteShortcut, always);
        user.type(c.during);
        paste.get();
        EXPECT_EQ(application.takeKeysUntil("-v -Control_L"), c.seen);
    }
}

} // namespace
} // namespace quillo::platform
