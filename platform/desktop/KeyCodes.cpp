#include "platform/desktop/KeyCodes.h"

#include <QKeyEvent>
#include <utility>

namespace platform::desktop {

namespace {

// A bound key: its Linux input event code (linux/input-event-codes.h; the XKB keycode is
// 8 more) and what a US layout types on it, unshifted and shifted.
struct Key {
    int mac;
    quint32 evdev;
    int unshifted;
    int shifted;
};

constexpr Key kKeys[] = {
    {mac::W, 17, Qt::Key_W, Qt::Key_W},
    {mac::Equal, 13, Qt::Key_Equal, Qt::Key_Plus},
    {mac::Minus, 12, Qt::Key_Minus, Qt::Key_Underscore},
    {mac::Digit0, 11, Qt::Key_0, Qt::Key_ParenRight},
    {mac::RightBracket, 27, Qt::Key_BracketRight, Qt::Key_BraceRight},
    {mac::LeftBracket, 26, Qt::Key_BracketLeft, Qt::Key_BraceLeft},
    {mac::Comma, 51, Qt::Key_Comma, Qt::Key_Less},
    {mac::Period, 52, Qt::Key_Period, Qt::Key_Greater},
};

constexpr quint32 kXkbKeycodeOffset = 8;

// The Linux codes of the keys a layout prints characters on, with Escape, the function
// keys, the keypad and the navigation keys: such a key is the key its code says, whatever
// it types. Only for other codes (none, a modifier, a media key, a key of a national
// keyboard) does the Qt key decide.
constexpr std::pair<quint32, quint32> kKeysOfTheirOwn[] = {
    {1, 28},  {30, 41}, {43, 53},  {55, 55},   {57, 57},   {59, 68},
    {71, 83}, {86, 88}, {96, 96},  {98, 98},   {102, 111}, {117, 117},
};

bool isKeyOfItsOwn(quint32 evdev) {
    for (const auto& [first, last] : kKeysOfTheirOwn)
        if (evdev >= first && evdev <= last)
            return true;
    return false;
}

} // namespace

int macVirtualKeyCode(const QKeyEvent& event) {
    const quint32 native = event.nativeScanCode();
    const bool byPlace = native > kXkbKeycodeOffset && isKeyOfItsOwn(native - kXkbKeycodeOffset);
    for (const Key& key : kKeys) {
        if (byPlace ? native == key.evdev + kXkbKeycodeOffset
                    : event.key() == key.unshifted || event.key() == key.shifted)
            return key.mac;
    }
    return -1;
}

} // namespace platform::desktop
