#pragma once

// The practice tools beyond looping: keyboard edits of the loop (step it on or back by its
// length, halve or double it, nudge an end), the speed trainer, and the pause with count-in
// clicks between the passes of a looped range (its tempo typed, or tapped with T). Each acts
// on the session; with the trainer off and no pause set, nothing here changes what the
// player or the window do.
//
// Thread contract: main thread. loopPassCompleted() too: the controller moves the player's
// report here from the queue's thread.

#include "session/Session.h"
#include "session/SpeedTrainer.h"
#include "session/TapTempo.h"

#include <QObject>
#include <functional>

class PlayerWindow;

class PracticeTools : public QObject {
    Q_OBJECT

public:
    struct Commands {
        // A loop edit, which goes the way a mouse edit goes: the player pauses, the view
        // shows the new loop and the player takes it.
        std::function<void(LoopRange)> editLoop;
        // A speed change, shown on the LCD.
        std::function<void(double)> changeRate;
        // A number shown on the LCD (the tapped tempo).
        std::function<void(float)> showNumber;
    };

    PracticeTools(session::Session& session, PlayerWindow& window, Commands commands,
                  QObject* parent = nullptr);

    void stepLoop(int direction);        // back (-1) or on (+1) by the loop's own length
    void resizeLoop(double factor);      // 0.5 halves the loop, 2 doubles it
    void nudgeLoopStart(double seconds); // negative: earlier
    void nudgeLoopEnd(double seconds);

    void showSpeedTrainer();
    // Turns looping on if it is off and sets the plan's start speed.
    void startSpeedTrainer(const SpeedTrainerPlan& plan);
    void stopSpeedTrainer();
    const SpeedTrainer& speedTrainer() const { return trainer_; }
    // A pass of the looped range has ended.
    void loopPassCompleted();

    void showPassPause();
    void setPassPause(double seconds, bool countIn, double beatsPerMinute);
    // One tap of the count-in tempo; the fourth in a row sets it and the LCD shows it.
    void tapTempo();

private:
    void connectActions();
    using LoopNudge = LoopRange (*)(LoopRange, std::int32_t, std::int32_t, std::int32_t);
    void nudgeLoop(LoopNudge nudge, double seconds);

    session::Session& session_;
    PlayerWindow& window_;
    Commands commands_;
    SpeedTrainer trainer_;
    TapTempo tapTempo_;
};
