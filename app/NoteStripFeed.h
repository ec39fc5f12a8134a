#pragma once

// The note strip's supply of spectra: the note spectrum around a playhead position, read
// from the recording on a worker thread of the feed's own and handed back to the main
// thread ready to draw (the keys as heard, after the pitch shift).
//
//   main: request(frame, shift, tuning) --latest only--> worker: open, decode, constant-Q
//   main: spectrumReady(spectrum) <--queued, unless the feed is gone-- worker
//
// Requests do not queue: a request made while the worker is busy replaces the one waiting,
// so a worker slower than the display skips positions instead of falling behind, and a
// worker held by a share that stopped answering holds nothing but itself. The file is only
// ever opened and read on the worker; the main thread never waits for it, and destroying
// the feed never joins a busy worker (it finishes, or stays blocked, on its own and its
// result is dropped).
//
// Thread contract: make, call and destroy on the main thread; spectrumReady is emitted
// there. The worker owns its reader and shares only the request slot with the feed.

#include "note_strip/NoteStripView.h"

#include <QObject>
#include <cstdint>
#include <memory>
#include <span>

class PinnedRecording;

namespace tonal {
struct NoteSpectrum;
}

// The strip's picture of one spectrum: the fine constant-Q bins moved to the keys as
// heard (a bin of the recording at c cents sounds at c + shift, and the keys follow the
// recording's tuning), in levels 0..1 over 60 dB, with the spectrum's strongest keys lit.
NoteStripView::Spectrum heardSpectrum(std::span<const float> fineBins,
                                      const tonal::NoteSpectrum& notes, double shiftCents,
                                      double tuningCents);

class NoteStripFeed : public QObject {
    Q_OBJECT

public:
    explicit NoteStripFeed(QObject* parent = nullptr);
    ~NoteStripFeed() override;

    // The recording to read from; null stops reading. A request waiting for the recording
    // before is dropped.
    void setRecording(std::shared_ptr<const PinnedRecording> recording);
    // The spectrum around file frame `frame`, keys shifted by `shiftCents` and moved by
    // the recording's `tuningCents`. Replaces any request not yet started.
    void request(std::int64_t frame, double shiftCents, double tuningCents);
    // The processor time the worker has spent so far, as of its last spectrum (for the
    // benchmark). Any thread.
    double workerProcessorSeconds() const;

signals:
    // The spectrum of the latest request the worker took, for `frame`.
    void spectrumReady(const NoteStripView::Spectrum& spectrum, std::int64_t frame);

private:
    struct Shared;
    std::shared_ptr<Shared> shared_;
};
