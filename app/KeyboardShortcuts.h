#pragma once

// The Keyboard Shortcuts window: every key of the player window, its menu items' keys and
// the controller's keyboard table.
//
// Thread contract: main thread only.

#include <QWidget>

// Shows (or brings to the front) the list of keys; the window owns it.
void showKeyboardShortcutsDialog(QWidget* window);
