// The practice tools of the application controller, beyond the commands of the design:
// keyboard edits of the loop range, the speed trainer, and the pause with count-in clicks
// between the passes of a looped range. With the trainer off and no pause set, nothing
// here changes what the player or the window do.

#include "app/KTAppController.h"
#include "app/PlayerWindow.h"
#include "app/PracticeDialogs.h"
#include "controls/KTCustomSliderCell.h"
#include "controls/KTTimerView.h"
#include "waveform_view/KTFixedWaveformView.h"

#include <algorithm>
#include <cmath>

namespace {
// The smallest nudge of a loop end, and the shortest loop an edit leaves.
constexpr double kNudgeSeconds = 0.01;
constexpr double kFarNudgeSeconds = 0.1;
constexpr double kSlowestCountIn = 30, kFastestCountIn = 300;
} // namespace

void KTAppController::connectPracticeCommands() {
    const Ui::PlayerWindow& ui = window_->ui;
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
    on(ui.speedTrainerAction, [this] { showSpeedTrainer(window_->ui.speedTrainerAction); });
    on(ui.passPauseAction, [this] { showPassPause(window_->ui.passPauseAction); });
    on(ui.tapTempoAction, [this] { tapTempo(); });
}

// ---- loop edits --------------------------------------------------------------------------

std::int32_t KTAppController::framesForSeconds(double seconds) const {
    return audioFile_ ? std::int32_t(std::lround(seconds * audioFile_->sampleRate())) : 0;
}

LoopRange KTAppController::currentLoop() const {
    return {waveformView_->rangeStartFrame(), waveformView_->rangeEndFrame()};
}

void KTAppController::applyLoopEdit(LoopRange range) {
    if (range == currentLoop())
        return; // at a file's end, say: nothing moves, nothing pauses
    waveformViewWillChangeRange(waveformView_);
    waveformView_->setRangeStartFrame(range.start);
    waveformView_->setRangeEndFrame(range.end);
    waveformViewDidChangeRangeStartFrameEndFrame(waveformView_, range.start, range.end);
}

void KTAppController::stepLoop(int direction) {
    if (!audioFile_ || loader_->isLoading())
        return;
    applyLoopEdit(steppedLoop(currentLoop(), direction, std::int32_t(audioFile_->totalFrames())));
}

void KTAppController::resizeLoop(double factor) {
    if (!audioFile_ || loader_->isLoading())
        return;
    applyLoopEdit(resizedLoop(currentLoop(), factor, std::int32_t(audioFile_->totalFrames()),
                              framesForSeconds(kNudgeSeconds)));
}

void KTAppController::nudgeLoopStart(double seconds) {
    nudgeLoop(&nudgedLoopStart, seconds);
}

void KTAppController::nudgeLoopEnd(double seconds) {
    nudgeLoop(&nudgedLoopEnd, seconds);
}

void KTAppController::nudgeLoop(LoopNudge nudge, double seconds) {
    if (!audioFile_ || loader_->isLoading())
        return;
    applyLoopEdit(nudge(currentLoop(), framesForSeconds(seconds),
                        std::int32_t(audioFile_->totalFrames()), framesForSeconds(kNudgeSeconds)));
}

// ---- speed trainer -------------------------------------------------------------------------

void KTAppController::showSpeedTrainer(QObject* /*sender*/) {
    // The menu item's check mark says whether the trainer is on, not that it was chosen.
    window_->ui.speedTrainerAction->setChecked(trainer_.isOn());
    // Offered: the last plan, starting from the speed the musician has slowed down to, if
    // they have.
    SpeedTrainerPlan plan = trainer_.plan();
    if (!trainer_.isOn() && speedValue() < plan.targetRate)
        plan.startRate = speedValue();
    auto* dialog = new SpeedTrainerDialog(window_, plan, trainer_.isOn());
    connect(dialog, &SpeedTrainerDialog::startRequested, this, &KTAppController::startSpeedTrainer);
    connect(dialog, &SpeedTrainerDialog::turnOffRequested, this,
            &KTAppController::stopSpeedTrainer);
    dialog->open();
}

void KTAppController::startSpeedTrainer(const SpeedTrainerPlan& plan) {
    if (!audioFile_)
        return;
    trainer_.start(plan);
    window_->ui.speedTrainerAction->setChecked(true);
    if (!player_->isLooped())
        loopToggle(nullptr); // passes only come round with the loop on
    setSpeedValue(float(plan.startRate));
    setPlaybackRate(speedSlider_);
}

void KTAppController::stopSpeedTrainer() {
    trainer_.stop();
    window_->ui.speedTrainerAction->setChecked(false);
}

void KTAppController::playerDidCompleteLoopPass(KTAudioQueuePlayer* /*player*/) {
    // From the queue's thread; nothing waits for the answer.
    QMetaObject::invokeMethod(this, &KTAppController::loopPassCompleted, Qt::QueuedConnection);
}

void KTAppController::loopPassCompleted() {
    const std::optional<double> rate = trainer_.passCompleted(speedValue());
    if (!rate)
        return;
    setSpeedValue(float(*rate));
    setPlaybackRate(speedSlider_);
    if (!trainer_.isOn())
        window_->ui.speedTrainerAction->setChecked(false);
}

// ---- pause and count-in between passes -------------------------------------------------------

void KTAppController::showPassPause(QObject* /*sender*/) {
    auto* dialog = new PassPauseDialog(window_, passPause_, countIn_, countInTempo_);
    connect(dialog, &PassPauseDialog::settingsChosen, this, &KTAppController::setPassPause);
    dialog->open();
}

void KTAppController::setPassPause(double seconds, bool countIn, double beatsPerMinute) {
    passPause_ = std::clamp(seconds, 0.0, 10.0);
    countIn_ = countIn;
    countInTempo_ = std::clamp(beatsPerMinute, kSlowestCountIn, kFastestCountIn);
    applyPassPause();
}

void KTAppController::applyPassPause() {
    if (player_)
        player_->setPassPause(passPause_, countIn_ ? countInTempo_ : 0.0);
}

void KTAppController::tapTempo() {
    const std::optional<double> tempo = tapTempo_.tap(TapTempo::Clock::now());
    if (!tempo)
        return;
    countInTempo_ = std::clamp(std::round(*tempo), kSlowestCountIn, kFastestCountIn);
    timerView_->showFlashTypeValue(KTTimerView::kFlashNumber, float(countInTempo_));
    applyPassPause();
}
