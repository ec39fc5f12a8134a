// The commands of the application controller: transport, range, speed, pitch, volume and
// the keys, and its side of the view's and the player's delegate protocols. Whether the
// player plays is always read from the player, and the indicators follow; the loop, looping,
// speed, pitch and volume are the session's, which the player and the window follow.

#include "app/BarTools.h"
#include "app/ColorBandWindow.h"
#include "app/KTAppController.h"
#include "app/LoopExport.h"
#include "app/PlayerWindow.h"
#include "app/PracticeTools.h"
#include "app/RecordingLoader.h"
#include "controls/KTCustomSliderCell.h"
#include "controls/KTDualModeButton.h"
#include "controls/KTTimerView.h"
#include "platform/desktop/KeyCodes.h"
#include "waveform_view/KTFixedWaveformView.h"

#include <QKeyEvent>
#include <QMessageBox>
#include <QSemaphore>
#include <QThread>

namespace {

float secondsAt(const session::Session& session, std::int32_t frame) {
    return session.recording() ? session.recording()->secondsAt(frame) : 0.0f;
}

} // namespace

void KTAppController::showPlayingState(bool playing) {
    playPauseButton_->setMode(playing ? 1 : 0);
    playPauseMenuItem_->setText(playing ? QStringLiteral("Pause") : QStringLiteral("Play"));
}

void KTAppController::playToggle(QObject* /*sender*/) {
    const bool wasPlaying = player_->isPlaying();
    if (wasPlaying)
        player_->pause();
    else
        player_->play();
    showPlayingState(!wasPlaying);
}

void KTAppController::replay(QObject* /*sender*/) {
    player_->setCurrentFrame(double(player_->rangeStartFrame()));
    player_->play();
    showPlayingState(true);
}

void KTAppController::loopToggle(QObject* /*sender*/) {
    session_.setLooping(!session_.isLooping());
}

void KTAppController::rewind(QObject* /*sender*/) {
    player_->rewind();
}

void KTAppController::ffwd(QObject* /*sender*/) {
    player_->ffwd();
}

void KTAppController::setPlaybackRate(QObject* /*sender*/) {
    changeRate(speedSlider_->value() / WindowFollowsSession::kSpeedSliderScale);
}

void KTAppController::setPitchShift(QObject* /*sender*/) {
    changePitch(pitchSlider_->value());
}

void KTAppController::changeRate(double rate) {
    session_.setRate(rate);
    timerView_->showFlashTypeValue(KTTimerView::kFlashPercentage, float(session_.rate() * 100.0));
}

void KTAppController::changePitch(int cents) {
    session_.setPitchCents(cents);
    // The flash shows half the slider's cents, by design: pairs of semitones.
    timerView_->showFlashTypeValue(KTTimerView::kFlashPitch, float(session_.pitchCents()) / 200.0f);
}

void KTAppController::changeVolume(double volume) {
    session_.setVolume(volume);
    timerView_->showFlashTypeValue(KTTimerView::kFlashPercentage, float(session_.volume() * 100.0));
}

// The range commands pause without touching the play button or the menu title; the next
// playToggle reads the player and starts again.
void KTAppController::setRangeStart(QObject* /*sender*/) {
    player_->pause();
    session_.setLoop({waveformView_->playheadFrame(), session_.loop().end});
}

void KTAppController::setRangeEnd(QObject* /*sender*/) {
    player_->pause();
    session_.setLoop({session_.loop().start, waveformView_->playheadFrame()});
}

void KTAppController::resetRange(QObject* /*sender*/) {
    if (!session_.recording())
        return;
    player_->pause();
    waveformView_->setPlayheadFrame(0);
    session_.setLoop({0, session_.recording()->totalFrames()});
}

void KTAppController::editLoop(LoopRange loop) {
    if (!session_.recording() || loader_->isLoading() || loop == session_.loop())
        return; // at a file's end, say: nothing moves, nothing pauses
    waveformViewWillChangeRange(waveformView_);
    session_.setLoop(loop);
}

bool KTAppController::eventFilter(QObject* watched, QEvent* event) {
    if (watched == window_ && event->type() == QEvent::KeyPress)
        return keyDown(static_cast<QKeyEvent*>(event));
    return QObject::eventFilter(watched, event);
}

bool KTAppController::keyDown(QKeyEvent* event) {
    const Ui::PlayerWindow& ui = window_->ui;
    QAction* command = nullptr;
    namespace mac = platform::desktop::mac;
    switch (platform::desktop::macVirtualKeyCode(*event)) {
    case mac::Equal:
        command = ui.fasterAction;
        break;
    case mac::Minus:
        command = ui.slowerAction;
        break;
    case mac::Digit0:
        command = ui.normalSpeedAction;
        break;
    case mac::RightBracket:
        command = ui.pitchUpAction;
        break;
    case mac::LeftBracket:
        command = ui.pitchDownAction;
        break;
    case mac::Period:
        command = ui.louderAction;
        break;
    case mac::Comma:
        command = ui.quieterAction;
        break;
    case mac::W:
        if (event->modifiers() & Qt::ControlModifier)
            command = ui.closeWindowAction;
        break;
    default:
        break;
    }
    // The commands act on a loaded file; before the first load the keys do nothing.
    if (command && command->isEnabled() && session_.recording())
        command->trigger();
    return true;
}

