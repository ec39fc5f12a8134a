#include "app/LoopExport.h"

#include "app/FileRefusal.h"
#include "audio/AudioFilePreflight.h"
#include "platform/audio_export/AudioEncoder.h"

#include <QFileDialog>
#include <QFileInfo>
#include <QMessageBox>
#include <QProgressDialog>
#include <QTimer>

namespace {

struct SaveFilter {
    const char* text;
    const char* extension;
    bool wav16;
};

const SaveFilter kFilters[] = {
    {"WAV, 32-bit float (*.wav)", ".wav", false},
    {"WAV, 16-bit (*.wav)", ".wav", true},
    {"FLAC (*.flac)", ".flac", false},
    {"MP3 (*.mp3)", ".mp3", false},
};

constexpr int kProgressIntervalMilliseconds = 50;

} // namespace

LoopExport::LoopExport(QWidget* window_, QObject* parent)
    : QObject(parent), window(window_), progressTimer(new QTimer(this)) {
    connect(progressTimer, &QTimer::timeout, this, [this] {
        if (sheet)
            sheet->setValue(int(progress.load() * (kProgressSteps - 1)));
    });
}

LoopExport::~LoopExport() {
    cancelRequested.store(true);
    if (worker.joinable())
        worker.join();
}

void LoopExport::chooseFileAndExport(std::shared_ptr<const PinnedRecording> recording,
                                     int sampleRate, const playback::LoopRenderSettings& loop) {
    auto* panel = new QFileDialog(window, QStringLiteral("Export Loop"));
    panel->setAcceptMode(QFileDialog::AcceptSave);
    QStringList filters;
    for (const SaveFilter& filter : kFilters)
        filters << QString::fromLatin1(filter.text);
    panel->setNameFilters(filters);
    const QFileInfo source(QString::fromStdString(recording->path()));
    panel->setDirectory(source.absolutePath());
    panel->selectFile(source.completeBaseName() + QStringLiteral(" - loop.wav"));
    panel->setWindowModality(Qt::WindowModal);
    panel->setAttribute(Qt::WA_DeleteOnClose);
    connect(panel, &QFileDialog::finished, this,
            [this, panel, recording, sampleRate, loop](int result) {
                if (result != QDialog::Accepted || panel->selectedFiles().isEmpty())
                    return;
                const int chosen = int(panel->nameFilters().indexOf(panel->selectedNameFilter()));
                const SaveFilter& filter = kFilters[std::max(chosen, 0)];
                QString target = panel->selectedFiles().first();
                if (QFileInfo(target).suffix().isEmpty())
                    target += QString::fromLatin1(filter.extension);
                exportTo(recording, sampleRate, target, filter.wav16, loop);
            });
    panel->open();
}

void LoopExport::exportTo(std::shared_ptr<const PinnedRecording> recording, int sampleRate,
                          const QString& target, bool wav16,
                          const playback::LoopRenderSettings& loop) {
    if (isExporting())
        return;
    const auto format = platform::exportFormatForPath(target.toStdString(), wav16);
    if (!format) {
        fail(target, QStringLiteral("Study Loop writes WAV, FLAC and MP3 files: name the file "
                                    ".wav, .flac or .mp3"));
        return;
    }
    const QFileInfo source(QString::fromStdString(recording->path())), destination(target);
    if (destination.exists() && destination.canonicalFilePath() == source.canonicalFilePath()) {
        fail(target, QStringLiteral("it is the recording itself, which Study Loop never changes"));
        return;
    }

    showProgressSheet(destination.fileName());
    startRender(std::move(recording), sampleRate, target, *format, loop);
}

void LoopExport::showProgressSheet(const QString& name) {
    sheet = new QProgressDialog(QStringLiteral("Exporting “%1”...").arg(name),
                                QStringLiteral("Cancel"), 0, kProgressSteps, window);
    sheet->setWindowModality(Qt::WindowModal);
    sheet->setMinimumDuration(0);
    sheet->setAutoClose(false);
    sheet->setAutoReset(false);
    sheet->setAttribute(Qt::WA_DeleteOnClose);
    connect(sheet, &QProgressDialog::canceled, this, [this] { cancelRequested.store(true); });
    sheet->setValue(0);
    sheet->open();
    progress.store(0.0);
    progressTimer->start(kProgressIntervalMilliseconds);
}

void LoopExport::startRender(std::shared_ptr<const PinnedRecording> recording, int sampleRate,
                             const QString& target, platform::ExportFormat format,
                             const playback::LoopRenderSettings& loop) {
    cancelRequested.store(false);
    target_ = target;
    recording_ = QString::fromStdString(recording->path());
    written_ = false;
    error_.clear();
    recordingStatus_ = platform::noErr;
    worker = std::thread([this, recording, path = target.toStdString(), format, loop, sampleRate] {
        platform::AudioEncoder encoder;
        if (encoder.open(path, format, sampleRate)) {
            const playback::RenderOutcome outcome = playback::renderLoop(
                recording->readerPath(), loop,
                [&](const float* frames, std::uint32_t count) {
                    return !cancelRequested.load() && encoder.write(frames, count);
                },
                &progress, &recordingStatus_);
            if (outcome == playback::RenderOutcome::Finished)
                written_ = encoder.finish();
            else
                encoder.abandon();
        }
        error_ = encoder.error();
        QMetaObject::invokeMethod(this, &LoopExport::workerDone, Qt::QueuedConnection);
    });
}

void LoopExport::workerDone() {
    worker.join();
    progressTimer->stop();
    if (sheet)
        sheet->close();
    const QString target = std::exchange(target_, QString());
    if (recordingStatus_ != platform::noErr)
        refuseRecording(recording_,
                        QString::fromStdString(describeAudioFileStatus(recordingStatus_)));
    else if (written_)
        emit finished(target);
    else if (cancelRequested.load() && error_.empty())
        emit cancelled(target);
    else
        fail(target, QString::fromStdString(error_));
}

void LoopExport::refuseRecording(const QString& recording, const QString& reason) {
    showFileRefusal(window, recording, reason);
    emit failed(recording, reason);
}

void LoopExport::fail(const QString& target, const QString& reason) {
    showWriteFailure(window, target, reason);
    emit failed(target, reason);
}
