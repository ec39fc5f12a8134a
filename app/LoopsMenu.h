#pragma once

// The Loops menu: Save Loop..., the loops saved on the open recording (the first nine on
// Alt+1 ... Alt+9; choosing one makes it the loop the way a mouse edit does), Manage
// Loops... (rename, delete), and whether a recording opened again gets back the speed and
// pitch it was last played at. The loops are the session's; the menu shows them and edits
// them through it (RecordingMemory keeps them across runs).
//
// Thread contract: main thread only. It adds itself to the session when made and removes
// itself when destroyed.

#include "session/Session.h"

#include <QObject>
#include <functional>

class QAction;
class QMenu;
class QWidget;
class RecordingMemory;

class LoopsMenu : public QObject, public session::SessionObserver {
    Q_OBJECT

public:
    // `chooseLoop` makes a saved loop the loop.
    LoopsMenu(QMenu* menu, QWidget* window, session::Session& session, RecordingMemory& memory,
              std::function<void(LoopRange)> chooseLoop, QObject* parent = nullptr);
    ~LoopsMenu() override;

    void setEnabled(bool enabled);

    // Saves the current loop under `name` (its times when empty).
    void saveLoop(const QString& name);
    void renameLoop(int index, const QString& name);
    void deleteLoop(int index);
    void chooseLoop(int index);
    // The name a new loop is offered: its times, "0:12.40 – 0:16.80".
    QString defaultName(LoopRange range) const;

    void savedLoopsChanged(const session::Session& session) override;
    void recordingChanged(const session::Session& session) override;

    QAction* saveAction;
    QAction* manageAction;
    QAction* restoreAction;

private:
    void showSaveDialog();
    void showManageDialog();
    void rebuild();

    QMenu* menu;
    QWidget* window;
    session::Session& session;
    std::function<void(LoopRange)> choose;
    QList<QAction*> loopActions;
    QAction* listEnd; // the separator after the list
};
