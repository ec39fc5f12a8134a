#include "platform/desktop/KeyCodes.h"

#include <QKeyEvent>
#include <array>
#include <cstdint>

namespace platform::desktop {

namespace {

// Linux input event codes (linux/input-event-codes.h); the first 88 are also the PC's
// set-1 scan codes.
namespace evdev {
enum : std::uint16_t {
    Esc = 1,
    Digit1 = 2,
    Digit2 = 3,
    Digit3 = 4,
    Digit4 = 5,
    Digit5 = 6,
    Digit6 = 7,
    Digit7 = 8,
    Digit8 = 9,
    Digit9 = 10,
    Digit0 = 11,
    Minus = 12,
    Equal = 13,
    Backspace = 14,
    Tab = 15,
    Q = 16,
    W = 17,
    E = 18,
    R = 19,
    T = 20,
    Y = 21,
    U = 22,
    I = 23,
    O = 24,
    P = 25,
    LeftBrace = 26,
    RightBrace = 27,
    Enter = 28,
    A = 30,
    S = 31,
    D = 32,
    F = 33,
    G = 34,
    H = 35,
    J = 36,
    K = 37,
    L = 38,
    Semicolon = 39,
    Apostrophe = 40,
    Grave = 41,
    Backslash = 43,
    Z = 44,
    X = 45,
    C = 46,
    V = 47,
    B = 48,
    N = 49,
    M = 50,
    Comma = 51,
    Dot = 52,
    Slash = 53,
    KeypadAsterisk = 55,
    Space = 57,
    F1 = 59,
    F2 = 60,
    F3 = 61,
    F4 = 62,
    F5 = 63,
    F6 = 64,
    F7 = 65,
    F8 = 66,
    F9 = 67,
    F10 = 68,
    Keypad7 = 71,
    Keypad8 = 72,
    Keypad9 = 73,
    KeypadMinus = 74,
    Keypad4 = 75,
    Keypad5 = 76,
    Keypad6 = 77,
    KeypadPlus = 78,
    Keypad1 = 79,
    Keypad2 = 80,
    Keypad3 = 81,
    Keypad0 = 82,
    KeypadDot = 83,
    Key102nd = 86, // the ISO key between left Shift and Z
    F11 = 87,
    F12 = 88,
    KeypadEnter = 96,
    KeypadSlash = 98,
    Home = 102,
    Up = 103,
    PageUp = 104,
    Left = 105,
    Right = 106,
    End = 107,
    Down = 108,
    PageDown = 109,
    Insert = 110,
    Delete = 111,
    KeypadEqual = 117,
};
} // namespace evdev

struct Mapping {
    int from;
    std::int16_t to;
};

constexpr Mapping kEvdevToMac[] = {
    {evdev::Esc, mac::Escape},
    {evdev::Digit1, mac::Digit1},
    {evdev::Digit2, mac::Digit2},
    {evdev::Digit3, mac::Digit3},
    {evdev::Digit4, mac::Digit4},
    {evdev::Digit5, mac::Digit5},
    {evdev::Digit6, mac::Digit6},
    {evdev::Digit7, mac::Digit7},
    {evdev::Digit8, mac::Digit8},
    {evdev::Digit9, mac::Digit9},
    {evdev::Digit0, mac::Digit0},
    {evdev::Minus, mac::Minus},
    {evdev::Equal, mac::Equal},
    {evdev::Backspace, mac::Delete},
    {evdev::Tab, mac::Tab},
    {evdev::Q, mac::Q},
    {evdev::W, mac::W},
    {evdev::E, mac::E},
    {evdev::R, mac::R},
    {evdev::T, mac::T},
    {evdev::Y, mac::Y},
    {evdev::U, mac::U},
    {evdev::I, mac::I},
    {evdev::O, mac::O},
    {evdev::P, mac::P},
    {evdev::LeftBrace, mac::LeftBracket},
    {evdev::RightBrace, mac::RightBracket},
    {evdev::Enter, mac::Return},
    {evdev::A, mac::A},
    {evdev::S, mac::S},
    {evdev::D, mac::D},
    {evdev::F, mac::F},
    {evdev::G, mac::G},
    {evdev::H, mac::H},
    {evdev::J, mac::J},
    {evdev::K, mac::K},
    {evdev::L, mac::L},
    {evdev::Semicolon, mac::Semicolon},
    {evdev::Apostrophe, mac::Quote},
    {evdev::Grave, mac::Grave},
    {evdev::Backslash, mac::Backslash},
    {evdev::Z, mac::Z},
    {evdev::X, mac::X},
    {evdev::C, mac::C},
    {evdev::V, mac::V},
    {evdev::B, mac::B},
    {evdev::N, mac::N},
    {evdev::M, mac::M},
    {evdev::Comma, mac::Comma},
    {evdev::Dot, mac::Period},
    {evdev::Slash, mac::Slash},
    {evdev::KeypadAsterisk, mac::KeypadMultiply},
    {evdev::Space, mac::Space},
    {evdev::F1, mac::F1},
    {evdev::F2, mac::F2},
    {evdev::F3, mac::F3},
    {evdev::F4, mac::F4},
    {evdev::F5, mac::F5},
    {evdev::F6, mac::F6},
    {evdev::F7, mac::F7},
    {evdev::F8, mac::F8},
    {evdev::F9, mac::F9},
    {evdev::F10, mac::F10},
    {evdev::Keypad7, mac::Keypad7},
    {evdev::Keypad8, mac::Keypad8},
    {evdev::Keypad9, mac::Keypad9},
    {evdev::KeypadMinus, mac::KeypadMinus},
    {evdev::Keypad4, mac::Keypad4},
    {evdev::Keypad5, mac::Keypad5},
    {evdev::Keypad6, mac::Keypad6},
    {evdev::KeypadPlus, mac::KeypadPlus},
    {evdev::Keypad1, mac::Keypad1},
    {evdev::Keypad2, mac::Keypad2},
    {evdev::Keypad3, mac::Keypad3},
    {evdev::Keypad0, mac::Keypad0},
    {evdev::KeypadDot, mac::KeypadDecimal},
    {evdev::Key102nd, mac::IsoSection},
    {evdev::F11, mac::F11},
    {evdev::F12, mac::F12},
    {evdev::KeypadEnter, mac::KeypadEnter},
    {evdev::KeypadSlash, mac::KeypadDivide},
    {evdev::Home, mac::Home},
    {evdev::Up, mac::UpArrow},
    {evdev::PageUp, mac::PageUp},
    {evdev::Left, mac::LeftArrow},
    {evdev::Right, mac::RightArrow},
    {evdev::End, mac::End},
    {evdev::Down, mac::DownArrow},
    {evdev::PageDown, mac::PageDown},
    {evdev::Insert, mac::Help},
    {evdev::Delete, mac::ForwardDelete},
    {evdev::KeypadEqual, mac::KeypadEquals},
};

// The keys Windows reports with the extended flag (0x100), by the evdev code of the same
// key; below 0x100 a scan code is the evdev code.
constexpr Mapping kWindowsExtendedToEvdev[] = {
    {0x11C, evdev::KeypadEnter}, {0x135, evdev::KeypadSlash}, {0x147, evdev::Home},
    {0x148, evdev::Up},          {0x149, evdev::PageUp},      {0x14B, evdev::Left},
    {0x14D, evdev::Right},       {0x14F, evdev::End},         {0x150, evdev::Down},
    {0x151, evdev::PageDown},    {0x152, evdev::Insert},      {0x153, evdev::Delete},
};
constexpr int kLastWindowsPlainScanCode = evdev::F12;

// What a US layout types on each key, unshifted and shifted.
constexpr Mapping kQtKeyToMac[] = {
    {Qt::Key_A, mac::A},
    {Qt::Key_B, mac::B},
    {Qt::Key_C, mac::C},
    {Qt::Key_D, mac::D},
    {Qt::Key_E, mac::E},
    {Qt::Key_F, mac::F},
    {Qt::Key_G, mac::G},
    {Qt::Key_H, mac::H},
    {Qt::Key_I, mac::I},
    {Qt::Key_J, mac::J},
    {Qt::Key_K, mac::K},
    {Qt::Key_L, mac::L},
    {Qt::Key_M, mac::M},
    {Qt::Key_N, mac::N},
    {Qt::Key_O, mac::O},
    {Qt::Key_P, mac::P},
    {Qt::Key_Q, mac::Q},
    {Qt::Key_R, mac::R},
    {Qt::Key_S, mac::S},
    {Qt::Key_T, mac::T},
    {Qt::Key_U, mac::U},
    {Qt::Key_V, mac::V},
    {Qt::Key_W, mac::W},
    {Qt::Key_X, mac::X},
    {Qt::Key_Y, mac::Y},
    {Qt::Key_Z, mac::Z},
    {Qt::Key_1, mac::Digit1},
    {Qt::Key_Exclam, mac::Digit1},
    {Qt::Key_2, mac::Digit2},
    {Qt::Key_At, mac::Digit2},
    {Qt::Key_3, mac::Digit3},
    {Qt::Key_NumberSign, mac::Digit3},
    {Qt::Key_4, mac::Digit4},
    {Qt::Key_Dollar, mac::Digit4},
    {Qt::Key_5, mac::Digit5},
    {Qt::Key_Percent, mac::Digit5},
    {Qt::Key_6, mac::Digit6},
    {Qt::Key_AsciiCircum, mac::Digit6},
    {Qt::Key_7, mac::Digit7},
    {Qt::Key_Ampersand, mac::Digit7},
    {Qt::Key_8, mac::Digit8},
    {Qt::Key_Asterisk, mac::Digit8},
    {Qt::Key_9, mac::Digit9},
    {Qt::Key_ParenLeft, mac::Digit9},
    {Qt::Key_0, mac::Digit0},
    {Qt::Key_ParenRight, mac::Digit0},
    {Qt::Key_Minus, mac::Minus},
    {Qt::Key_Underscore, mac::Minus},
    {Qt::Key_Equal, mac::Equal},
    {Qt::Key_Plus, mac::Equal},
    {Qt::Key_BracketLeft, mac::LeftBracket},
    {Qt::Key_BraceLeft, mac::LeftBracket},
    {Qt::Key_BracketRight, mac::RightBracket},
    {Qt::Key_BraceRight, mac::RightBracket},
    {Qt::Key_Backslash, mac::Backslash},
    {Qt::Key_Bar, mac::Backslash},
    {Qt::Key_Semicolon, mac::Semicolon},
    {Qt::Key_Colon, mac::Semicolon},
    {Qt::Key_Apostrophe, mac::Quote},
    {Qt::Key_QuoteDbl, mac::Quote},
    {Qt::Key_QuoteLeft, mac::Grave},
    {Qt::Key_AsciiTilde, mac::Grave},
    {Qt::Key_Comma, mac::Comma},
    {Qt::Key_Less, mac::Comma},
    {Qt::Key_Period, mac::Period},
    {Qt::Key_Greater, mac::Period},
    {Qt::Key_Slash, mac::Slash},
    {Qt::Key_Question, mac::Slash},
    {Qt::Key_Return, mac::Return},
    {Qt::Key_Enter, mac::KeypadEnter}, // Qt's name for the keypad's Enter
    {Qt::Key_Tab, mac::Tab},
    {Qt::Key_Backtab, mac::Tab}, // Shift+Tab
    {Qt::Key_Space, mac::Space},
    {Qt::Key_Backspace, mac::Delete},
    {Qt::Key_Delete, mac::ForwardDelete},
    {Qt::Key_Escape, mac::Escape},
    {Qt::Key_Left, mac::LeftArrow},
    {Qt::Key_Right, mac::RightArrow},
    {Qt::Key_Down, mac::DownArrow},
    {Qt::Key_Up, mac::UpArrow},
    {Qt::Key_Home, mac::Home},
    {Qt::Key_End, mac::End},
    {Qt::Key_PageUp, mac::PageUp},
    {Qt::Key_PageDown, mac::PageDown},
    {Qt::Key_Insert, mac::Help},
    {Qt::Key_Help, mac::Help},
    {Qt::Key_F1, mac::F1},
    {Qt::Key_F2, mac::F2},
    {Qt::Key_F3, mac::F3},
    {Qt::Key_F4, mac::F4},
    {Qt::Key_F5, mac::F5},
    {Qt::Key_F6, mac::F6},
    {Qt::Key_F7, mac::F7},
    {Qt::Key_F8, mac::F8},
    {Qt::Key_F9, mac::F9},
    {Qt::Key_F10, mac::F10},
    {Qt::Key_F11, mac::F11},
    {Qt::Key_F12, mac::F12},
};

template <std::size_t N> constexpr int lookUp(const Mapping (&table)[N], qint64 from) {
    for (const Mapping& mapping : table)
        if (mapping.from == from)
            return mapping.to;
    return -1;
}

constexpr int kXkbKeycodeOffset = 8;

} // namespace

int macKeyCodeFromXkbKeycode(quint32 xkbKeycode) {
    if (xkbKeycode < kXkbKeycodeOffset)
        return -1;
    return lookUp(kEvdevToMac, qint64(xkbKeycode) - kXkbKeycodeOffset);
}

int macKeyCodeFromWindowsScanCode(quint32 scanCode) {
    if (scanCode <= kLastWindowsPlainScanCode)
        return lookUp(kEvdevToMac, scanCode);
    const int evdevCode = lookUp(kWindowsExtendedToEvdev, scanCode);
    return evdevCode < 0 ? -1 : lookUp(kEvdevToMac, evdevCode);
}

int macKeyCodeFromQtKey(int qtKey) {
    return lookUp(kQtKeyToMac, qtKey);
}

int macVirtualKeyCode(const QKeyEvent& event) {
    int code = -1;
#if defined(Q_OS_MACOS)
    // The code itself. A is 0, so a zero counts only in an event that came from the system:
    // Cocoa's key events carry device-dependent bits in their modifier flags even when no
    // modifier is held, while an event made by a program carries none.
    if (event.nativeVirtualKey() != 0 || event.nativeModifiers() != 0)
        code = int(event.nativeVirtualKey());
#elif defined(Q_OS_WIN)
    if (event.nativeScanCode() != 0)
        code = macKeyCodeFromWindowsScanCode(event.nativeScanCode());
#else
    if (event.nativeScanCode() != 0)
        code = macKeyCodeFromXkbKeycode(event.nativeScanCode());
#endif
    return code >= 0 ? code : macKeyCodeFromQtKey(event.key());
}

} // namespace platform::desktop
