#pragma once

// The keys of the player window: the keyboard table of the controller, by macOS virtual
// key code of the ANSI layout (the physical key, whatever the layout prints on it), and the
// Keyboard Shortcuts window that lists every key of the window, menu items included.
//
// Thread contract: main thread only.

#include <QWidget>

namespace keys {

enum MacKeyCode : int {
    kW = 13,
    kEqual = 24, // the "+" key
    kMinus = 27,
    kZero = 29,
    kRightBracket = 30,
    kLeftBracket = 33,
    kComma = 43,
    kPeriod = 47,
};

} // namespace keys

// Shows (or brings to the front) the list of keys; the window owns it.
void showKeyboardShortcutsDialog(QWidget* window);
