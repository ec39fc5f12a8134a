#pragma once

// A disabled menu still lets its items' shortcuts through: to switch a menu's commands off,
// its items are switched, and those of its submenus.

#include <QAction>
#include <QMenu>

inline void setMenuItemsEnabled(const QMenu* menu, bool enabled) {
    for (QAction* item : menu->actions()) {
        item->setEnabled(enabled);
        if (item->menu())
            setMenuItemsEnabled(item->menu(), enabled);
    }
}
