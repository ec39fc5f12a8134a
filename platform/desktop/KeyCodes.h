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

// Carbon's virtual key codes (Events.h), named without their kVK_ / kVK_ANSI_ prefix.
namespace mac {
enum MacKeyCode : int {
    A = 0x00,
    S = 0x01,
    D = 0x02,
    F = 0x03,
    H = 0x04,
    G = 0x05,
    Z = 0x06,
    X = 0x07,
    C = 0x08,
    V = 0x09,
    IsoSection = 0x0A,
    B = 0x0B,
    Q = 0x0C,
    W = 0x0D,
    E = 0x0E,
    R = 0x0F,
    Y = 0x10,
    T = 0x11,
    Digit1 = 0x12,
    Digit2 = 0x13,
    Digit3 = 0x14,
    Digit4 = 0x15,
    Digit6 = 0x16,
    Digit5 = 0x17,
    Equal = 0x18,
    Digit9 = 0x19,
    Digit7 = 0x1A,
    Minus = 0x1B,
    Digit8 = 0x1C,
    Digit0 = 0x1D,
    RightBracket = 0x1E,
    O = 0x1F,
    U = 0x20,
    LeftBracket = 0x21,
    I = 0x22,
    P = 0x23,
    Return = 0x24,
    L = 0x25,
    J = 0x26,
    Quote = 0x27,
    K = 0x28,
    Semicolon = 0x29,
    Backslash = 0x2A,
    Comma = 0x2B,
    Slash = 0x2C,
    N = 0x2D,
    M = 0x2E,
    Period = 0x2F,
    Tab = 0x30,
    Space = 0x31,
    Grave = 0x32,
    Delete = 0x33, // the backspace key
    Escape = 0x35,
    KeypadDecimal = 0x41,
    KeypadMultiply = 0x43,
    KeypadPlus = 0x45,
    KeypadDivide = 0x4B,
    KeypadEnter = 0x4C,
    KeypadMinus = 0x4E,
    KeypadEquals = 0x51,
    Keypad0 = 0x52,
    Keypad1 = 0x53,
    Keypad2 = 0x54,
    Keypad3 = 0x55,
    Keypad4 = 0x56,
    Keypad5 = 0x57,
    Keypad6 = 0x58,
    Keypad7 = 0x59,
    Keypad8 = 0x5B,
    Keypad9 = 0x5C,
    F5 = 0x60,
    F6 = 0x61,
    F7 = 0x62,
    F3 = 0x63,
    F8 = 0x64,
    F9 = 0x65,
    F11 = 0x67,
    F10 = 0x6D,
    F12 = 0x6F,
    Help = 0x72, // where a PC keyboard has Insert
    Home = 0x73,
    PageUp = 0x74,
    ForwardDelete = 0x75,
    F4 = 0x76,
    End = 0x77,
    F2 = 0x78,
    PageDown = 0x79,
    F1 = 0x7A,
    LeftArrow = 0x7B,
    RightArrow = 0x7C,
    DownArrow = 0x7D,
    UpArrow = 0x7E,
};
} // namespace mac

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
