#include "app/RecordingMemory.h"

#include <cmath>

using session::SavedLoop;
using session::Session;

RecordingMemory::RecordingMemory(Session& session, platform::desktop::LoopStore store)
    : session_(session), store_(std::move(store)) {
    session_.addObserver(this);
}

RecordingMemory::~RecordingMemory() {
    session_.removeObserver(this);
}

RecordingMemory::Recalled RecordingMemory::recall(const QString& key) const {
    if (key.isEmpty())
        return {};
    const platform::desktop::RecordingMemory memory = store_.recall(key);
    Recalled recalled;
    for (const platform::desktop::SavedLoop& loop : memory.loops)
        recalled.loops.push_back(
            {loop.name, {std::int32_t(loop.startFrame), std::int32_t(loop.endFrame)}});
    if (memory.grid) {
        const platform::desktop::GridMemory& grid = *memory.grid;
        recalled.gridCorrection = {grid.offsetSeconds, grid.tempoDoublings, grid.beatsPerBar,
                                   grid.firstBeatSeconds, grid.tappedTempoBpm};
    }
    if (store_.restoresSpeedAndPitch()) {
        recalled.rate = memory.rate;
        if (memory.cents)
            recalled.cents = int(std::lround(*memory.cents));
    }
    return recalled;
}

void RecordingMemory::leave() {
    if (session_.recording())
        remember(session_);
}

void RecordingMemory::recordingWillChange(const Session& session) {
    remember(session);
}

void RecordingMemory::savedLoopsChanged(const Session& session) {
    remember(session);
}

void RecordingMemory::recordingChanged(const Session& session) {
    rememberedCorrection_ = session.gridCorrection();
}

void RecordingMemory::gridChanged(const Session& session) {
    if (session.gridCorrection() != rememberedCorrection_)
        remember(session);
}

void RecordingMemory::remember(const Session& session) {
    const session::Recording* recording = session.recording();
    if (!recording || recording->key.isEmpty())
        return;
    platform::desktop::RecordingMemory memory;
    for (const SavedLoop& loop : session.savedLoops())
        memory.loops.push_back({loop.name, loop.range.start, loop.range.end});
    memory.rate = session.rate();
    memory.cents = session.pitchCents();
    if (const session::GridCorrection& grid = session.gridCorrection(); !grid.isNone())
        memory.grid =
            platform::desktop::GridMemory{grid.offsetSeconds, grid.tempoDoublings, grid.beatsPerBar,
                                          grid.firstBeatAt, grid.tappedTempoBpm};
    rememberedCorrection_ = session.gridCorrection();
    store_.remember(recording->key, recording->path, memory);
}
