// studyloop-app-bench DEMO.wav LONG.flac: the application window's figures, in one process
// with the real window (under Xvfb) and the real sound server, each against a reference
// measured in the same run.
//
// - Opening a 60-minute file through the open flow, until the controls are enabled,
//   against reading and reducing the same file without a window (what studyloop-inspect
//   does); and the longest gap between two repaints of the loading sheet meanwhile.
// - Space to the first sound heard on the null sink's monitor, for the first play of the
//   session and for a later one, against a volume step on a playing queue (the way out
//   through the ring, the device and the recording alone).

#include "app/KTAppController.h"
#include "app/PlayerWindow.h"
#include "audio/KTAudioFile.h"
#include "audio/KTWaveform.h"
#include "bench/playback/MonitorCapture.h"
#include "platform/audio_queue/AudioQueue.h"

#include <QApplication>
#include <QElapsedTimer>
#include <QTest>
#include <QThread>
#include <algorithm>
#include <cmath>
#include <cstdio>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

double ms(Clock::duration d) {
    return std::chrono::duration<double, std::milli>(d).count();
}

void pump(int milliseconds) {
    const auto end = Clock::now() + std::chrono::milliseconds(milliseconds);
    while (Clock::now() < end) {
        QCoreApplication::processEvents();
        QThread::msleep(2);
    }
}

// The times at which anything in one window (the window or a widget in it) was painted.
class PaintClock : public QObject {
public:
    explicit PaintClock(QWidget* window) : window_(window) {}
    std::vector<Clock::time_point> paints;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (event->type() == QEvent::Paint && watched->isWidgetType() &&
            static_cast<QWidget*>(watched)->window() == window_ &&
            (paints.empty() || Clock::now() - paints.back() > std::chrono::milliseconds(1)))
            paints.push_back(Clock::now());
        return QObject::eventFilter(watched, event);
    }

private:
    QWidget* window_;
};

// The first captured frame after `t0` where the sound is above `level` for 5 ms.
double heardAfter(const MonitorCapture& capture, Clock::time_point t0, double level) {
    const auto& x = capture.samples();
    const std::size_t rate = std::size_t(capture.sampleRate());
    const std::size_t window = rate / 200;
    for (std::size_t f = capture.frameAt(t0 - std::chrono::milliseconds(20));
         f + window < capture.frameCount(); f += rate / 1000) {
        double sum = 0;
        for (std::size_t i = f; i < f + window; ++i)
            sum += double(x[i]) * x[i];
        if (std::sqrt(sum / double(window)) > level)
            return ms(capture.timeOfFrame(f) - t0);
    }
    return -1;
}

void line(const char* what, double value, const char* unit, const char* target, double reference,
          const char* referenceName) {
    std::printf("%-44s %9.1f %s  %-16s reference (%s) %8.1f %s  ratio %5.2f\n", what, value, unit,
                target, referenceName, reference, unit, reference > 0 ? value / reference : 0.0);
}

} // namespace

int main(int argc, char** argv) {
    QApplication application(argc, argv);
    if (argc != 3) {
        std::fprintf(stderr, "usage: studyloop-app-bench DEMO.wav LONG.flac\n");
        return 2;
    }
    const QString demo = QString::fromLocal8Bit(argv[1]);
    const QString longFile = QString::fromLocal8Bit(argv[2]);

    PlayerWindow window;
    KTAppController controller(&window);
    controller.applicationDidFinishLaunching();
    window.show();
    if (!QTest::qWaitForWindowExposed(&window))
        return 1;

    // Opening the long file, against reading it without a window; the file is read once
    // first, so both find it in the page cache.
    const auto readAndReduce = [&longFile] {
        const KTAudioFile file(longFile.toStdString());
        const KTWaveform waveform(longFile.toStdString());
    };
    readAndReduce();
    QElapsedTimer timer;
    timer.start();
    readAndReduce();
    const double readAlone = double(timer.nsecsElapsed()) / 1e6;
    PaintClock sheetPaints(window.progressSheet);
    application.installEventFilter(&sheetPaints);
    const auto openStart = Clock::now();
    controller.openFileWithURL(QUrl::fromLocalFile(longFile));
    const double openFlow = ms(Clock::now() - openStart);
    application.removeEventFilter(&sheetPaints);
    double longestGap = 0;
    for (std::size_t i = 1; i < sheetPaints.paints.size(); ++i)
        longestGap = std::max(longestGap, ms(sheetPaints.paints[i] - sheetPaints.paints[i - 1]));
    const double firstPaint =
        sheetPaints.paints.empty() ? -1 : ms(sheetPaints.paints.front() - openStart);
    std::printf("open of a 60-minute FLAC (%lld frames), %zu repaints of the loading sheet\n",
                static_cast<long long>(controller.audioFile()->totalFrames()),
                sheetPaints.paints.size());
    line("open flow until the controls are enabled", openFlow, "ms", "", readAlone,
         "read + reduce");
    line("longest gap between sheet repaints", longestGap, "ms", "(target <= 100)", openFlow,
         "whole open");
    line("first sheet repaint after the open began", firstPaint, "ms", "", openFlow, "whole open");

    // Space to sound.
    MonitorCapture capture(44100, 60);
    if (!capture.start()) {
        std::printf("no capture of the monitor: is PulseAudio running with sink \"null\"?\n");
        return 1;
    }
    // A fresh recording stream may take a second or two before the server feeds it.
    for (int waited = 0; capture.frameCount() < 4410 && waited < 5000; waited += 50)
        pump(50);
    if (capture.frameCount() < 4410) {
        std::printf("the recording of the monitor delivers nothing\n");
        return 1;
    }
    controller.openFileWithURL(QUrl::fromLocalFile(demo));
    // Space is a menu shortcut, which Qt takes only in the active window.
    window.activateWindow();
    if (!QTest::qWaitForWindowActive(&window))
        std::printf("the window did not become active; Space will not reach it\n");
    pump(800);
    const auto firstPress = Clock::now();
    QTest::keyClick(&window, Qt::Key_Space);
    pump(3000);
    const double firstDelay = heardAfter(capture, firstPress, 0.02);
    QTest::keyClick(&window, Qt::Key_Space); // pause
    pump(800);
    const auto secondPress = Clock::now();
    QTest::keyClick(&window, Qt::Key_Space);
    pump(1500);
    const double secondDelay = heardAfter(capture, secondPress, 0.02);

    // Reference: a volume step on the playing queue.
    const platform::AudioQueueRef queue = controller.player()->audioQueue();
    platform::AudioQueueSetParameter(queue, platform::kAudioQueueParam_Volume, 0.0f);
    pump(600);
    const auto stepAt = Clock::now();
    platform::AudioQueueSetParameter(queue, platform::kAudioQueueParam_Volume, 1.0f);
    pump(800);
    const double volumeStep = heardAfter(capture, stepAt, 0.02);
    capture.stop();

    line("Space to first sound, first play", firstDelay, "ms", "(target <= 150)", volumeStep,
         "volume step");
    line("Space to first sound, later play", secondDelay, "ms", "(target <= 150)", volumeStep,
         "volume step");
    return 0;
}
