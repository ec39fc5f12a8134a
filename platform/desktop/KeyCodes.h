#pragma once

// Which physical key was pressed, as a macOS virtual key code of the ANSI layout (the
// numbers of Carbon's kVK_ANSI_* and kVK_* constants: 0 is A, 24 is "=", 123 is the left
// arrow). The app's command table is written in these codes, so a command stays on the
// same key whatever the keyboard layout prints on it: on a German layout the key left of
// Backspace types "´", and it still gives 24, like "=" on a US keyboard.
//
// Translated from Linux and Windows codes and from Qt keys: letters, digits, punctuation, Return,
// Tab, Space, Delete (backspace) and forward delete, Escape, the arrows, Home, End, Page Up and
// Down, F1 to F12, the keypad and the ISO key between left Shift and Z. Modifier keys and anything
// else give -1.
//
// Thread contract: pure functions over constant tables; any thread.

#include <QtGlobal>

class QKeyEvent;

namespace platform::desktop {

// The key of `event`, or -1. On macOS the event carries the code itself. On Linux (X11 and
// Wayland) its native scan code is an XKB keycode, and on Windows a set-1 scan code; both
// are translated. When the event has no native code, or one outside the table (an event
// made by a program, such as Qt Test's key clicks), the key is taken from the event's
// Qt::Key as a US layout would produce it.
int macVirtualKeyCode(const QKeyEvent& event);

// An XKB keycode (Linux evdev code + 8, what X11 and Wayland report) to a mac code, or -1.
int macKeyCodeFromXkbKeycode(quint32 xkbKeycode);

// A Windows set-1 scan code, with 0x100 for the extended keys (0x14B is the left arrow,
// 0x4B the keypad's 4), to a mac code, or -1.
int macKeyCodeFromWindowsScanCode(quint32 scanCode);

// A Qt::Key to the mac code of the key that types it on a US layout, shifted or not: '+'
// and '=' both give 24, '>' and '.' both 47. -1 for keys not covered.
int macKeyCodeFromQtKey(int qtKey);

} // namespace platform::desktop
