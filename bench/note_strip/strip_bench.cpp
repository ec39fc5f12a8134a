// studyloop-strip-bench FILE [SECONDS] [--screenshot OUT.png]: what the note strip costs
// while the window plays, in one process with the real window (under Xvfb) and the real
// sound server. FILE is analysed first and its chords, key and tuning given to the window,
// as the analysis on load will, so the chord lane and the key show throughout.
//
// The window plays FILE in a loop for SECONDS (default 15) with the strip hidden, then as
// long with it shown, in turns, five times each. The processor time of the whole process
// (every thread: the interface, the strip's worker, the player and the stretcher) over each
// turn, as a share of one core: hidden, the reference; the strip's cost is what showing it
// adds (the median over the rounds of shown less hidden), which takes in its worker, its
// timer, its repaints and the window's composition of each (the GL waveform puts the whole
// window's through OpenGL; under Xvfb, Mesa draws it on the processor, on the main thread
// with LP_NUM_THREADS=0). Target: at most 10 % of one core. Also printed: the worker's and
// the main thread's part, drawing the strip alone (into an image), and the spectra and
// repaints a second (about 30, and the display's rate where the main thread keeps up).
// --screenshot saves the window with the strip shown 3 s into playing, and measures nothing.

#include "analysis/recording/AnalyzeRecording.h"
#include "app/KTAppController.h"
#include "app/NoteStripFeed.h"
#include "app/NoteStripPanel.h"
#include "app/PlayerWindow.h"

#include <QAction>
#include <QApplication>
#include <QEventLoop>
#include <QImage>
#include <QSettings>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTest>
#include <QTimer>
#include <algorithm>
#include <cstdio>
#include <ctime>
#include <sys/resource.h>
#include <vector>

