// Physical keys to mac key codes. The expected codes are Carbon's kVK_ANSI_* and kVK_*
// values and the Linux codes come from the kernel's own header, so neither side of a check
// comes from the tables under test.

#include "platform/desktop/KeyCodes.h"

#include <QKeyEvent>
#include <gtest/gtest.h>
#include <linux/input-event-codes.h>
#include <ostream>
#include <string>

using namespace platform::desktop;

namespace {

constexpr quint32 kXkbOffset = 8; // XKB keycode = evdev code + 8

// A key of a US keyboard: its kernel code (also its Windows scan code), what it types
// without and with Shift, and its mac code.
struct Key {
    const char* label;
    int evdevCode;
    int qtKey;
    int shiftedQtKey;
    int macCode;
};
void PrintTo(const Key& key, std::ostream* out) {
    *out << key.label;
}

class UsKeys : public ::testing::TestWithParam<Key> {};

TEST_P(UsKeys, SameCodeFromXkbWindowsAndQtKeys) {
    const Key& key = GetParam();
    EXPECT_EQ(macKeyCodeFromXkbKeycode(quint32(key.evdevCode) + kXkbOffset), key.macCode);
    EXPECT_EQ(macKeyCodeFromWindowsScanCode(quint32(key.evdevCode)), key.macCode);
    EXPECT_EQ(macKeyCodeFromQtKey(key.qtKey), key.macCode);
    if (key.shiftedQtKey != 0) {
        EXPECT_EQ(macKeyCodeFromQtKey(key.shiftedQtKey), key.macCode);
    }
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Keys, UsKeys, ::testing::Values(
    Key{"A", KEY_A, Qt::Key_A, 0, 0},        Key{"D", KEY_D, Qt::Key_D, 0, 2},
    Key{"Z", KEY_Z, Qt::Key_Z, 0, 6},        Key{"S", KEY_S, Qt::Key_S, 0, 1},
    Key{"Q", KEY_Q, Qt::Key_Q, 0, 12},       Key{"W", KEY_W, Qt::Key_W, 0, 13},
    Key{"Y", KEY_Y, Qt::Key_Y, 0, 16},       Key{"O", KEY_O, Qt::Key_O, 0, 31},
    Key{"I", KEY_I, Qt::Key_I, 0, 34},       Key{"L", KEY_L, Qt::Key_L, 0, 37},
    Key{"Digit5", KEY_5, Qt::Key_5, Qt::Key_Percent, 23},
    Key{"Digit6", KEY_6, Qt::Key_6, Qt::Key_AsciiCircum, 22},
    Key{"Digit0", KEY_0, Qt::Key_0, Qt::Key_ParenRight, 29},
    Key{"Equal", KEY_EQUAL, Qt::Key_Equal, Qt::Key_Plus, 24},
    Key{"Minus", KEY_MINUS, Qt::Key_Minus, Qt::Key_Underscore, 27},
    Key{"RightBracket", KEY_RIGHTBRACE, Qt::Key_BracketRight, Qt::Key_BraceRight, 30},
    Key{"LeftBracket", KEY_LEFTBRACE, Qt::Key_BracketLeft, Qt::Key_BraceLeft, 33},
    Key{"Comma", KEY_COMMA, Qt::Key_Comma, Qt::Key_Less, 43},
    Key{"Period", KEY_DOT, Qt::Key_Period, Qt::Key_Greater, 47},
    Key{"Slash", KEY_SLASH, Qt::Key_Slash, Qt::Key_Question, 44},
    Key{"Grave", KEY_GRAVE, Qt::Key_QuoteLeft, Qt::Key_AsciiTilde, 50},
    Key{"Return", KEY_ENTER, Qt::Key_Return, 0, 36},
    Key{"Tab", KEY_TAB, Qt::Key_Tab, Qt::Key_Backtab, 48},
    Key{"Space", KEY_SPACE, Qt::Key_Space, 0, 49},
    Key{"Backspace", KEY_BACKSPACE, Qt::Key_Backspace, 0, 51},
    Key{"Escape", KEY_ESC, Qt::Key_Escape, 0, 53}),
    [](const auto& info) { return std::string(info.param.label); });
// clang-format on

// Native codes with no single Qt key: arrows and keypad, which Windows tells apart only by
// its extended flag, and keys outside the table.
struct Native {
    const char* label;
    int (*lookUp)(quint32);
    quint32 code;
    int macCode;
};
void PrintTo(const Native& native, std::ostream* out) {
    *out << native.label;
}

class NativeCodes : public ::testing::TestWithParam<Native> {};

TEST_P(NativeCodes, MapByPositionOrNotAtAll) {
    EXPECT_EQ(GetParam().lookUp(GetParam().code), GetParam().macCode);
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Codes, NativeCodes, ::testing::Values(
    Native{"XkbLeft", macKeyCodeFromXkbKeycode, KEY_LEFT + kXkbOffset, 123},
    Native{"XkbUp", macKeyCodeFromXkbKeycode, KEY_UP + kXkbOffset, 126},
    Native{"XkbForwardDelete", macKeyCodeFromXkbKeycode, KEY_DELETE + kXkbOffset, 117},
    Native{"XkbKeypad4", macKeyCodeFromXkbKeycode, KEY_KP4 + kXkbOffset, 86},
    Native{"XkbKeypadEnter", macKeyCodeFromXkbKeycode, KEY_KPENTER + kXkbOffset, 76},
    Native{"XkbIsoKeyBesideShift", macKeyCodeFromXkbKeycode, KEY_102ND + kXkbOffset, 10},
    Native{"XkbLeftShift", macKeyCodeFromXkbKeycode, KEY_LEFTSHIFT + kXkbOffset, -1},
    Native{"XkbMute", macKeyCodeFromXkbKeycode, KEY_MUTE + kXkbOffset, -1},
    Native{"XkbHuge", macKeyCodeFromXkbKeycode, 0xffffffffu, -1},
    Native{"WindowsLeft", macKeyCodeFromWindowsScanCode, 0x14B, 123},
    Native{"WindowsKeypad4", macKeyCodeFromWindowsScanCode, 0x4B, 86},
    Native{"WindowsForwardDelete", macKeyCodeFromWindowsScanCode, 0x153, 117},
    Native{"WindowsRightControl", macKeyCodeFromWindowsScanCode, 0x11D, -1},
    Native{"QtShift", [](quint32 key) { return macKeyCodeFromQtKey(int(key)); }, Qt::Key_Shift, -1}),
    [](const auto& info) { return std::string(info.param.label); });
// clang-format on

// Key events as a platform delivers them: the Qt key is what the layout types, the native
// scan code which key it was (0 in events made by programs, such as Qt Test's).
struct Event {
    const char* label;
    int qtKey;
    Qt::KeyboardModifiers modifiers;
    quint32 nativeScanCode;
    int macCode;
};
void PrintTo(const Event& event, std::ostream* out) {
    *out << event.label;
}

class KeyEvents : public ::testing::TestWithParam<Event> {};

TEST_P(KeyEvents, GiveThePhysicalKey) {
    const Event& e = GetParam();
    const QKeyEvent event(QEvent::KeyPress, e.qtKey, e.modifiers, e.nativeScanCode, 0, 0);
    EXPECT_EQ(macVirtualKeyCode(event), e.macCode);
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(Synthetic, KeyEvents, ::testing::Values(
    Event{"Plus", Qt::Key_Plus, Qt::ShiftModifier, 0, 24},
    Event{"Greater", Qt::Key_Greater, Qt::ShiftModifier, 0, 47},
    Event{"ControlW", Qt::Key_W, Qt::ControlModifier, 0, 13},
    Event{"Shift", Qt::Key_Shift, Qt::ShiftModifier, 0, -1}),
    [](const auto& info) { return std::string(info.param.label); });

#if !defined(Q_OS_MACOS) && !defined(Q_OS_WIN)
// A German keyboard types "´" right of "ß", "ß" where US has "-", "+" where US has "]", and
// swaps Z and Y; each key still gives the code of its place. A native code the table does
// not know leaves the Qt key to decide.
INSTANTIATE_TEST_SUITE_P(GermanLayout, KeyEvents, ::testing::Values(
    Event{"AcuteOnEqualKey", Qt::Key_Dead_Acute, Qt::NoModifier, KEY_EQUAL + kXkbOffset, 24},
    Event{"SharpSOnMinusKey", Qt::Key_ssharp, Qt::NoModifier, KEY_MINUS + kXkbOffset, 27},
    Event{"PlusOnRightBracketKey", Qt::Key_Plus, Qt::NoModifier, KEY_RIGHTBRACE + kXkbOffset, 30},
    Event{"ZOnYKey", Qt::Key_Z, Qt::NoModifier, KEY_Y + kXkbOffset, 16},
    Event{"UnknownCodeKnownKey", Qt::Key_A, Qt::NoModifier, 250, 0},
    Event{"UnknownCodeMediaKey", Qt::Key_VolumeMute, Qt::NoModifier, KEY_MUTE + kXkbOffset, -1}),
    [](const auto& info) { return std::string(info.param.label); });
#endif
// clang-format on

} // namespace
