#pragma once

// How the player and the window follow the session: each is an observer that carries every
// change of the session to what it drives, so that neither is ever set by hand.
//
// - PlayerFollowsSession: the player plays the session's recording, loop (start and
//   length), looping, speed, pitch, volume and pause between passes (its count-in at the
//   beat grid's tempo when there is a grid). A new recording gets
//   all of them again, since its queue starts from nothing.
// - WindowFollowsSession: the waveform view shows the loop, the knobs of the speed and pitch
//   sliders stand where the session's values are (set quietly: a knob moved by the session
//   does not send a command), and the loop button and menu item show looping.
//
// Thread contract: main thread. Each adds itself to the session when made and removes
// itself when destroyed; the session, the player and the window must outlive it.

#include "session/Session.h"

class KTAudioQueuePlayer;
class PlayerWindow;
class QAbstractSlider;

class PlayerFollowsSession final : public session::SessionObserver {
public:
    PlayerFollowsSession(session::Session& session, KTAudioQueuePlayer& player);
    ~PlayerFollowsSession() override;

    void recordingChanged(const session::Session& session) override;
    void loopChanged(const session::Session& session) override;
    void loopingChanged(const session::Session& session) override;
    void rateChanged(const session::Session& session) override;
    void pitchChanged(const session::Session& session) override;
    void volumeChanged(const session::Session& session) override;
    void passPauseChanged(const session::Session& session) override;
    void gridChanged(const session::Session& session) override;

    // The count-in's tempo: the beat grid's as it is heard at the session's speed when there
    // is a grid, else the one typed or tapped.
    static double countInTempo(const session::Session& session);

private:
    session::Session& session_;
    KTAudioQueuePlayer& player_;
};

class WindowFollowsSession final : public session::SessionObserver {
public:
    // The speed slider holds the rate in hundredths (10..400 for 0.10..4.00).
    static constexpr double kSpeedSliderScale = 100.0;

    WindowFollowsSession(session::Session& session, PlayerWindow& window);
    ~WindowFollowsSession() override;

    // Sets a slider's value from code: the change is not taken for the user's.
    static void setSliderQuietly(QAbstractSlider* slider, int value);

    void recordingChanged(const session::Session& session) override;
    void loopChanged(const session::Session& session) override;
    void loopingChanged(const session::Session& session) override;
    void rateChanged(const session::Session& session) override;
    void pitchChanged(const session::Session& session) override;

private:
    session::Session& session_;
    PlayerWindow& window_;
};