void KTAppController::showTimeAt(std::int32_t frame) {
    timerView_->setTime(secondsAt(session_, frame));
    barTools_->showPosition(frame);
}

void KTAppController::waveformViewDidDragPlayheadToFrame(KTFixedWaveformView* /*view*/,
                                                         std::int32_t frame) {
    showTimeAt(frame);
}

void KTAppController::waveformViewDidChangeCurrentFrame(KTFixedWaveformView* /*view*/,
                                                        std::int32_t frame) {
    player_->setCurrentFrame(double(frame));
    showTimeAt(frame);
}

void KTAppController::waveformViewWillChangeRange(KTFixedWaveformView* /*view*/) {
    player_->pause();
    showPlayingState(false);
}

void KTAppController::waveformViewDidChangeRangeStartFrameEndFrame(KTFixedWaveformView* /*view*/,
                                                                   std::int32_t startFrame,
                                                                   std::int32_t endFrame) {
    session_.setLoop({startFrame, endFrame});
}

void KTAppController::waveformViewDidDoubleClickFrame(KTFixedWaveformView* /*view*/,
                                                      std::int32_t frame) {
    barTools_->loopBarsAt(frame, 1);
}

void KTAppController::waveformViewDidReceiveDraggedFileWithPath(KTFixedWaveformView* /*view*/,
                                                                const QString& path) {
    openFileWithURL(QUrl::fromLocalFile(path));
}

void KTAppController::playerDidMovePlayheadToFrame(KTAudioQueuePlayer* /*player*/, int frame) {
    // A pause asked for while the last buffers of a range play out is not taken (the player
    // is already finishing), but the toggle showed Play; when the loop then starts the range
    // again, the next report puts the button back to what the player does.
    if (player_->isPlaying() && !player_->isCompleted())
        showPlayingState(true);
    if (waveformView_->isDragging())
        return; // the user holds the playhead; the player's reports wait
    waveformView_->setPlayheadFrame(frame);
    showTimeAt(frame);
}

// Sent from the queue's thread: waits until the main thread has reset the indicators, as
// a synchronous hop would, but gives up when the controller is shutting down (its
// destructor destroys the player, which waits for this very thread).
void KTAppController::playerDidCompletePlayback(KTAudioQueuePlayer* /*player*/) {
    if (QThread::currentThread() == thread()) {
        completePlayback();
        return;
    }
    auto done = std::make_shared<QSemaphore>();
    QMetaObject::invokeMethod(
        this,
        [this, done] {
            completePlayback();
            done->release();
        },
        Qt::QueuedConnection);
    while (!done->tryAcquire(1, 10))
        if (shuttingDown_.load())
            return;
}

void KTAppController::completePlayback() {
    showPlayingState(false);
    waveformView_->resetPlayhead();
}

void KTAppController::playerDidCompleteLoopPass(KTAudioQueuePlayer* /*player*/) {
    // From the queue's thread; nothing waits for the answer.
    QMetaObject::invokeMethod(practice_, &PracticeTools::loopPassCompleted, Qt::QueuedConnection);
}

void KTAppController::showColorBand(QObject* /*sender*/) {
    if (!colorBand_)
        colorBand_ = std::make_unique<ColorBandWindow>();
    colorBand_->show();
    colorBand_->raise();
    colorBand_->activateWindow();
}

void KTAppController::exportLoop(QObject* /*sender*/) {
    if (const session::Recording* recording = session_.recording();
        recording && !loader_->isLoading())
        loopExport_->chooseFileAndExport(recording->pin, recording->sampleRate(),
                                         loopRenderSettings());
}

playback::LoopRenderSettings KTAppController::loopRenderSettings() const {
    playback::LoopRenderSettings loop;
    loop.startFrame = player_->rangeStartFrame();
    loop.numFrames = std::max<std::int64_t>(0, player_->rangeEndFrame() - loop.startFrame);
    loop.rate = session_.rate();
    loop.cents = session_.pitchCents();
    return loop;
}

void KTAppController::showAbout() {
    QMessageBox::about(window_, QStringLiteral("About Study Loop"),
                       QStringLiteral("<b>Study Loop</b> %1<p>Loop a passage of a recording, "
                                      "slower or faster without changing its pitch, or "
                                      "transposed without changing its speed.</p>")
                           .arg(QCoreApplication::applicationVersion()));
}
