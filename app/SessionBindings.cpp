#include "app/SessionBindings.h"

#include "app/PlayerWindow.h"
#include "controls/KTCustomSliderCell.h"
#include "controls/KTDualModeButton.h"
#include "platform/audio_device/AudioDevice.h"
#include "playback/KTAudioQueuePlayer.h"
#include "waveform_view/KTFixedWaveformView.h"

#include <QSignalBlocker>
#include <algorithm>
#include <cmath>

using session::Session;

PlayerFollowsSession::PlayerFollowsSession(Session& session, KTAudioQueuePlayer& player)
    : session_(session), player_(player) {
    session_.addObserver(this);
}

PlayerFollowsSession::~PlayerFollowsSession() {
    session_.removeObserver(this);
}

void PlayerFollowsSession::recordingChanged(const Session& session) {
    player_.setAudioFile(session.recording()->file);
    // The output is opened now rather than at the first play: a sound server can take a
    // second or more before a new stream sounds, and that wait belongs in the load, not
    // between the first press of Space and the music.
    platform::defaultAudioDevice()->prepareToPlay(double(session.recording()->sampleRate()));
    loopChanged(session);
    loopingChanged(session);
    rateChanged(session);
    pitchChanged(session);
    volumeChanged(session);
    passPauseChanged(session);
}

void PlayerFollowsSession::loopChanged(const Session& session) {
    const LoopRange loop = session.loop();
    // The length in 32-bit integers, as the view's frames are: an inverted range passes on.
    player_.setRangeStartFrameNumFrames(double(loop.start),
                                        double(std::int32_t(loop.end - loop.start)));
}

void PlayerFollowsSession::loopingChanged(const Session& session) {
    player_.setLooped(session.isLooping());
}

void PlayerFollowsSession::rateChanged(const Session& session) {
    player_.setPlaybackRate(session.rate());
    if (!session.grid().isEmpty())
        passPauseChanged(session); // the count-in follows the music's tempo as it is heard
}

void PlayerFollowsSession::pitchChanged(const Session& session) {
    player_.setPitchShift(float(session.pitchCents()));
}

void PlayerFollowsSession::volumeChanged(const Session& session) {
    player_.setVolume(session.volume());
}

void PlayerFollowsSession::passPauseChanged(const Session& session) {
    const session::PassPause& pause = session.passPause();
    player_.setPassPause(pause.seconds, pause.countIn ? countInTempo(session) : 0.0);
}

void PlayerFollowsSession::gridChanged(const Session& session) {
    passPauseChanged(session);
}

double PlayerFollowsSession::countInTempo(const Session& session) {
    const double gridTempo = session.grid().tempoBpm;
    if (session.grid().isEmpty() || !(gridTempo > 0))
        return session.passPause().beatsPerMinute;
    return std::clamp(gridTempo * session.rate(), Session::kSlowestCountIn,
                      Session::kFastestCountIn);
}

WindowFollowsSession::WindowFollowsSession(Session& session, PlayerWindow& window)
    : session_(session), window_(window) {
    session_.addObserver(this);
}

WindowFollowsSession::~WindowFollowsSession() {
    session_.removeObserver(this);
}

void WindowFollowsSession::setSliderQuietly(QAbstractSlider* slider, int value) {
    const QSignalBlocker quiet(slider);
    slider->setValue(value);
}

void WindowFollowsSession::recordingChanged(const Session& session) {
    loopChanged(session);
    rateChanged(session);
    pitchChanged(session);
}

void WindowFollowsSession::loopChanged(const Session& session) {
    window_.waveformView->setRangeStartFrame(session.loop().start);
    window_.waveformView->setRangeEndFrame(session.loop().end);
}

void WindowFollowsSession::loopingChanged(const Session& session) {
    window_.ui.loopAction->setChecked(session.isLooping());
    window_.ui.loopButton->setMode(session.isLooping() ? 1 : 0);
}

void WindowFollowsSession::rateChanged(const Session& session) {
    setSliderQuietly(window_.ui.speedSlider, int(std::lround(session.rate() * kSpeedSliderScale)));
}

void WindowFollowsSession::pitchChanged(const Session& session) {
    setSliderQuietly(window_.ui.pitchSlider, session.pitchCents());
}
