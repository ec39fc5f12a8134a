#include "app/LoopsMenu.h"

#include "app/RecordingMemory.h"

#include <QAction>
#include <QDialog>
#include <QDialogButtonBox>
#include <QHBoxLayout>
#include <QInputDialog>
#include <QKeySequence>
#include <QListWidget>
#include <QMenu>
#include <QPushButton>
#include <QVBoxLayout>

using session::SavedLoop;

namespace {

constexpr int kLoopsOnKeys = 9;

QString clockTime(double seconds) {
    const int minutes = int(seconds / 60);
    return QStringLiteral("%1:%2").arg(minutes).arg(seconds - 60 * minutes, 5, 'f', 2,
                                                    QLatin1Char('0'));
}

} // namespace

LoopsMenu::LoopsMenu(QMenu* menu_, QWidget* window_, session::Session& session_,
                     RecordingMemory& memory, std::function<void(LoopRange)> chooseLoop_,
                     QObject* parent)
    : QObject(parent), menu(menu_), window(window_), session(session_),
      choose(std::move(chooseLoop_)) {
    saveAction = menu->addAction(QStringLiteral("Save Loop..."));
    saveAction->setShortcut(QKeySequence(QStringLiteral("Ctrl+S")));
    manageAction = menu->addAction(QStringLiteral("Manage Loops..."));
    menu->addSeparator();
    listEnd = menu->addSeparator();
    restoreAction = menu->addAction(QStringLiteral("Restore Speed and Pitch"));
    restoreAction->setCheckable(true);
    restoreAction->setChecked(memory.restoresSpeedAndPitch());
    connect(saveAction, &QAction::triggered, this, &LoopsMenu::showSaveDialog);
    connect(manageAction, &QAction::triggered, this, &LoopsMenu::showManageDialog);
    connect(restoreAction, &QAction::toggled, this,
            [&memory](bool on) { memory.setRestoresSpeedAndPitch(on); });
    setEnabled(false);
    session.addObserver(this);
}

LoopsMenu::~LoopsMenu() {
    session.removeObserver(this);
}

void LoopsMenu::setEnabled(bool enabled) {
    saveAction->setEnabled(enabled);
    manageAction->setEnabled(enabled && !session.savedLoops().isEmpty());
    for (QAction* action : loopActions)
        action->setEnabled(enabled);
}

QString LoopsMenu::defaultName(LoopRange range) const {
    const double rate = std::max(1, session.recording() ? session.recording()->sampleRate() : 0);
    return clockTime(range.start / rate) + QStringLiteral(" – ") + clockTime(range.end / rate);
}

void LoopsMenu::saveLoop(const QString& name) {
    const LoopRange range = session.loop();
    QList<SavedLoop> loops = session.savedLoops();
    loops.push_back({name.trimmed().isEmpty() ? defaultName(range) : name.trimmed(), range});
    session.setSavedLoops(std::move(loops));
}

void LoopsMenu::renameLoop(int index, const QString& name) {
    QList<SavedLoop> loops = session.savedLoops();
    if (index < 0 || index >= loops.size() || name.trimmed().isEmpty())
        return;
    loops[index].name = name.trimmed();
    session.setSavedLoops(std::move(loops));
}

void LoopsMenu::deleteLoop(int index) {
    QList<SavedLoop> loops = session.savedLoops();
    if (index < 0 || index >= loops.size())
        return;
    loops.removeAt(index);
    session.setSavedLoops(std::move(loops));
}

void LoopsMenu::chooseLoop(int index) {
    if (index >= 0 && index < session.savedLoops().size())
        choose(session.savedLoops()[index].range);
}

void LoopsMenu::savedLoopsChanged(const session::Session& /*session*/) {
    rebuild();
}

void LoopsMenu::recordingChanged(const session::Session& /*session*/) {
    rebuild();
}

// The list between the two separators: one item a saved loop, in the order saved.
void LoopsMenu::rebuild() {
    for (QAction* action : loopActions)
        delete action;
    loopActions.clear();
    const QList<SavedLoop>& loops = session.savedLoops();
    for (int i = 0; i < loops.size(); ++i) {
        auto* action = new QAction(loops[i].name, menu);
        if (i < kLoopsOnKeys)
            action->setShortcut(QKeySequence(QStringLiteral("Alt+%1").arg(i + 1)));
        connect(action, &QAction::triggered, this, [this, i] { chooseLoop(i); });
        menu->insertAction(listEnd, action);
        loopActions.push_back(action);
    }
    setEnabled(saveAction->isEnabled());
}

void LoopsMenu::showSaveDialog() {
    auto* dialog = new QInputDialog(window);
    dialog->setObjectName(QStringLiteral("saveLoopDialog"));
    dialog->setWindowTitle(QStringLiteral("Save Loop"));
    dialog->setLabelText(QStringLiteral("Name of the loop:"));
    dialog->setTextValue(defaultName(session.loop()));
    dialog->setWindowModality(Qt::WindowModal);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    connect(dialog, &QInputDialog::textValueSelected, this, &LoopsMenu::saveLoop);
    dialog->open();
}

void LoopsMenu::showManageDialog() {
    auto* dialog = new QDialog(window);
    dialog->setObjectName(QStringLiteral("manageLoopsDialog"));
    dialog->setWindowTitle(QStringLiteral("Manage Loops"));
    dialog->setWindowModality(Qt::WindowModal);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    auto* list = new QListWidget(dialog);
    const auto fill = [this, list] {
        list->clear();
        for (const SavedLoop& loop : session.savedLoops()) {
            auto* item = new QListWidgetItem(loop.name, list);
            item->setFlags(item->flags() | Qt::ItemIsEditable);
        }
    };
    fill();
    // A name edited in place is the loop's new name.
    connect(list, &QListWidget::itemChanged, this,
            [this, list](QListWidgetItem* item) { renameLoop(list->row(item), item->text()); });
    auto* rename = new QPushButton(QStringLiteral("Rename"), dialog);
    auto* remove = new QPushButton(QStringLiteral("Delete"), dialog);
    remove->setObjectName(QStringLiteral("deleteButton"));
    connect(rename, &QPushButton::clicked, list, [list] {
        if (QListWidgetItem* item = list->currentItem())
            list->editItem(item);
    });
    connect(remove, &QPushButton::clicked, this, [this, list, fill] {
        const int row = list->currentRow();
        const QSignalBlocker quiet(list);
        deleteLoop(row);
        fill();
        list->setCurrentRow(std::min(row, int(list->count()) - 1));
    });
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Close, dialog);
    connect(buttons, &QDialogButtonBox::rejected, dialog, &QDialog::reject);
    auto* side = new QVBoxLayout;
    side->addWidget(rename);
    side->addWidget(remove);
    side->addStretch();
    auto* row = new QHBoxLayout;
    row->addWidget(list);
    row->addLayout(side);
    auto* layout = new QVBoxLayout(dialog);
    layout->addLayout(row);
    layout->addWidget(buttons);
    dialog->resize(420, 300);
    dialog->open();
}
