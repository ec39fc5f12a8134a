#include "app/RecordingLoader.h"

#include "app/PlayerWindow.h"
#include "app/WorkerMailbox.h"
#include "audio/AudioFilePreflight.h"
#include "platform/desktop/LoopStore.h"

#include <QApplication>
#include <QFileInfo>
#include <QKeyEvent>
#include <atomic>
#include <thread>

// What the worker and the loader share; the loader may be gone when the worker finishes.
struct RecordingLoader::Job {
    explicit Job(RecordingLoader* loader, QString path)
        : path(std::move(path)), mailbox(std::make_shared<WorkerMailbox>(loader)) {}
    void abandon() {
        cancel.store(true);
        mailbox->close();
    }

    const QString path;
    const std::shared_ptr<WorkerMailbox> mailbox;
    std::atomic<bool> cancel{false};
    std::atomic<std::int64_t> framesRead{0};
    std::atomic<std::int64_t> totalFrames{0};
    std::atomic<bool> longFile{false}; // long enough for a bar that fills
    // Written by the worker before it posts.
    std::shared_ptr<LoadedRecording> result;
    QString reason;

    void run(const std::shared_ptr<Job>& self, RecordingLoader* loader) {
        read();
        mailbox->post([self, loader] { loader->finish(self); });
    }

    void read() {
        auto recording = std::make_shared<LoadedRecording>();
        recording->path = path;
        recording->pin = std::make_shared<PinnedRecording>(path.toStdString());
        const std::string reader = recording->pin->readerPath();
        AudioFilePreflight opened;
        recording->file = openCheckedAudioFile(reader, opened);
        platform::OSStatus status = opened.status;
        if (recording->file) {
            totalFrames.store(recording->file->totalFrames());
            longFile.store(totalFrames.load() >
                           std::int64_t(kProgressBarSeconds) * recording->file->sampleRate());
            recording->key = platform::desktop::LoopStore::fileKey(QString::fromStdString(reader));
            recording->waveform = KTWaveform::read(*recording->file, framesRead, cancel, status);
        }
        if (status == platform::noErr)
            result = std::move(recording);
        else
            reason = QString::fromStdString(describeAudioFileStatus(status));
    }
};

RecordingLoader::RecordingLoader(QWidget* window, LoadingSheet* sheet, QObject* parent)
    : QObject(parent), window_(window), sheet_(sheet) {
    connect(&progressTimer_, &QTimer::timeout, this, &RecordingLoader::showProgress);
    connect(sheet_->ui.cancelButton, &QAbstractButton::clicked, this, &RecordingLoader::cancel);
    connect(sheet_, &QDialog::rejected, this, &RecordingLoader::cancel);
}

RecordingLoader::~RecordingLoader() {
    if (job_)
        job_->abandon();
}

void RecordingLoader::load(const QString& path) {
    if (job_)
        job_->abandon();
    else
        qApp->installEventFilter(this);
    auto job = std::make_shared<Job>(this, path);
    job_ = job;

    sheet_->ui.loadingLabel->setText(
        QStringLiteral("Loading %1...").arg(QFileInfo(path).fileName()));
    sheet_->ui.loadingLabel->adjustSize();
    sheet_->ui.loadingIndicator->setRange(0, 0);
    sheet_->fitToLabel();
    sheet_->show();
    progressTimer_.start(kProgressIntervalMilliseconds);
    std::thread([job, this] { job->run(job, this); }).detach();
}

void RecordingLoader::cancel() {
    if (!job_)
        return;
    const QString path = job_->path;
    job_->abandon();
    endLoad();
    emit cancelled(path);
}

void RecordingLoader::finish(const std::shared_ptr<Job>& job) {
    if (job != job_)
        return; // abandoned meanwhile
    endLoad();
    if (job->result)
        emit loaded(job->result);
    else
        emit refused(job->path, job->reason);
}

void RecordingLoader::endLoad() {
    job_.reset();
    progressTimer_.stop();
    qApp->removeEventFilter(this);
    sheet_->hide();
}

// A short file gets a turning spinner; a long one a bar that fills as it is read.
void RecordingLoader::showProgress() {
    if (!job_)
        return;
    if (!job_->longFile.load())
        return;
    const std::int64_t total = job_->totalFrames.load();
    QProgressBar* bar = sheet_->ui.loadingIndicator;
    if (bar->maximum() == 0)
        bar->setRange(0, kProgressSteps);
    const int value = int(kProgressSteps * std::min(job_->framesRead.load(), total) / total);
    if (value != bar->value()) {
        bar->setValue(value);
        // The bar repaints only once its fill has grown by a whole chunk; every step is
        // drawn, so the sheet moves as often as the reading does.
        bar->update();
    }
}

// While a load runs, the window takes no input: the sheet stands for it, as a window-modal
// sheet would. Closing the window is not input here, so it always works.
bool RecordingLoader::eventFilter(QObject* watched, QEvent* event) {
    switch (event->type()) {
    case QEvent::MouseButtonPress:
    case QEvent::MouseButtonRelease:
    case QEvent::MouseButtonDblClick:
    case QEvent::Wheel:
    case QEvent::KeyPress:
    case QEvent::KeyRelease:
    case QEvent::ShortcutOverride:
    case QEvent::DragEnter:
    case QEvent::DragMove:
    case QEvent::Drop:
    case QEvent::ContextMenu:
    case QEvent::NativeGesture:
        break;
    default:
        return false;
    }
    auto* widget = qobject_cast<QWidget*>(watched);
    if (!widget || widget->window() != window_)
        return false;
    // An accepted override keeps the key from the window's shortcuts; the key itself is
    // then dropped as it arrives.
    event->accept();
    return true;
}
