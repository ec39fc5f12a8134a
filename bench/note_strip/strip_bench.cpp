// studyloop-strip-bench FILE [SECONDS]: what the note strip costs while the window plays,
// in one process with the real window (under Xvfb) and the real sound server.
//
// The window plays FILE in a loop for SECONDS (default 15) with the strip hidden, then as
// long with it shown, in turns, three times each. The processor time of the whole process
// (every thread: the interface, the strip's worker, the player and the stretcher) over each
// turn, as a share of one core; the strip's cost is the difference between the shown and
// hidden turns (medians), the reference is the window playing without it. Target: the strip
// at most 10 % of one core. Also printed: the spectra the strip drew a second and its
// repaints a second, which should be the worker's rate and the display's.

#include "app/KTAppController.h"
#include "app/NoteStripFeed.h"
#include "app/NoteStripPanel.h"
#include "app/PlayerWindow.h"

#include <QAction>
#include <QApplication>
#include <QSignalSpy>
#include <QTest>
#include <algorithm>
#include <cstdio>
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

struct Turn {
    double coreShare = 0, spectraPerSecond = 0, paintsPerSecond = 0;
};

Turn playFor(KTAppController& controller, PlayerWindow& window, bool strip, int seconds) {
    window.ui.showNoteStripAction->setChecked(strip);
    QTest::qWait(500); // the strip's first spectrum, the layout settled
    int spectra = 0;
    const QMetaObject::Connection counting = QObject::connect(
        &controller.noteStrip()->feed(), &NoteStripFeed::spectrumReady, [&spectra] { ++spectra; });
    PaintCounter counter;
    window.ui.noteStrip->installEventFilter(&counter);
    const double cpuBefore = cpuSeconds();
    QElapsedTimer wall;
    wall.start();
    QTest::qWait(seconds * 1000);
    const double elapsed = double(wall.elapsed()) / 1000.0;
    Turn turn{(cpuSeconds() - cpuBefore) / elapsed, double(spectra) / elapsed,
              double(counter.paints) / elapsed};
    window.ui.noteStrip->removeEventFilter(&counter);
    QObject::disconnect(counting);
    return turn;
}

} // namespace

int main(int argc, char** argv) {
    QApplication application(argc, argv);
    if (argc < 2) {
        std::fprintf(stderr, "usage: studyloop-strip-bench FILE [SECONDS]\n");
        return 2;
    }
    const int seconds = argc > 2 ? std::max(2, std::atoi(argv[2])) : 15;
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
    controller.loopToggle(nullptr);
    controller.playToggle(nullptr);
    std::vector<double> hidden, shown, spectra, paints;
    for (int round = 0; round < 3; ++round) {
        hidden.push_back(playFor(controller, window, false, seconds).coreShare);
        const Turn turn = playFor(controller, window, true, seconds);
        shown.push_back(turn.coreShare);
        spectra.push_back(turn.spectraPerSecond);
        paints.push_back(turn.paintsPerSecond);
        std::printf("round %d: playing %.1f %% of a core, with the strip %.1f %%\n", round + 1,
                    100 * hidden.back(), 100 * shown.back());
    }
    const double reference = median(hidden), withStrip = median(shown);
    const double strip = withStrip - reference;
    std::printf("the window playing (reference): %.1f %% of one core\n", 100 * reference);
    std::printf("with the note strip shown:       %.1f %% of one core (%.2f x the reference)\n",
                100 * withStrip, withStrip / reference);
    std::printf("the note strip:                  %.1f %% of one core (target <= 10 %%): %s\n",
                100 * strip, strip <= 0.10 ? "met" : "MISSED");
    std::printf("spectra drawn %.1f a second, strip repaints %.1f a second\n", median(spectra),
                median(paints));
    window.ui.showNoteStripAction->setChecked(false);
    return 0;
}
