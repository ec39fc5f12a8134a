#pragma once

// The harmony in the window, as heard after the pitch shift (HeardHarmony.h): the chord
// lane over the waveform, scrolled and zoomed with it; the key and tuning on the HUD bar
// ("A minor · +12 cents"); and Controls > Match Tuning, which brings the recording to A440.
//
// Match Tuning (a checkable item): checking it sets the pitch to the user's shift rounded
// to whole semitones plus the correction that takes the recording's tuning to A440
// (-12 cents for a recording 12 cents sharp); the semitone keys keep it matched, a new
// tuning from the analysis moves the correction with it. Unchecking takes the correction
// away again and gives back the fraction of a semitone the user had set. A pitch set off
// the matched semitones (a slider drag) or a new recording unchecks it and leaves the
// pitch as it is. It is disabled until the recording's tuning is known.
//
// Thread contract: main thread only. It observes the session; the session, the window and
// its widgets outlive it.

#include "session/Session.h"

#include <QObject>

class ChordLaneView;
class KTFixedWaveformView;
class PlayerWindow;
class QAction;
class QLabel;

class HarmonyPanel final : public QObject, public session::SessionObserver {
public:
    HarmonyPanel(session::Session& session, PlayerWindow& window, QObject* parent = nullptr);
    ~HarmonyPanel() override;

    bool isTuningMatched() const { return matched_; }
    // Shows the harmony again, and Match Tuning enabled only with a recording whose tuning
    // is known (after the controls are enabled on a load, which enables every item).
    void refresh();

    void recordingChanged(const session::Session& session) override;
    void pitchChanged(const session::Session& session) override;
    void harmonyChanged(const session::Session& session) override;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    void matchTuning(bool matched);
    void unmatchQuietly();
    void followWaveform();

    session::Session& session_;
    KTFixedWaveformView& waveformView_;
    ChordLaneView& chordLane_;
    QLabel& keyLabel_;
    QAction& matchTuningAction_;
    bool matched_ = false;
    int correctionCents_ = 0; // what matching added to whole semitones
    int fractionCents_ = 0;   // what matching took from the user's own shift
};
