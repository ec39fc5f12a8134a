#include "app/KeyboardShortcuts.h"

#include <QAction>
#include <QDialog>
#include <QHeaderView>
#include <QKeySequence>
#include <QMenu>
#include <QMenuBar>
#include <QTableWidget>
#include <QVBoxLayout>

namespace {

struct KeyRow {
    QString keys;
    QString command;
};

void addMenuKeys(const QMenu* menu, QList<KeyRow>& rows) {
    for (QAction* item : menu->actions()) {
        if (item->menu())
            addMenuKeys(item->menu(), rows);
        else if (!item->shortcut().isEmpty())
            rows.push_back({item->shortcut().toString(QKeySequence::NativeText),
                            QString(item->text()).remove(QLatin1Char('&'))});
    }
}

// Every menu item of the window that has a key (submenus' too), in menu order.
QList<KeyRow> menuKeys(QWidget* window) {
    QList<KeyRow> rows;
    const auto* bar = window->findChild<QMenuBar*>();
    if (!bar)
        return rows;
    for (QAction* top : bar->actions())
        if (top->menu())
            addMenuKeys(top->menu(), rows);
    return rows;
}

} // namespace

void showKeyboardShortcutsDialog(QWidget* window) {
    if (auto* open = window->findChild<QDialog*>(QStringLiteral("keyboardShortcuts"))) {
        open->raise();
        open->activateWindow();
        return;
    }
    auto* dialog = new QDialog(window);
    dialog->setObjectName(QStringLiteral("keyboardShortcuts"));
    dialog->setWindowTitle(QStringLiteral("Keyboard Shortcuts"));
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    const QList<KeyRow> rows = menuKeys(window);
    auto* table = new QTableWidget(int(rows.size()), 2, dialog);
    table->setHorizontalHeaderLabels({QStringLiteral("Key"), QStringLiteral("Command")});
    table->verticalHeader()->hide();
    table->setEditTriggers(QAbstractItemView::NoEditTriggers);
    table->setSelectionMode(QAbstractItemView::NoSelection);
    for (int row = 0; row < rows.size(); ++row) {
        table->setItem(row, 0, new QTableWidgetItem(rows[row].keys));
        table->setItem(row, 1, new QTableWidgetItem(rows[row].command));
    }
    table->resizeColumnsToContents();
    table->horizontalHeader()->setStretchLastSection(true);
    auto* layout = new QVBoxLayout(dialog);
    layout->addWidget(table);
    dialog->resize(420, 520);
    dialog->show();
}
