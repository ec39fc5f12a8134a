#pragma once

// The practice session: everything the window, the player and the practice tools share
// about what is being practised. The loaded recording, the loop range and whether it
// loops, the speed, the pitch shift, the volume, the pause between passes and the loops
// saved on the recording each live here and nowhere else. The player, the waveform view,
// the indicators and the recording's memory follow the session as SessionObservers; the
// controller turns what the user does into changes of the session.
//
//   user -> KTAppController -> Session --observers--> player, view, sliders, LCD, memory
//
// A change is told to every observer, in the order they were added, before the setter
// returns. The loop is told even when set to the range it already is (a player takes it
// again and goes back to its start, as after any range edit); the other values only when
// they change.
//
// Thread contract: main thread only, observers included. Ownership: observers are not
// owned and must remove themselves before they go.

#include "session/BeatGrid.h"
#include "session/Harmony.h"
#include "session/LoopRange.h"
#include "session/Recording.h"

#include <QList>
#include <QString>
#include <optional>
#include <vector>

namespace session {

struct SavedLoop {
    QString name;
    LoopRange range;
    bool operator==(const SavedLoop&) const = default;
};

// Silence between the passes of a looped range, with count-in clicks if asked for.
struct PassPause {
    double seconds = 0.0;
    bool countIn = false;
    double beatsPerMinute = 100.0;
    bool operator==(const PassPause&) const = default;
};

class Session;

class SessionObserver {
public:
    virtual ~SessionObserver() = default;
    // Before a new recording replaces the one loaded (not at the first load).
    virtual void recordingWillChange(const Session& /*session*/) {}
    // A new recording is in place, with the values it starts with (whole-file loop, speed
    // 1.0, pitch 0, its saved loops and grid corrections, no grid or harmony until its
    // analysis has run); the other values carry over.
    virtual void recordingChanged(const Session& /*session*/) {}
    virtual void loopChanged(const Session& /*session*/) {}
    virtual void loopingChanged(const Session& /*session*/) {}
    virtual void rateChanged(const Session& /*session*/) {}
    virtual void pitchChanged(const Session& /*session*/) {}
    virtual void volumeChanged(const Session& /*session*/) {}
    virtual void passPauseChanged(const Session& /*session*/) {}
    virtual void savedLoopsChanged(const Session& /*session*/) {}
    // The beat grid found, or its corrections, changed.
    virtual void gridChanged(const Session& /*session*/) {}
    virtual void harmonyChanged(const Session& /*session*/) {}
};

class Session {
public:
    // Speeds in hundredths (the slider's steps), pitch in whole cents, two octaves either way.
    static constexpr double kSlowestRate = 0.10, kFastestRate = 4.00;
    static constexpr int kLowestCents = -2400, kHighestCents = 2400;
    // The keys never make it silent.
    static constexpr double kQuietestVolume = 0.05, kLoudestVolume = 1.0;
    static constexpr double kLongestPassPauseSeconds = 10.0;
    static constexpr double kSlowestCountIn = 30, kFastestCountIn = 300;

    void addObserver(SessionObserver* observer);
    void removeObserver(SessionObserver* observer);

    // Null before the first recording is loaded.
    const Recording* recording() const { return recording_ ? &*recording_ : nullptr; }
    void setRecording(Recording recording, QList<SavedLoop> savedLoops = {},
                      GridCorrection gridCorrection = {});

    LoopRange loop() const { return loop_; }
    // Taken as given: the window passes on what the view holds, inverted or empty.
    void setLoop(LoopRange loop);
    bool isLooping() const { return looping_; }
    void setLooping(bool looping);
    double rate() const { return rate_; }
    // Held to the limits and rounded to hundredths.
    void setRate(double rate);
    int pitchCents() const { return pitchCents_; }
    void setPitchCents(int cents); // held to the limits
    double volume() const { return volume_; }
    void setVolume(double volume); // held to the limits
    const PassPause& passPause() const { return passPause_; }
    void setPassPause(PassPause pause); // held to the limits
    const QList<SavedLoop>& savedLoops() const { return savedLoops_; }
    void setSavedLoops(QList<SavedLoop> loops);

    // The beats and bars as the analysis found them, and as the window shows and uses them
    // (with the corrections applied; empty until the analysis has found beats).
    const BeatGrid& foundGrid() const { return foundGrid_; }
    void setFoundGrid(BeatGrid grid);
    const GridCorrection& gridCorrection() const { return gridCorrection_; }
    void setGridCorrection(GridCorrection correction);
    const BeatGrid& grid() const { return grid_; }
    // Chords, key and tuning as the analysis found them (in the recording's own pitch).
    const Harmony& harmony() const { return harmony_; }
    void setHarmony(Harmony harmony);

private:
    template <typename Change> void tell(Change change) {
        for (SessionObserver* observer : std::vector<SessionObserver*>(observers_))
            (observer->*change)(*this);
    }

    std::vector<SessionObserver*> observers_;
    std::optional<Recording> recording_;
    LoopRange loop_;
    bool looping_ = false;
    double rate_ = 1.0;
    int pitchCents_ = 0;
    double volume_ = 1.0;
    PassPause passPause_;
    QList<SavedLoop> savedLoops_;
    BeatGrid foundGrid_, grid_;
    GridCorrection gridCorrection_;
    Harmony harmony_;
};

} // namespace session
