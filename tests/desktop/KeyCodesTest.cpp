// The bound keys by their place on the keyboard. The expected codes are Carbon's kVK_ANSI_*
// values and the Linux codes come from the kernel's own header, so neither side of a check
// comes from the table under test.

#include "platform/desktop/KeyCodes.h"

#include "tests/support/Labelled.h"

#include <QKeyEvent>
#include <gtest/gtest.h>
#include <linux/input-event-codes.h>

using platform::desktop::macVirtualKeyCode;

namespace {

constexpr quint32 kXkbOffset = 8; // XKB keycode = evdev code + 8

// A key event as the platform delivers it: the Qt key is what the layout types, the native
// code which key it was (0 in events made by programs, such as Qt Test's).
struct Press : test_support::Labelled {
    int qtKey;
    quint32 evdev; // 0: no native code
    int macCode;
};

class KeyPresses : public ::testing::TestWithParam<Press> {};

TEST_P(KeyPresses, GiveTheKeyByItsPlace) {
    const Press& p = GetParam();
    const QKeyEvent event(QEvent::KeyPress, p.qtKey, Qt::NoModifier,
                          p.evdev ? p.evdev + kXkbOffset : 0, 0, 0);
    EXPECT_EQ(macVirtualKeyCode(event), p.macCode);
}

// clang-format off
INSTANTIATE_TEST_SUITE_P(, KeyPresses, ::testing::Values(
    // A US layout, as the system delivers the keys and as a program makes them (shifted too).
    Press{"Equal", Qt::Key_Equal, KEY_EQUAL, 24},         Press{"Plus", Qt::Key_Plus, 0, 24},
    Press{"Minus", Qt::Key_Minus, KEY_MINUS, 27},         Press{"Underscore", Qt::Key_Underscore, 0, 27},
    Press{"Digit0", Qt::Key_0, KEY_0, 29},                Press{"ParenRight", Qt::Key_ParenRight, 0, 29},
    Press{"RightBracket", Qt::Key_BracketRight, KEY_RIGHTBRACE, 30},
    Press{"LeftBracket", Qt::Key_BracketLeft, KEY_LEFTBRACE, 33},
    Press{"Comma", Qt::Key_Comma, KEY_COMMA, 43},         Press{"Less", Qt::Key_Less, 0, 43},
    Press{"Period", Qt::Key_Period, KEY_DOT, 47},         Press{"Greater", Qt::Key_Greater, 0, 47},
    Press{"W", Qt::Key_W, KEY_W, 13},
    // A German layout: each key gives the code of its place, whatever it types; "-" sits
    // where US has "/", which is bound to nothing.
    Press{"AcuteOnEqualKey", Qt::Key_Dead_Acute, KEY_EQUAL, 24},
    Press{"SharpSOnMinusKey", Qt::Key_ssharp, KEY_MINUS, 27},
    Press{"PlusOnRightBracketKey", Qt::Key_Plus, KEY_RIGHTBRACE, 30},
    Press{"MinusOnSlashKey", Qt::Key_Minus, KEY_SLASH, -1},
    // Keys bound to nothing, and a code of no key of its own, where the Qt key decides.
    Press{"Space", Qt::Key_Space, KEY_SPACE, -1},          Press{"Shift", Qt::Key_Shift, 0, -1},
    Press{"UnderscoreOnJapaneseRoKey", Qt::Key_Underscore, KEY_RO, 27}),
    test_support::byLabel);
// clang-format on

} // namespace