namespace {

double cpuSeconds() {
    rusage usage{};
    getrusage(RUSAGE_SELF, &usage);
    return double(usage.ru_utime.tv_sec) + 1e-6 * double(usage.ru_utime.tv_usec) +
           double(usage.ru_stime.tv_sec) + 1e-6 * double(usage.ru_stime.tv_usec);
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

// Counts the repaints of one widget.
class PaintCounter : public QObject {
public:
    int paints = 0;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override {
        if (event->type() == QEvent::Paint)
            ++paints;
        return QObject::eventFilter(watched, event);
    }
};

// Turns the event loop for `milliseconds`, as the application does (no polling).
void run(int milliseconds) {
    QEventLoop loop;
    QTimer::singleShot(milliseconds, &loop, &QEventLoop::quit);
    loop.exec();
}

double threadSeconds() {
    timespec now{};
    clock_gettime(CLOCK_THREAD_CPUTIME_ID, &now);
    return double(now.tv_sec) + 1e-9 * double(now.tv_nsec);
}

struct Turn {
    double process = 0, main = 0, worker = 0; // shares of one core
    double spectraPerSecond = 0, paintsPerSecond = 0;
};

Turn playFor(KTAppController& controller, PlayerWindow& window, bool strip, int seconds) {
    window.ui.showNoteStripAction->setChecked(strip);
    run(500); // the strip's first spectrum, the layout settled
    NoteStripFeed& feed = controller.noteStrip()->feed();
    int spectra = 0;
    const QMetaObject::Connection counting =
        QObject::connect(&feed, &NoteStripFeed::spectrumReady, [&spectra] { ++spectra; });
    PaintCounter counter;
    window.ui.noteStrip->installEventFilter(&counter);
    const double cpuBefore = cpuSeconds(), mainBefore = threadSeconds();
    const double workerBefore = feed.workerProcessorSeconds();
    QElapsedTimer wall;
    wall.start();
    run(seconds * 1000);
    const double elapsed = double(wall.elapsed()) / 1000.0;
    const Turn turn{(cpuSeconds() - cpuBefore) / elapsed, (threadSeconds() - mainBefore) / elapsed,
                    (feed.workerProcessorSeconds() - workerBefore) / elapsed,
                    double(spectra) / elapsed, double(counter.paints) / elapsed};
    window.ui.noteStrip->removeEventFilter(&counter);
    QObject::disconnect(counting);
    return turn;
}

// The main thread's processor time for one repaint of the strip as it stands, drawn into
// an image of its size (what its paint event does, without the window's flush).
double paintSeconds(NoteStripView& strip) {
    QImage image(strip.size(), QImage::Format_ARGB32_Premultiplied);
    constexpr int kPaints = 200;
    const double start = threadSeconds();
    for (int i = 0; i < kPaints; ++i)
        strip.render(&image);
    return (threadSeconds() - start) / kPaints;
}

// The harmony as the window takes it: the analysis's chords spelled for its key.
session::Harmony analysedHarmony(const char* path) {
    const analysis::RecordingAnalysis found = analysis::analyzeRecording(path);
    session::Harmony harmony;
    harmony.key = tonal::keyName(found.tonality.key);
    harmony.tuningCents = found.tonality.tuningCents;
    for (const tonal::ChordSpan& chord : found.tonality.chords)
        harmony.chords.push_back(
            {chord.startSeconds, chord.endSeconds, found.tonality.chordName(chord)});
    return harmony;
}

int saveScreenshot(PlayerWindow& window, const QString& out) {
    window.ui.showNoteStripAction->setChecked(true);
    run(3000);
    const bool saved = window.grab().save(out);
    window.ui.showNoteStripAction->setChecked(false);
    std::printf("%s %s\n", saved ? "saved" : "could not save", qPrintable(out));
    return saved ? 0 : 1;
}

// Five rounds of playing with the strip hidden, then shown; the figures.
void measure(KTAppController& controller, PlayerWindow& window, int seconds) {
    std::vector<double> hidden, shown, mainHidden, mainShown, worker, spectra, paints, paint;
    for (int round = 0; round < 5; ++round) {
        const Turn off = playFor(controller, window, false, seconds);
        const Turn on = playFor(controller, window, true, seconds);
        hidden.push_back(off.process);
        shown.push_back(on.process);
        mainHidden.push_back(off.main);
        mainShown.push_back(on.main);
        worker.push_back(on.worker);
        spectra.push_back(on.spectraPerSecond);
        paints.push_back(on.paintsPerSecond);
        paint.push_back(paintSeconds(*window.ui.noteStrip));
        std::printf("round %d: the window playing %.1f %% of a core (main thread %.1f %%), with "
                    "the strip %.1f %% (main thread %.1f %%, the strip's worker %.2f %%); "
                    "%.1f spectra/s, %.1f repaints/s of %.2f ms\n",
                    round + 1, 100 * off.process, 100 * off.main, 100 * on.process, 100 * on.main,
                    100 * on.worker, on.spectraPerSecond, on.paintsPerSecond, 1000 * paint.back());
    }
    std::vector<double> added;
    for (std::size_t i = 0; i < hidden.size(); ++i)
        added.push_back(shown[i] - hidden[i]);
    const double reference = median(hidden), strip = median(added);
    std::printf("the window playing, strip hidden (reference): %.1f %% of one core\n",
                100 * reference);
    std::printf("the note strip: %.1f %% of one core (shown less hidden, the median of the "
                "rounds), %.3f x the reference; target <= 10 %%: %s\n",
                100 * strip, strip / reference, strip <= 0.10 ? "met" : "MISSED");
    std::printf("of which: its worker %.2f %%, the main thread %.2f %% (drawing the strip "
                "itself %.2f %%; the rest is the window's composition of each repaint, "
                "which the GL waveform puts through OpenGL)\n",
                100 * median(worker), 100 * (median(mainShown) - median(mainHidden)),
                100 * median(paint) * median(paints));
    window.ui.showNoteStripAction->setChecked(false);
}

} // namespace

int main(int argc, char** argv) {
    QApplication application(argc, argv);
    // Showing and hiding the strip here leaves the user's own setting alone.
    const QTemporaryDir settings;
    QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, settings.path());
    if (argc < 2) {
        std::fprintf(stderr, "usage: studyloop-strip-bench FILE [SECONDS]\n");
        return 2;
    }
    const QStringList arguments = QApplication::arguments();
    const qsizetype screenshotAt = arguments.indexOf(QStringLiteral("--screenshot"));
    const QString screenshot = screenshotAt > 0 && screenshotAt + 1 < arguments.size()
                                   ? arguments[screenshotAt + 1]
                                   : QString();
    const int seconds = argc > 2 && screenshotAt != 2 ? std::max(2, std::atoi(argv[2])) : 15;
    PlayerWindow window;
    KTAppController controller(&window);
    controller.applicationDidFinishLaunching();
    window.resize(1280, 600);
    window.show();
    QSignalSpy loaded(&controller, &KTAppController::fileLoaded);
    controller.openFileWithURL(QUrl::fromLocalFile(QString::fromLocal8Bit(argv[1])));
    if (!loaded.wait(60000)) {
        std::fprintf(stderr, "%s did not load\n", argv[1]);
        return 1;
    }
    controller.session().setHarmony(analysedHarmony(argv[1]));
    controller.loopToggle(nullptr);
    controller.playToggle(nullptr);
    if (!screenshot.isEmpty())
        return saveScreenshot(window, screenshot);
    measure(controller, window, seconds);
    return 0;
}
