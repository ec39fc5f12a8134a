#pragma once

// File > Export Loop...: the loop as it is heard, at the current speed and pitch, written
// to WAV (32-bit float or 16-bit), FLAC or MP3. A save panel (a sheet) asks where; the loop
// is then rendered by the same engine that plays it, through an offline device, on a
// thread of its own, behind a window-modal progress sheet with Cancel. Playback in the
// window goes on meanwhile. A cancelled or failed export leaves no file (a finished one
// replaces the target only when it is complete), and the recording itself is only read.
// The recording is read through its pinned descriptor, so a recording renamed or moved
// since it was opened exports as it plays; one that cannot be read any more gets the
// message any unreadable file gets.
//
// Thread contract: main thread; the render runs on a worker thread of its own, which the
// destructor stops and waits for.

#include "audio/PinnedRecording.h"
#include "platform/audio_export/AudioEncoder.h"
#include "playback/OfflineRender.h"

#include <QObject>
#include <QPointer>
#include <QProgressDialog>
#include <atomic>
#include <memory>
#include <thread>

class QTimer;
class QWidget;

class LoopExport : public QObject {
    Q_OBJECT

public:
    static constexpr int kProgressSteps = 1000;

    explicit LoopExport(QWidget* window, QObject* parent = nullptr);
    ~LoopExport() override;

    // Asks for a file with the save panel, then exports the loop of `recording` (whose rate
    // is `sampleRate`, that of the file written) there.
    void chooseFileAndExport(std::shared_ptr<const PinnedRecording> recording, int sampleRate,
                             const playback::LoopRenderSettings& loop);
    // Exports straight to `target` in the format its name asks for (`wav16`: a .wav as
    // 16-bit). A failure shows a message and emits failed().
    void exportTo(std::shared_ptr<const PinnedRecording> recording, int sampleRate,
                  const QString& target, bool wav16, const playback::LoopRenderSettings& loop);
    bool isExporting() const { return worker.joinable(); }
    // The progress sheet while an export runs.
    QProgressDialog* progressSheet() const { return sheet; }

signals:
    void finished(const QString& target);
    void cancelled(const QString& target);
    void failed(const QString& target, const QString& reason);

private:
    void fail(const QString& target, const QString& reason);
    void refuseRecording(const QString& recording, const QString& reason);
    void showProgressSheet(const QString& name);
    void startRender(std::shared_ptr<const PinnedRecording> recording, int sampleRate,
                     const QString& target, platform::ExportFormat format,
                     const playback::LoopRenderSettings& loop);
    void workerDone();

    QWidget* window;
    QPointer<QProgressDialog> sheet;
    QTimer* progressTimer;
    std::thread worker;
    std::atomic<bool> cancelRequested{false};
    std::atomic<double> progress{0.0};
    // Set by the worker before it says it is done.
    QString target_;
    QString recording_;
    std::string error_;
    platform::OSStatus recordingStatus_ = platform::noErr; // when it could not be read
    bool written_ = false;
};
