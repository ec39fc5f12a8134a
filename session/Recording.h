#pragma once

// A recording as the session holds it: the file the user chose, held open for every
// reader, the open file the player reads, and what the recording is remembered by.
//
// Thread contract: immutable once made; the file objects have their own contracts.

#include "audio/KTAudioFile.h"
#include "audio/PinnedRecording.h"

#include <QString>
#include <memory>

namespace session {

struct Recording {
    QString path; // as the user chose it: titles, recent files, messages
    QString key;  // what its memory is kept under; empty when it could not be worked out
    std::shared_ptr<PinnedRecording> pin;
    std::shared_ptr<KTAudioFile> file;

    std::int32_t totalFrames() const { return std::int32_t(file->totalFrames()); }
    int sampleRate() const { return file->sampleRate(); }
    // Seconds as shown to the user: single precision, frames over the integer rate.
    float secondsAt(std::int32_t frame) const {
        const int rate = sampleRate();
        return rate > 0 ? float(frame) / float(rate) : 0.0f;
    }
    std::int32_t framesFor(double seconds) const;
};

} // namespace session
