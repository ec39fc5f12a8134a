#include "app/BackgroundAnalysis.h"

#include "analysis/recording/AnalysisJob.h"
#include "app/WorkerMailbox.h"

#include <QLabel>
#include <chrono>
#include <cmath>
#include <condition_variable>
#include <cstdlib>
#include <mutex>
#include <thread>

namespace {

// Jobs being dropped. A job's destructor cancels it and joins its worker, which may take a
// while (or never end, on a share that stopped answering): a thread of its own does that,
// not the window. The program's exit waits for them, since a worker may be decoding with
// libraries that exit tears down; the workers run at the lowest priority, so on a busy
// machine a cancelled one can take seconds to reach its next check. The wait ends after
// kExitWait all the same: a worker stuck on a share is left to the exit. Made once and never
// destroyed, so a thread that outlives the wait still finds it.
class JobReaper {
public:
    static constexpr std::chrono::milliseconds kExitWait{30000};

    static JobReaper& shared() {
        static JobReaper* reaper = [] {
            auto* made = new JobReaper;
            std::atexit([] { shared().waitForAll(); });
            return made;
        }();
        return *reaper;
    }

    void reap(std::unique_ptr<analysis::AnalysisJob> job) {
        job->cancel();
        {
            std::lock_guard guard(lock_);
            ++running_;
        }
        std::thread([this, job = std::move(job)]() mutable {
            job.reset();
            std::lock_guard guard(lock_);
            --running_;
            ended_.notify_all();
        }).detach();
    }

private:
    void waitForAll() {
        std::unique_lock guard(lock_);
        ended_.wait_for(guard, kExitWait, [this] { return running_ == 0; });
    }

    std::mutex lock_;
    std::condition_variable ended_;
    int running_ = 0; // under lock_
};

void dropJob(std::unique_ptr<analysis::AnalysisJob> job) {
    if (job)
        JobReaper::shared().reap(std::move(job));
}

} // namespace

BackgroundAnalysis::BackgroundAnalysis(session::Session& session, QLabel* status, QObject* parent)
    : QObject(parent), session_(session), status_(status) {
    progressTimer_.setInterval(kProgressIntervalMilliseconds);
    connect(&progressTimer_, &QTimer::timeout, this, &BackgroundAnalysis::showProgress);
    status_->hide();
    session_.addObserver(this);
}

BackgroundAnalysis::~BackgroundAnalysis() {
    session_.removeObserver(this);
    cancel();
}

void BackgroundAnalysis::cancel() {
    if (mailbox_)
        mailbox_->close();
    mailbox_.reset();
    dropJob(std::move(job_));
    progressTimer_.stop();
    status_->hide();
}

void BackgroundAnalysis::recordingWillChange(const session::Session& /*session*/) {
    cancel();
}

void BackgroundAnalysis::recordingChanged(const session::Session& session) {
    start(session.recording()->path);
}

void BackgroundAnalysis::start(const QString& path) {
    cancel();
    mailbox_ = std::make_shared<WorkerMailbox>(this);
    // Only this job's mailbox carries its end; a job dropped since has its mailbox closed.
    job_ = std::make_unique<analysis::AnalysisJob>(
        path.toStdString(),
        [mailbox = mailbox_, this, path] { mailbox->post([this, path] { finish(path); }); });
    status_->setText(QStringLiteral("Analysing"));
    status_->show();
    progressTimer_.start();
}

void BackgroundAnalysis::showProgress() {
    if (job_)
        status_->setText(
            QStringLiteral("Analysing %1 %").arg(int(std::lround(job_->progress() * 100.0))));
}

void BackgroundAnalysis::finish(const QString& path) {
    if (!job_)
        return;
    const analysis::RecordingAnalysis found = job_->takeResult();
    // The worker has reported and is on its way out; the drop does not wait for it either.
    cancel();
    const session::Recording* recording = session_.recording();
    if (found.status == analysis::AnalysisStatus::Done && recording && recording->path == path) {
        session_.setFoundGrid(sessionGrid(found));
        session_.setHarmony(sessionHarmony(found));
    }
    emit finished(path);
}

session::BeatGrid sessionGrid(const analysis::RecordingAnalysis& found) {
    session::BeatGrid grid;
    if (found.rhythm.beats.empty())
        return grid;
    grid.tempoBpm = found.rhythm.tempoBpm;
    grid.beatsPerBar = found.rhythm.beatsPerBar;
    grid.beats.reserve(found.rhythm.beats.size());
    for (const analysis::Beat& beat : found.rhythm.beats)
        grid.beats.push_back({beat.seconds, beat.bar, beat.beatInBar});
    return grid;
}

session::Harmony sessionHarmony(const analysis::RecordingAnalysis& found) {
    session::Harmony harmony;
    const tonal::TonalResult& tonality = found.tonality;
    harmony.key = tonal::keyName(tonality.key);
    harmony.tuningCents = tonality.tuningCents;
    harmony.chords.reserve(tonality.chords.size());
    for (const tonal::ChordSpan& span : tonality.chords)
        harmony.chords.push_back({span.startSeconds, span.endSeconds, tonality.chordName(span)});
    return harmony;
}
