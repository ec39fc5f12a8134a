#include "app/PracticeTools.h"

#include "app/PlayerWindow.h"
#include "app/PracticeDialogs.h"

#include <algorithm>
#include <cmath>

namespace {
// The smallest nudge of a loop end, and the shortest loop an edit leaves.
constexpr double kNudgeSeconds = 0.01;
constexpr double kFarNudgeSeconds = 0.1;
} // namespace

PracticeTools::PracticeTools(session::Session& session, PlayerWindow& window, Commands commands,
                             QObject* parent)
    : QObject(parent), session_(session), window_(window), commands_(std::move(commands)) {
    connectActions();
}

void PracticeTools::connectActions() {
    const Ui::PlayerWindow& ui = window_.ui;
    const auto on = [this](QAction* action, auto command) {
        connect(action, &QAction::triggered, this, command);
    };
    on(ui.moveLoopBackAction, [this] { stepLoop(-1); });
    on(ui.moveLoopForwardAction, [this] { stepLoop(+1); });
    on(ui.halveLoopAction, [this] { resizeLoop(0.5); });
    on(ui.doubleLoopAction, [this] { resizeLoop(2.0); });
    on(ui.loopStartEarlierAction, [this] { nudgeLoopStart(-kNudgeSeconds); });
    on(ui.loopStartLaterAction, [this] { nudgeLoopStart(kNudgeSeconds); });
    on(ui.loopEndEarlierAction, [this] { nudgeLoopEnd(-kNudgeSeconds); });
    on(ui.loopEndLaterAction, [this] { nudgeLoopEnd(kNudgeSeconds); });
    on(ui.loopStartMuchEarlierAction, [this] { nudgeLoopStart(-kFarNudgeSeconds); });
    on(ui.loopStartMuchLaterAction, [this] { nudgeLoopStart(kFarNudgeSeconds); });
    on(ui.loopEndMuchEarlierAction, [this] { nudgeLoopEnd(-kFarNudgeSeconds); });
    on(ui.loopEndMuchLaterAction, [this] { nudgeLoopEnd(kFarNudgeSeconds); });
    on(ui.speedTrainerAction, [this] { showSpeedTrainer(); });
    on(ui.passPauseAction, [this] { showPassPause(); });
    on(ui.tapTempoAction, [this] { tapTempo(); });
}

// ---- loop edits --------------------------------------------------------------------------

void PracticeTools::stepLoop(int direction) {
    if (const session::Recording* recording = session_.recording())
        commands_.editLoop(steppedLoop(session_.loop(), direction, recording->totalFrames()));
}

void PracticeTools::resizeLoop(double factor) {
    if (const session::Recording* recording = session_.recording())
        commands_.editLoop(resizedLoop(session_.loop(), factor, recording->totalFrames(),
                                       recording->framesFor(kNudgeSeconds)));
}

void PracticeTools::nudgeLoopStart(double seconds) {
    nudgeLoop(&nudgedLoopStart, seconds);
}

void PracticeTools::nudgeLoopEnd(double seconds) {
    nudgeLoop(&nudgedLoopEnd, seconds);
}

void PracticeTools::nudgeLoop(LoopNudge nudge, double seconds) {
    if (const session::Recording* recording = session_.recording())
        commands_.editLoop(nudge(session_.loop(), recording->framesFor(seconds),
                                 recording->totalFrames(), recording->framesFor(kNudgeSeconds)));
}

// ---- speed trainer -------------------------------------------------------------------------

void PracticeTools::showSpeedTrainer() {
    // The menu item's check mark says whether the trainer is on, not that it was chosen.
    window_.ui.speedTrainerAction->setChecked(trainer_.isOn());
    // Offered: the last plan, starting from the speed the musician has slowed down to, if
    // they have.
    SpeedTrainerPlan plan = trainer_.plan();
    if (!trainer_.isOn() && session_.rate() < plan.targetRate)
        plan.startRate = session_.rate();
    auto* dialog = new SpeedTrainerDialog(&window_, plan, trainer_.isOn());
    connect(dialog, &SpeedTrainerDialog::startRequested, this, &PracticeTools::startSpeedTrainer);
    connect(dialog, &SpeedTrainerDialog::turnOffRequested, this, &PracticeTools::stopSpeedTrainer);
    dialog->open();
}

void PracticeTools::startSpeedTrainer(const SpeedTrainerPlan& plan) {
    if (!session_.recording())
        return;
    trainer_.start(plan);
    window_.ui.speedTrainerAction->setChecked(true);
    session_.setLooping(true); // passes only come round with the loop on
    commands_.changeRate(plan.startRate);
}

void PracticeTools::stopSpeedTrainer() {
    trainer_.stop();
    window_.ui.speedTrainerAction->setChecked(false);
}

void PracticeTools::loopPassCompleted() {
    const std::optional<double> rate = trainer_.passCompleted(session_.rate());
    if (!rate)
        return;
    commands_.changeRate(*rate);
    if (!trainer_.isOn())
        window_.ui.speedTrainerAction->setChecked(false);
}

// ---- pause and count-in between passes -------------------------------------------------------

void PracticeTools::showPassPause() {
    const session::PassPause& pause = session_.passPause();
    auto* dialog =
        new PassPauseDialog(&window_, pause.seconds, pause.countIn, pause.beatsPerMinute);
    connect(dialog, &PassPauseDialog::settingsChosen, this, &PracticeTools::setPassPause);
    dialog->open();
}

void PracticeTools::setPassPause(double seconds, bool countIn, double beatsPerMinute) {
    session_.setPassPause({seconds, countIn, beatsPerMinute});
}

void PracticeTools::tapTempo() {
    const std::optional<double> tempo = tapTempo_.tap(TapTempo::Clock::now());
    if (!tempo)
        return;
    session::PassPause pause = session_.passPause();
    pause.beatsPerMinute = std::round(*tempo);
    session_.setPassPause(pause);
    commands_.showNumber(float(session_.passPause().beatsPerMinute));
}
