#pragma once

// The two small dialogs of the practice tools: the speed trainer's schedule, and the pause
// between loop passes with its count-in. Each is window-modal on the player window (a sheet
// on macOS), deletes itself when closed and reports its answer through a signal.
//
// Thread contract: main thread only.

#include "session/SpeedTrainer.h"
#include "session/TapTempo.h"

#include <QDialog>

class QCheckBox;
class QDoubleSpinBox;
class QLabel;
class QSpinBox;

class SpeedTrainerDialog : public QDialog {
    Q_OBJECT

public:
    // `plan` fills the fields; `running` offers Turn Off besides Start.
    SpeedTrainerDialog(QWidget* parent, const SpeedTrainerPlan& plan, bool running);
    SpeedTrainerPlan plan() const;

    QSpinBox* startField;
    QSpinBox* stepField;
    QSpinBox* passesField;
    QSpinBox* targetField;

signals:
    void startRequested(const SpeedTrainerPlan& plan);
    void turnOffRequested();
};

class PassPauseDialog : public QDialog {
    Q_OBJECT

public:
    PassPauseDialog(QWidget* parent, double pauseSeconds, bool countIn, double beatsPerMinute);

    QDoubleSpinBox* pauseField;
    QCheckBox* countInBox;
    QSpinBox* tempoField;

    // One tap of the Tap button (also what the button does); the tempo field follows after
    // the fourth tap in a row.
    void tap(TapTempo::Clock::time_point when);

signals:
    void settingsChosen(double pauseSeconds, bool countIn, double beatsPerMinute);

private:
    TapTempo taps_;
    QLabel* tapStatus_;
};
