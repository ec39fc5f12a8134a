#include "app/NoteStripFeed.h"

#include "analysis/tonal/NoteSpectrumReader.h"
#include "audio/PinnedRecording.h"

#include <QMetaObject>
#include <algorithm>
#include <atomic>
#include <cmath>
#include <condition_variable>
#include <ctime>
#include <mutex>
#include <optional>
#include <thread>

namespace {

constexpr double kShownDecibels = 60.0; // the quietest level drawn is this far below full scale

float levelFor(float amplitude) {
    if (amplitude <= 0.0f)
        return 0.0f;
    const double level = 1.0 + 20.0 * std::log10(double(amplitude)) / kShownDecibels;
    return float(std::clamp(level, 0.0, 1.0));
}

double threadProcessorSeconds() {
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return double(now.tv_sec) + 1e-9 * double(now.tv_nsec);
}

struct Request {
    std::int64_t frame = 0;
    double shiftCents = 0, tuningCents = 0;
};

} // namespace

NoteStripView::Spectrum heardSpectrum(std::span<const float> fineBins,
                                      const tonal::NoteSpectrum& notes, double shiftCents,
                                      double tuningCents) {
    NoteStripView::Spectrum spectrum;
    spectrum.binsPerSemitone = tonal::kBinsPerSemitone;
    spectrum.levels.assign(std::size_t(tonal::kFineBinCount), 0.0f);
    const auto last = double(fineBins.size()) - 1;
    for (std::size_t i = 0; i < spectrum.levels.size() && !fineBins.empty(); ++i) {
        // Level i sounds i fine bins above C1 as heard: the recording's sound that far
        // less the shift, on keys that sit `tuningCents` off A440.
        const double audioCents = double(i) * tonal::kCentsPerFineBin - shiftCents + tuningCents;
        const double bin = tonal::centsToFineBin(audioCents);
        if (bin < 0 || bin > last)
            continue;
        const auto below = std::size_t(bin);
        const std::size_t above = std::min(below + 1, fineBins.size() - 1);
        const double weight = bin - double(below);
        spectrum.levels[i] = levelFor(
            float((1.0 - weight) * double(fineBins[below]) + weight * double(fineBins[above])));
    }
    for (const int key : notes.strongestKeys)
        spectrum.litNotes.push_back(tonal::kLowestKeyMidi + key);
    return spectrum;
}

struct NoteStripFeed::Shared {
    using Recording = std::shared_ptr<const PinnedRecording>;
    std::mutex lock;
    std::condition_variable wake;
    // Under lock.
    std::optional<Request> pending;
    Recording recording;
    int recordingNumber = 0; // counts setRecording calls
    NoteStripFeed* receiver = nullptr;
    std::atomic<double> workerSeconds{0.0};

    bool take(Request& asked, std::optional<Recording>& changed, int& readerNumber);
    void run();
};

// Waits for a request and takes it; with it, the recording to read when it changed since
// `readerNumber`. False when the feed has gone.
bool NoteStripFeed::Shared::take(Request& asked, std::optional<Recording>& changed,
                                 int& readerNumber) {
    std::unique_lock guard(lock);
    wake.wait(guard, [this] { return pending || !receiver; });
    if (!receiver)
        return false;
    asked = *pending;
    pending.reset();
    if (readerNumber != recordingNumber) {
        changed = recording;
        readerNumber = recordingNumber;
    }
    return true;
}

// The worker's loop: takes the latest request, opens the recording when it changed, reads
// the spectrum and posts it, unless the feed has gone or the recording changed meanwhile.
void NoteStripFeed::Shared::run() {
    std::unique_ptr<tonal::NoteSpectrumReader> reader;
    Recording held; // keeps the reader's file reachable
    int readerNumber = -1;
    for (;;) {
        Request asked;
        std::optional<Recording> changed;
        if (!take(asked, changed, readerNumber))
            return;
        // Closing and opening files happen outside the lock: they may wait on a share.
        if (changed) {
            reader.reset();
            held = std::move(*changed);
        }
        if (!reader && held)
            reader = std::make_unique<tonal::NoteSpectrumReader>(held->readerPath());
        tonal::NoteSpectrum notes;
        if (!reader || !reader->isOpen() ||
            !reader->spectrumAt(asked.frame, asked.shiftCents, notes, asked.tuningCents))
            continue;
        NoteStripView::Spectrum heard =
            heardSpectrum(reader->fineBins(), notes, asked.shiftCents, asked.tuningCents);
        workerSeconds.store(threadProcessorSeconds());
        std::lock_guard guard(lock);
        if (!receiver)
            return;
        if (readerNumber != recordingNumber)
            continue;
        // Posted under the lock the feed's destructor takes: a deleted receiver's posted
        // calls are discarded with it, and none is posted after.
        NoteStripFeed* feed = receiver;
        QMetaObject::invokeMethod(
            feed,
            [feed, heard = std::move(heard), frame = asked.frame] {
                emit feed->spectrumReady(heard, frame);
            },
            Qt::QueuedConnection);
    }
}

NoteStripFeed::NoteStripFeed(QObject* parent)
    : QObject(parent), shared_(std::make_shared<Shared>()) {
    shared_->receiver = this;
    std::thread([shared = shared_] { shared->run(); }).detach();
}

NoteStripFeed::~NoteStripFeed() {
    {
        std::lock_guard guard(shared_->lock);
        shared_->receiver = nullptr;
        shared_->pending.reset();
    }
    shared_->wake.notify_all();
}

void NoteStripFeed::setRecording(std::shared_ptr<const PinnedRecording> recording) {
    std::lock_guard guard(shared_->lock);
    shared_->recording = std::move(recording);
    ++shared_->recordingNumber;
    shared_->pending.reset();
}

double NoteStripFeed::workerProcessorSeconds() const {
    return shared_->workerSeconds.load();
}

void NoteStripFeed::request(std::int64_t frame, double shiftCents, double tuningCents) {
    {
        std::lock_guard guard(shared_->lock);
        if (!shared_->recording)
            return;
        shared_->pending = Request{frame, shiftCents, tuningCents};
    }
    shared_->wake.notify_one();
}
