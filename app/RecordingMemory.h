#pragma once

// What the program remembers of each recording across runs, kept in step with the session:
// the loops saved on it and the corrections of its beat grid (written whenever they
// change) and the speed and pitch it was left at (written when another recording replaces
// it, and when the program ends). Recalled when
// a recording is opened, the speed and pitch only while "Restore Speed and Pitch" is on.
//
// Thread contract: main thread. It adds itself to the session when made and removes itself
// when destroyed.

#include "platform/desktop/LoopStore.h"
#include "session/Session.h"

#include <optional>

class RecordingMemory final : public session::SessionObserver {
public:
    struct Recalled {
        QList<session::SavedLoop> loops;
        std::optional<double> rate;
        std::optional<int> cents;
        session::GridCorrection gridCorrection;
    };

    RecordingMemory(session::Session& session, platform::desktop::LoopStore store);
    ~RecordingMemory() override;

    // What is remembered of the recording known by `key` (nothing for an empty key).
    Recalled recall(const QString& key) const;
    // The recording loaded is left as it stands (the program ends).
    void leave();

    bool restoresSpeedAndPitch() const { return store_.restoresSpeedAndPitch(); }
    void setRestoresSpeedAndPitch(bool restore) { store_.setRestoresSpeedAndPitch(restore); }

    void recordingWillChange(const session::Session& session) override;
    void savedLoopsChanged(const session::Session& session) override;
    void recordingChanged(const session::Session& session) override;
    void gridChanged(const session::Session& session) override;

private:
    void remember(const session::Session& session);

    session::Session& session_;
    platform::desktop::LoopStore store_;
    // The corrections last written, so that a grid found anew writes nothing.
    session::GridCorrection rememberedCorrection_;
};
