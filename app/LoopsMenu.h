#pragma once

// The Loops menu: Save Loop..., the loops saved on the open recording (the first nine on
// Alt+1 ... Alt+9; choosing one makes it the loop the way a mouse edit does), Manage
// Loops... (rename, delete), and whether a recording opened again gets back the speed and
// pitch it was last played at. What it keeps lives in a LoopStore, across runs.
//
// Thread contract: main thread only.

#include "app/LoopEditing.h"
#include "platform/desktop/LoopStore.h"

#include <QObject>
#include <functional>
#include <optional>

class QAction;
class QMenu;
class QWidget;

class LoopsMenu : public QObject {
    Q_OBJECT

public:
    struct Hooks {
        std::function<LoopRange()> currentLoop;
        std::function<void(LoopRange)> chooseLoop;
        std::function<int()> sampleRate; // of the open recording
    };

    LoopsMenu(QMenu* menu, QWidget* window, platform::desktop::LoopStore store, Hooks hooks,
              QObject* parent = nullptr);

    // A recording has been opened (`key` from LoopStore::fileKey; empty when it could not
    // be read, and then nothing is remembered). Returns the speed and pitch to give it back,
    // when it was played before and the musician wants them back.
    std::pair<std::optional<double>, std::optional<double>> openRecording(const QString& key,
                                                                          const QString& path);
    // The open recording is being left (another is opened, or the program ends) at this
    // speed and pitch.
    void leaveRecording(double rate, double cents);
    void setEnabled(bool enabled);

    const QList<platform::desktop::SavedLoop>& loops() const { return memory.loops; }
    // Saves the current loop under `name` (the save dialog calls it).
    void saveLoop(const QString& name);
    void renameLoop(int index, const QString& name);
    void deleteLoop(int index);
    void chooseLoop(int index);
    // The name a new loop is offered: its times, "0:12.40 – 0:16.80".
    QString defaultName(LoopRange range) const;

    QAction* saveAction;
    QAction* manageAction;
    QAction* restoreAction;

private:
    void showSaveDialog();
    void showManageDialog();
    void rebuild();
    void store();

    QMenu* menu;
    QWidget* window;
    platform::desktop::LoopStore loopStore;
    Hooks hooks;
    QString key, path;
    platform::desktop::RecordingMemory memory;
    QList<QAction*> loopActions;
    QAction* listEnd; // the separator after the list
};
