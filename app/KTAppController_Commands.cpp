// The commands of the application controller: transport, range, speed, pitch, volume and
// the keyboard table, and its side of the view's and the player's delegate protocols.
// The controller keeps no transport state of its own besides the volume: whether the
// player plays or loops is always read from the player, and the indicators follow.

#include "app/KTAppController.h"
#include "app/PlayerWindow.h"
#include "controls/KTCustomSliderCell.h"
#include "controls/KTDualModeButton.h"
#include "controls/KTTimerView.h"
#include "platform/desktop/KeyCodes.h"
#include "waveform_view/KTFixedWaveformView.h"

#include <QKeyEvent>
#include <QMessageBox>
#include <QSemaphore>
#include <QSignalBlocker>
#include <QThread>
#include <algorithm>
#include <cmath>

float KTAppController::secondsForFrame(std::int32_t frame) const {
    const int rate = audioFile_ ? audioFile_->sampleRate() : 0;
    return rate > 0 ? float(frame) / float(rate) : 0.0f;
}

double KTAppController::speedValue() const {
    return speedSlider_->value() / kSpeedSliderScale;
}

void KTAppController::setSpeedValue(float rate) {
    setSliderQuietly(speedSlider_, int(std::lround(double(rate) * kSpeedSliderScale)));
}

void KTAppController::setSliderQuietly(QAbstractSlider* slider, int value) {
    const QSignalBlocker quiet(slider);
    slider->setValue(value);
}

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
    const bool looped = !player_->isLooped();
    player_->setLooped(looped);
    loopMenuItem_->setChecked(looped);
    loopButton_->setMode(looped ? 1 : 0);
}

void KTAppController::rewind(QObject* /*sender*/) {
    player_->rewind();
}

void KTAppController::ffwd(QObject* /*sender*/) {
    player_->ffwd();
}

void KTAppController::setPlaybackRate(QObject* /*sender*/) {
    const double rate = speedValue();
    timerView_->showFlashTypeValue(KTTimerView::kFlashPercentage, float(rate * 100.0));
    player_->setPlaybackRate(rate);
}

void KTAppController::setPitchShift(QObject* /*sender*/) {
    const auto pitch = float(pitchSlider_->value());
    // The flash shows half the slider's cents, by design: pairs of semitones.
    timerView_->showFlashTypeValue(KTTimerView::kFlashPitch, pitch / 200.0f);
    player_->setPitchShift(pitch);
}

void KTAppController::passRangeToPlayer() {
    const std::int32_t start = waveformView_->rangeStartFrame();
    const std::int32_t end = waveformView_->rangeEndFrame();
    player_->setRangeStartFrameNumFrames(double(start), double(std::int32_t(end - start)));
}

// The range commands pause without touching the play button or the menu title; the next
// playToggle reads the player and starts again.
void KTAppController::setRangeStart(QObject* /*sender*/) {
    player_->pause();
    waveformView_->setRangeStartFrame(waveformView_->playheadFrame());
    passRangeToPlayer();
}

void KTAppController::setRangeEnd(QObject* /*sender*/) {
    player_->pause();
    waveformView_->setRangeEndFrame(waveformView_->playheadFrame());
    passRangeToPlayer();
}

void KTAppController::resetRange(QObject* /*sender*/) {
    player_->pause();
    waveformView_->setPlayheadFrame(0);
    waveformView_->setRangeStartFrame(0);
    waveformView_->setRangeEndFrame(std::int32_t(audioFile_->totalFrames()));
    passRangeToPlayer();
}

bool KTAppController::eventFilter(QObject* watched, QEvent* event) {
    if (watched == window_ && event->type() == QEvent::KeyPress)
        return keyDown(static_cast<QKeyEvent*>(event));
    return QObject::eventFilter(watched, event);
}

bool KTAppController::keyDown(QKeyEvent* event) {
    // The commands act on a loaded file; before the first load the keys do nothing.
    if (!audioFile_ || loader_->isLoading())
        return true;
    namespace mac = platform::desktop::mac;
    const int keyCode = platform::desktop::macVirtualKeyCode(*event);
    switch (keyCode) {
    case mac::Equal:
        setSpeedValue(float(speedValue() + 0.05));
        setPlaybackRate(speedSlider_);
        break;
    case mac::Minus:
        setSpeedValue(float(speedValue() - 0.05));
        setPlaybackRate(speedSlider_);
        break;
    case mac::Digit0:
        setSpeedValue(1.0f);
        setPlaybackRate(speedSlider_);
        break;
    case mac::RightBracket:
        setSliderQuietly(pitchSlider_, pitchSlider_->value() + 100);
        setPitchShift(pitchSlider_);
        break;
    case mac::LeftBracket:
        setSliderQuietly(pitchSlider_, pitchSlider_->value() - 100);
        setPitchShift(pitchSlider_);
        break;
    case mac::Comma:
    case mac::Period: {
        const bool up = keyCode == mac::Period;
        volume_ = up ? std::min(volume_ + 0.05, 1.0) : std::max(volume_ - 0.05, 0.05);
        timerView_->showFlashTypeValue(KTTimerView::kFlashPercentage, float(volume_ * 100.0));
        player_->setVolume(volume_);
        break;
    }
    case mac::W:
        if (event->modifiers() & Qt::ControlModifier)
            window_->close();
        break;
    default:
        break;
    }
    // Every key that reaches the window ends here, command or not.
    return true;
}

void KTAppController::waveformViewDidDragPlayheadToFrame(KTFixedWaveformView* /*view*/,
                                                         std::int32_t frame) {
    timerView_->setTime(secondsForFrame(frame));
}

void KTAppController::waveformViewDidChangeCurrentFrame(KTFixedWaveformView* /*view*/,
                                                        std::int32_t frame) {
    player_->setCurrentFrame(double(frame));
    timerView_->setTime(secondsForFrame(frame));
}

void KTAppController::waveformViewWillChangeRange(KTFixedWaveformView* /*view*/) {
    player_->pause();
    showPlayingState(false);
}

void KTAppController::waveformViewDidChangeRangeStartFrameEndFrame(KTFixedWaveformView* /*view*/,
                                                                   std::int32_t startFrame,
                                                                   std::int32_t endFrame) {
    player_->setRangeStartFrameNumFrames(double(startFrame),
                                         double(std::int32_t(endFrame - startFrame)));
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
    timerView_->setTime(secondsForFrame(frame));
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

void KTAppController::showAbout() {
    QMessageBox::about(window_, QStringLiteral("About Study Loop"),
                       QStringLiteral("<b>Study Loop</b> %1<p>Loop a passage of a recording, "
                                      "slower or faster without changing its pitch, or "
                                      "transposed without changing its speed.</p>")
                           .arg(QCoreApplication::applicationVersion()));
}
