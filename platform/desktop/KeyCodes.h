#pragma once

// Which physical key was pressed, for the keys the window binds, as a macOS virtual key
// code of the ANSI layout (the numbers of Carbon's kVK_ANSI_* constants). The window's key
// commands are written in these codes, so a command stays on the same key whatever the
// keyboard layout prints on it: on a German layout the key left of Backspace types "´",
// and it still gives Equal, like "=" on a US keyboard.
//
// Thread contract: pure functions over constant tables; any thread.

class QKeyEvent;

namespace platform::desktop {

// Carbon's virtual key codes (Events.h) of the bound keys, named without their kVK_ANSI_
// prefix.
namespace mac {
enum MacKeyCode : int {
    W = 0x0D,
    Equal = 0x18,
    Minus = 0x1B,
    Digit0 = 0x1D,
    RightBracket = 0x1E,
    LeftBracket = 0x21,
    Comma = 0x2B,
    Period = 0x2F,
};
} // namespace mac

// The key of `event`, or -1 for a key not bound. The event's native scan code is an XKB
// keycode (X11 and Wayland) and says which key it was. When the event has none, or one of
// another key (an event made by a program, such as Qt Test's key clicks), the key is taken
// from the event's Qt::Key as a US layout types it, shifted or not: '+' and '=' both give
// Equal.
int macVirtualKeyCode(const QKeyEvent& event);

} // namespace platform::desktop
