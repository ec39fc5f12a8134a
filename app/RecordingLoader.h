#pragma once

// Opening a recording, from the request to a file ready to put in place: the loading
// sheet ("Loading NAME..." with a spinner, or a bar that fills for a long file, and
// Cancel), and a worker thread that holds the file open, checks it, opens it, works out
// what it is remembered by and reduces it to peak data.
//
// The window never waits for the file: everything that touches it runs on the worker, so a
// share that stops answering holds only the worker. Cancel, a newer request or closing the
// window abandon the load at once; an abandoned worker finishes (or stays blocked on its
// share) on its own and its result is dropped. While a load runs the window takes no input
// but Close; the sheet takes Cancel and Escape.
//
//   load(path) -> sheet -> [worker: pin, check, open, key, peaks] -> loaded(...) or
//   refused(path, reason) or nothing (cancelled)
//
// Thread contract: main thread. The worker shares only its own job with the loader.

#include "audio/KTAudioFile.h"
#include "audio/KTWaveform.h"
#include "audio/PinnedRecording.h"

#include <QObject>
#include <QString>
#include <QTimer>
#include <memory>

class LoadingSheet;
class QWidget;

// A recording opened and read, ready to be put in place.
struct LoadedRecording {
    QString path; // as the user chose it
    std::shared_ptr<PinnedRecording> pin;
    std::shared_ptr<KTAudioFile> file;
    std::unique_ptr<KTWaveform> waveform;
    QString key; // what the recording is remembered by
};

class RecordingLoader : public QObject {
    Q_OBJECT

public:
    // Files longer than this get a bar that fills instead of a spinner.
    static constexpr int kProgressBarSeconds = 60;
    static constexpr int kProgressSteps = 1000;
    static constexpr int kProgressIntervalMilliseconds = 50;

    RecordingLoader(QWidget* window, LoadingSheet* sheet, QObject* parent = nullptr);
    ~RecordingLoader() override;

    // Starts loading `path`; a load under way is abandoned for it.
    void load(const QString& path);
    // Abandons the load under way, if any, and takes the sheet down.
    void cancel();
    bool isLoading() const { return job_ != nullptr; }

signals:
    void loaded(const std::shared_ptr<LoadedRecording>& recording);
    void refused(const QString& path, const QString& reason);
    void cancelled(const QString& path);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    struct Job;
    void finish(const std::shared_ptr<Job>& job);
    void showProgress();
    void endLoad();

    QWidget* window_;
    LoadingSheet* sheet_;
    QTimer progressTimer_;
    std::shared_ptr<Job> job_;
};
