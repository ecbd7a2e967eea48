#include "platform/x11/key_map.h"

#include <algorithm>
#include <bit>
#include <memory>
#include <string_view>

#include <X11/XKBlib.h>
#include <X11/keysym.h>

namespace quillo::platform::x11 {
namespace {

constexpr unsigned firstKeycode = 8; // the protocol's lowest
constexpr unsigned groupLimit = 4; // layouts that one keyboard can hold

constexpr std::uint32_t allModifiers[] = {modAlt, modCtrl, modShift, modWin};

struct NamedKey {
    KeySym keysym;
    std::uint32_t virtualKey;
};

// Codes that keys.h does not name are those of <winuser.h>.
constexpr NamedKey namedKeys[] = {
    {XK_BackSpace, vk::back},
    {XK_Tab, vk::tab},
    {XK_Return, vk::enter},
    {XK_KP_Enter, vk::enter},
    {XK_Escape, vk::escape},
    {XK_space, vk::space},
    {XK_Prior, vk::pageUp},
    {XK_Next, vk::pageDown},
    {XK_End, vk::end},
    {XK_Home, vk::home},
    {XK_Left, vk::left},
    {XK_Up, vk::up},
    {XK_Right, vk::right},
    {XK_Down, vk::down},
    {XK_Insert, vk::insert},
    {XK_Delete, vk::del},
    {XK_Super_L, vk::leftWin},
    {XK_Super_R, vk::rightWin},
    {XK_Shift_L, vk::leftShift},
    {XK_Shift_R, vk::rightShift},
    {XK_Control_L, vk::leftControl},
    {XK_Control_R, vk::rightControl},
    {XK_Alt_L, vk::leftMenu},
    {XK_Alt_R, vk::rightMenu},
    {XK_Meta_L, vk::leftMenu},
    {XK_Meta_R, vk::rightMenu},
    {XK_ISO_Level3_Shift, vk::rightMenu},
    {XK_Pause, 0x13},
    {XK_Caps_Lock, 0x14},
    {XK_Print, 0x2C},
    {XK_Menu, 0x5D},
    {XK_Num_Lock, 0x90},
    {XK_Scroll_Lock, 0x91},
    {XK_KP_Insert, 0x60},
    {XK_KP_End, 0x61},
    {XK_KP_Down, 0x62},
    {XK_KP_Next, 0x63},
    {XK_KP_Left, 0x64},
    {XK_KP_Begin, 0x65},
    {XK_KP_Right, 0x66},
    {XK_KP_Home, 0x67},
    {XK_KP_Up, 0x68},
    {XK_KP_Prior, 0x69},
    {XK_KP_Multiply, 0x6A},
    {XK_KP_Add, 0x6B},
    {XK_KP_Subtract, 0x6D},
    {XK_KP_Delete, 0x6E},
    {XK_KP_Divide, 0x6F},
    {XK_semicolon, 0xBA},
    {XK_equal, 0xBB},
    {XK_plus, 0xBB},
    {XK_comma, 0xBC},
    {XK_minus, 0xBD},
    {XK_period, 0xBE},
    {XK_slash, 0xBF},
    {XK_grave, 0xC0},
    {XK_bracketleft, 0xDB},
    {XK_backslash, 0xDC},
    {XK_bracketright, 0xDD},
    {XK_apostrophe, 0xDE},
    {XK_less, 0xE2},
};

std::uint32_t codeOf(KeySym keysym)
{
    const auto within = [keysym](KeySym first, KeySym last) { return keysym >= first && keysym <= last; };
    if (within(XK_a, XK_z))
        return static_cast<std::uint32_t>('A' + (keysym - XK_a));
    if (within(XK_A, XK_Z))
        return static_cast<std::uint32_t>('A' + (keysym - XK_A));
    if (within(XK_0, XK_9))
        return static_cast<std::uint32_t>('0' + (keysym - XK_0));
    if (within(XK_F1, XK_F24))
        return static_cast<std::uint32_t>(vk::f1 + (keysym - XK_F1));
    const auto* const found = std::find_if(
        std::begin(namedKeys), std::end(namedKeys), [keysym](const NamedKey& key) { return key.keysym == keysym; });
    return found == std::end(namedKeys) ? 0 : found->virtualKey;
}

KeySym keysymAt(Display* display, unsigned keycode, unsigned group, int level)
{
    return XkbKeycodeToKeysym(display, static_cast<KeyCode>(keycode), static_cast<int>(group), level);
}

std::uint32_t codeIn(Display* display, unsigned keycode, unsigned group)
{
    // Some layouts, the French for one, type digits only with Shift; they are digit keys all the same, whichever signs
    // they type without.
    const KeySym shifted = keysymAt(display, keycode, group, 1);
    return codeOf(shifted >= XK_0 && shifted <= XK_9 ? shifted : keysymAt(display, keycode, group, 0));
}

// The active layout first, then all in their order.
std::vector<unsigned> groupsByPreference(Display* display)
{
    XkbStateRec state{};
    XkbGetState(display, XkbUseCoreKbd, &state);
    std::vector<unsigned> groups{state.group};
    for (unsigned group = 0; group < groupLimit; ++group)
        groups.push_back(group);
    return groups;
}

} // namespace

KeyMap::KeyMap(Display* display)
{
    const std::vector<unsigned> groups = groupsByPreference(display);
    for (unsigned keycode = firstKeycode; keycode < keycodeCount; ++keycode) {
        std::uint32_t code = 0;
        for (auto group = groups.begin(); group != groups.end() && !code; ++group)
            code = codeIn(display, keycode, *group);
        virtualKeys_[keycode] = static_cast<std::uint8_t>(code);
    }
    placeMissingLetters();

    const std::unique_ptr<XModifierKeymap, decltype(&XFreeModifiermap)> modifiers(
        XGetModifierMapping(display), XFreeModifiermap);
    if (!modifiers)
        return;
    for (int bit = 0; bit < 8; ++bit)
        for (int i = 0; i < modifiers->max_keypermod; ++i)
            if (const KeyCode keycode = modifiers->modifiermap[bit * modifiers->max_keypermod + i])
                stateMasks_[keycode] = static_cast<std::uint8_t>(stateMasks_[keycode] | 1u << bit);
}

void KeyMap::placeMissingLetters()
{
    struct Row {
        unsigned keycode;
        std::string_view letters;
    };
    static constexpr Row rows[] = {{24, "QWERTYUIOP"}, {38, "ASDFGHJKL"}, {52, "ZXCVBNM"}};
    const auto present = virtualKeys_;
    for (const Row& row : rows)
        for (unsigned i = 0; i < row.letters.size(); ++i) {
            const auto letter = static_cast<std::uint8_t>(row.letters[i]);
            std::uint8_t& key = virtualKeys_[row.keycode + i];
            if (!key && std::find(present.begin(), present.end(), letter) == present.end())
                key = letter;
        }
}

std::vector<unsigned> KeyMap::keycodes(std::uint32_t virtualKey) const
{
    std::vector<unsigned> found;
    for (unsigned keycode = firstKeycode; keycode < keycodeCount && virtualKey; ++keycode)
        if (virtualKeys_[keycode] == virtualKey)
            found.push_back(keycode);
    return found;
}

unsigned KeyMap::stateMask(std::uint32_t modifier) const
{
    unsigned mask = 0;
    for (unsigned keycode = firstKeycode; keycode < keycodeCount; ++keycode)
        if (modifierOf(virtualKeys_[keycode]) == modifier)
            mask |= stateMasks_[keycode];
    return mask;
}

bool KeyMap::holds(unsigned state, std::uint32_t modifiers) const
{
    return std::all_of(
        std::begin(allModifiers), std::end(allModifiers),
        [&](std::uint32_t modifier) { return !(modifiers & modifier) || (state & stateMask(modifier)); });
}

unsigned KeyMap::exactState(std::uint32_t modifiers) const
{
    unsigned state = 0;
    for (const std::uint32_t modifier : allModifiers)
        if (const unsigned mask = stateMask(modifier); mask && (modifiers & modifier))
            state |= 1u << std::countr_zero(mask);
    return state;
}

std::bitset<keycodeCount> keysDown(Display* display)
{
    char bits[keycodeCount / 8] = {};
    XQueryKeymap(display, bits);
    std::bitset<keycodeCount> down;
    for (unsigned keycode = 0; keycode < keycodeCount; ++keycode)
        down[keycode] = (static_cast<unsigned char>(bits[keycode / 8]) >> (keycode % 8)) & 1U;
    return down;
}

unsigned keycodeTyping(Display* display, KeySym character, unsigned fallback)
{
    for (const unsigned group : groupsByPreference(display))
        for (unsigned keycode = firstKeycode; keycode < keycodeCount; ++keycode)
            if (keysymAt(display, keycode, group, 0) == character)
                return keycode;
    return fallback;
}

} // namespace quillo::platform::x11
