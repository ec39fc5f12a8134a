#pragma once

// The analysis of the recording in the window, run in the background as soon as its
// waveform shows: beats, bars, tempo and meter, chords, key and tuning. Playback and every
// command stay live meanwhile; a small mark in the status area shows how far it has got and
// goes when it ends. What it finds goes into the session (the found grid and the harmony),
// which tells the window. A failed analysis leaves no grid and says nothing.
//
//   recordingChanged -> job (worker) --progress, polled--> "Analysing 40 %"
//                            \--finished, posted--> session.setFoundGrid, setHarmony
//
// Opening another file cancels the job under way without waiting for it: the job (whose
// destructor joins its worker) is handed to a thread of its own that lets it finish,
// so a worker stuck on a share that stopped answering never holds the window. Its result
// is dropped: a job reports only through its own mailbox, closed when it is dropped.
//
// Thread contract: main thread. It adds itself to the session when made and removes itself
// when destroyed.

#include "session/Session.h"

#include <QObject>
#include <QTimer>
#include <memory>

namespace analysis {
class AnalysisJob;
struct RecordingAnalysis;
} // namespace analysis
class QLabel;
class WorkerMailbox;

class BackgroundAnalysis : public QObject, public session::SessionObserver {
    Q_OBJECT

public:
    static constexpr int kProgressIntervalMilliseconds = 200;

    // `status` is the mark in the status area, hidden while nothing runs.
    BackgroundAnalysis(session::Session& session, QLabel* status, QObject* parent = nullptr);
    ~BackgroundAnalysis() override;

    bool isRunning() const { return job_ != nullptr; }
    // Drops the job under way, if any, without waiting for it.
    void cancel();

    void recordingWillChange(const session::Session& session) override;
    void recordingChanged(const session::Session& session) override;

signals:
    // An analysis ended and what it found is in the session (or nothing, if it failed).
    void finished(const QString& path);

private:
    void start(const QString& path);
    void finish(const QString& path);
    void showProgress();

    session::Session& session_;
    QLabel* status_;
    QTimer progressTimer_;
    std::unique_ptr<analysis::AnalysisJob> job_;
    std::shared_ptr<WorkerMailbox> mailbox_;
};

// The rhythm and the tonality found, as the session keeps them.
session::BeatGrid sessionGrid(const analysis::RecordingAnalysis& found);
session::Harmony sessionHarmony(const analysis::RecordingAnalysis& found);
