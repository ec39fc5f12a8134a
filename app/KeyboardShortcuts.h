#pragma once

// The Keyboard Shortcuts window: every key of the player window, as its menu items have
// them.
//
// Thread contract: main thread only.

#include <QWidget>

// Shows (or brings to the front) the list of keys; the window owns it.
void showKeyboardShortcutsDialog(QWidget* window);
