#include "session/Session.h"

#include <algorithm>
#include <cmath>

namespace session {

std::int32_t Recording::framesFor(double seconds) const {
    return std::int32_t(std::lround(seconds * sampleRate()));
}

void Session::addObserver(SessionObserver* observer) {
    observers_.push_back(observer);
}

void Session::removeObserver(SessionObserver* observer) {
    std::erase(observers_, observer);
}

void Session::setRecording(Recording recording, QList<SavedLoop> savedLoops,
                           GridCorrection gridCorrection) {
    if (recording_)
        tell(&SessionObserver::recordingWillChange);
    recording_ = std::move(recording);
    loop_ = {0, recording_->totalFrames()};
    rate_ = 1.0;
    pitchCents_ = 0;
    savedLoops_ = std::move(savedLoops);
    foundGrid_ = grid_ = {};
    gridCorrection_ = gridCorrection;
    harmony_ = {};
    tell(&SessionObserver::recordingChanged);
}

void Session::setLoop(LoopRange loop) {
    loop_ = loop;
    tell(&SessionObserver::loopChanged);
}

void Session::setLooping(bool looping) {
    if (looping == looping_)
        return;
    looping_ = looping;
    tell(&SessionObserver::loopingChanged);
}

void Session::setRate(double rate) {
    if (!std::isfinite(rate))
        return;
    rate = std::round(std::clamp(rate, kSlowestRate, kFastestRate) * 100.0) / 100.0;
    if (rate == rate_)
        return;
    rate_ = rate;
    tell(&SessionObserver::rateChanged);
}

void Session::setPitchCents(int cents) {
    cents = std::clamp(cents, kLowestCents, kHighestCents);
    if (cents == pitchCents_)
        return;
    pitchCents_ = cents;
    tell(&SessionObserver::pitchChanged);
}

void Session::setVolume(double volume) {
    if (!std::isfinite(volume))
        return;
    volume = std::clamp(volume, kQuietestVolume, kLoudestVolume);
    if (volume == volume_)
        return;
    volume_ = volume;
    tell(&SessionObserver::volumeChanged);
}

void Session::setPassPause(PassPause pause) {
    pause.seconds = std::isfinite(pause.seconds)
                        ? std::clamp(pause.seconds, 0.0, kLongestPassPauseSeconds)
                        : 0.0;
    pause.beatsPerMinute = std::isfinite(pause.beatsPerMinute)
                               ? std::clamp(pause.beatsPerMinute, kSlowestCountIn, kFastestCountIn)
                               : passPause_.beatsPerMinute;
    if (pause == passPause_)
        return;
    passPause_ = pause;
    tell(&SessionObserver::passPauseChanged);
}

void Session::setSavedLoops(QList<SavedLoop> loops) {
    savedLoops_ = std::move(loops);
    tell(&SessionObserver::savedLoopsChanged);
}

} // namespace session

namespace session {

void Session::setFoundGrid(BeatGrid grid) {
    foundGrid_ = std::move(grid);
    grid_ = correctedGrid(foundGrid_, gridCorrection_);
    tell(&SessionObserver::gridChanged);
}

void Session::setGridCorrection(GridCorrection correction) {
    gridCorrection_ = correction;
    grid_ = correctedGrid(foundGrid_, gridCorrection_);
    tell(&SessionObserver::gridChanged);
}

void Session::setHarmony(Harmony harmony) {
    harmony_ = std::move(harmony);
    tell(&SessionObserver::harmonyChanged);
}

} // namespace session
