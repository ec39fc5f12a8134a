// Frame and rebuild times of the waveform view for a 60-minute file, each next to a
// reference measured in the same run, so a busy machine weighs on both alike.
//
// Frames are drawn at 1280 x 300 straight into the view's framebuffer and finished
// (glFinish), fully zoomed out and at the deepest zoom; the reference is a frame of the
// empty view (background and drop zone) of the same size. A rebuild is what a zoom step
// costs the waveform: the bucket peaks computed and the vertices uploaded; its reference
// is one plain pass over all peak samples.
//
// Dragging: the end grip of the range is dragged across the view, fully zoomed out and at
// the deepest zoom, by mouse events sent to the shown window; each move is timed to the
// frame that shows it (the view's frame swap). The reference is a repaint of the still
// view, timed the same way.

#include "audio/KTWaveform.h"
#include "waveform_view/KTFixedWaveformView.h"
#include "waveform_view/WaveformDrawing.h"

#include <QApplication>
#include <QMouseEvent>
#include <QOpenGLContext>
#include <QOpenGLFunctions>
#include <QOpenGLFunctions_2_1>
#include <QOpenGLVersionFunctionsFactory>
#include <QScrollArea>
#include <QScrollBar>
#include <QTest>
#include <QThread>
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <functional>
#include <memory>
#include <vector>

namespace {

constexpr int kWidth = 1280;
constexpr int kHeight = 300;
constexpr int kSampleRate = 44100;
constexpr int kMinutes = 60;

// Opens paintGL to the benchmark.
class BenchView : public KTFixedWaveformView {
public:
    void drawFrame() {
        makeCurrent();
        paintGL();
        context()->functions()->glFinish();
        doneCurrent();
    }
};

struct Window {
    QScrollArea scrollArea;
    BenchView* view = new BenchView;
    Window() {
        scrollArea.resize(kWidth, kHeight);
        view->attachToScrollView(&scrollArea);
        // The frame stays 1280 x 300 at every zoom.
        scrollArea.setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
        scrollArea.show();
        [[maybe_unused]] const bool exposed = QTest::qWaitForWindowExposed(&scrollArea);
        view->fitWidth();
        QApplication::processEvents();
    }
};

double medianMilliseconds(int runs, const std::function<void()>& work) {
    std::vector<double> times;
    for (int i = 0; i < runs; ++i) {
        const auto start = std::chrono::steady_clock::now();
        work();
        times.push_back(
            std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start)
                .count());
    }
    std::nth_element(times.begin(), times.begin() + runs / 2, times.end());
    return times[static_cast<std::size_t>(runs / 2)];
}

// Music-like peaks: an envelope that swells and decays, with noise per block.
std::unique_ptr<KTWaveform> makeLongWaveform() {
    const std::int32_t frames = kSampleRate * 60 * kMinutes;
    std::vector<float> stereo(static_cast<std::size_t>(frames) * 2);
    std::uint32_t state = 12345;
    for (std::int32_t frame = 0; frame < frames; ++frame) {
        state = state * 1664525u + 1013904223u;
        const float noise = static_cast<float>(state >> 8) / 16777216.0f - 0.5f;
        const float envelope = 0.3f + 0.6f * static_cast<float>((frame / 22050) % 8) / 8.0f;
        stereo[2 * static_cast<std::size_t>(frame)] = noise * envelope;
        stereo[2 * static_cast<std::size_t>(frame) + 1] = noise * envelope * 0.8f;
    }
    auto waveform = std::make_unique<KTWaveform>();
    waveform->reduceFrameData(stereo.data(), frames);
    return waveform;
}

struct Latencies {
    double median = 0;
    double worst = 0;
};

Latencies summarise(std::vector<double> times) {
    std::sort(times.begin(), times.end());
    return {times[times.size() / 2], times.back()};
}

double sinceMilliseconds(std::chrono::steady_clock::time_point start) {
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start)
        .count();
}

// Turns the event loop until the view has shown a new frame; false after a second.
bool waitForFrame(const int& swaps, int before) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(1);
    while (swaps == before) {
        if (std::chrono::steady_clock::now() > deadline)
            return false;
        QApplication::processEvents(QEventLoop::AllEvents, 1);
    }
    return true;
}

// Presses the end grip and moves it `moves` times by `step` pixels, timing each move to
// the frame that shows it.
std::vector<double> dragEndGrip(BenchView& view, int moves, double step) {
    int swaps = 0;
    const QMetaObject::Connection counting =
        QObject::connect(&view, &QOpenGLWidget::frameSwapped, [&swaps] { ++swaps; });
    const double visibleLeft = view.documentVisibleRect().x();
    QPointF point(view.rangeEndHandleRect().center().x() - visibleLeft, view.height() / 2.0);
    const auto send = [&view](QEvent::Type type, QPointF at, Qt::MouseButton button,
                              Qt::MouseButtons buttons) {
        QMouseEvent event(type, at, view.mapToGlobal(at), button, buttons, Qt::NoModifier);
        QApplication::sendEvent(&view, &event);
    };
    send(QEvent::MouseButtonPress, point, Qt::LeftButton, Qt::LeftButton);
    waitForFrame(swaps, swaps);
    std::vector<double> times;
    for (int i = 0; i < moves; ++i) {
        point.rx() += step;
        const int before = swaps;
        const auto start = std::chrono::steady_clock::now();
        send(QEvent::MouseMove, point, Qt::NoButton, Qt::LeftButton);
        if (waitForFrame(swaps, before))
            times.push_back(sinceMilliseconds(start));
    }
    send(QEvent::MouseButtonRelease, point, Qt::LeftButton, Qt::NoButton);
    QObject::disconnect(counting);
    return times;
}

// A repaint of the still view, timed from the request to the frame swap.
std::vector<double> stillFrames(BenchView& view, int count) {
    int swaps = 0;
    const QMetaObject::Connection counting =
        QObject::connect(&view, &QOpenGLWidget::frameSwapped, [&swaps] { ++swaps; });
    std::vector<double> times;
    for (int i = 0; i < count; ++i) {
        const int before = swaps;
        const auto start = std::chrono::steady_clock::now();
        view.update();
        if (waitForFrame(swaps, before))
            times.push_back(sinceMilliseconds(start));
    }
    QObject::disconnect(counting);
    return times;
}

void printRow(const char* name, double milliseconds, double reference, double target) {
    std::printf("  %-44s %8.3f ms  %7.2f x reference", name, milliseconds,
                milliseconds / reference);
    if (target > 0)
        std::printf("  (target %.0f ms: %s)", target, milliseconds <= target ? "met" : "MISSED");
    std::printf("\n");
}

} // namespace

int main(int argc, char** argv) {
    QApplication application(argc, argv);
    const int runs = argc > 1 ? std::max(3, std::atoi(argv[1])) : 41;

    std::fprintf(stderr, "making %d minutes of peak data...\n", kMinutes);
    std::unique_ptr<KTWaveform> longWaveform = makeLongWaveform();
    KTWaveform* waveform = longWaveform.get();
    const std::int32_t totalSamples = waveform->totalSamples();

    Window empty;
    Window full;
    full.view->setWaveform(std::move(longWaveform));
    full.view->setRangeStartFrame(waveform->totalFrames() / 3);
    full.view->setRangeEndFrame(waveform->totalFrames() / 2);
    full.view->drawFrame();

    empty.view->makeCurrent();
    GLint sampleCount = 0;
    empty.view->context()->functions()->glGetIntegerv(GL_SAMPLES, &sampleCount);
    const char* renderer =
        reinterpret_cast<const char*>(empty.view->context()->functions()->glGetString(GL_RENDERER));
    std::printf("waveform view, %d x %d, %d-minute file (%d peak samples), %s, %d samples "
                "per pixel, median of %d\n",
                kWidth, kHeight, kMinutes, totalSamples, renderer ? renderer : "?", sampleCount,
                runs);
    empty.view->doneCurrent();

    const double emptyFrame = medianMilliseconds(runs, [&] { empty.view->drawFrame(); });
    const double zoomedOutFrame = medianMilliseconds(runs, [&] { full.view->drawFrame(); });
    const int zoomedOutBuckets = waveform->totalBuckets;

    // The rebuild of one zoom step from fully zoomed out.
    BenchView& view = *full.view;
    auto rebuildAtCurrentZoom = [&] {
        view.makeCurrent();
        auto* gl = QOpenGLVersionFunctionsFactory::get<QOpenGLFunctions_2_1>(view.context());
        GLuint buffer = 0;
        gl->glGenBuffers(1, &buffer);
        const double ms = medianMilliseconds(runs, [&] {
            const std::int32_t size =
                waveform_view::bucketSizeFor(totalSamples, view.waveformAreaRect().width());
            const std::int32_t buckets = totalSamples / size;
            waveform_view::fillBucketCoords(*waveform, size, buckets);
            gl->glBindBuffer(GL_ARRAY_BUFFER, buffer);
            gl->glBufferData(GL_ARRAY_BUFFER, static_cast<GLsizeiptr>(buckets) * 8,
                             waveform->coords().data(), GL_STATIC_DRAW);
            gl->glBindBuffer(GL_ARRAY_BUFFER, 0);
            gl->glFinish();
        });
        gl->glDeleteBuffers(1, &buffer);
        view.doneCurrent();
        return ms;
    };
    view.zoomIn();
    const double firstStepRebuild = rebuildAtCurrentZoom();

    while (view.framesPerPixel() > KTFixedWaveformView::kDeepestFramesPerPixel)
        view.zoomIn();
    const double deepestRebuild = rebuildAtCurrentZoom();
    view.scrollView()->horizontalScrollBar()->setValue(view.documentView()->width() / 2);
    view.drawFrame();
    const double deepestFrame = medianMilliseconds(runs, [&] { view.drawFrame(); });
    const int deepestBuckets = waveform->totalBuckets;

    // Dragging the end grip: at the deepest zoom with the grip in the middle of the view,
    // then fully zoomed out with the range at a third of the file.
    const std::int32_t middleFrame = view.frameAtPixel(view.documentVisibleRect().center().x());
    view.setRangeStartFrame(middleFrame - 100000);
    view.setRangeEndFrame(middleFrame);
    view.update();
    const Latencies deepStill = summarise(stillFrames(view, runs));
    const Latencies deepDrag = summarise(dragEndGrip(view, 2 * runs, 3.0));
    while (view.documentView()->width() > view.scrollView()->viewport()->width())
        view.zoomOut();
    view.setRangeStartFrame(waveform->totalFrames() / 3);
    view.setRangeEndFrame(waveform->totalFrames() / 2);
    view.update();
    const Latencies outStill = summarise(stillFrames(view, runs));
    const Latencies outDrag = summarise(dragEndGrip(view, 2 * runs, 3.0));

    // The least any rebuild does: read every peak sample once.
    const std::vector<std::int16_t>& samples = waveform->samples();
    volatile std::int16_t sink = 0;
    const double samplePass = medianMilliseconds(runs, [&] {
        std::int16_t highest = -32768;
        for (std::int16_t sample : samples)
            highest = std::max(highest, sample);
        sink = highest;
    });
    (void)sink;

    // The machine is shared: say how busy it was.
    double load = 0.0;
    if (FILE* file = std::fopen("/proc/loadavg", "r")) {
        if (std::fscanf(file, "%lf", &load) != 1)
            load = 0.0;
        std::fclose(file);
    }
    std::printf("load average over the last minute: %.2f on %d cores\n", load,
                QThread::idealThreadCount());

    std::printf("frame (reference: empty view with its drop zone, %.3f ms)\n", emptyFrame);
    std::printf("  %-44s %8.3f ms  %7.2f x reference\n", "empty view (reference)", emptyFrame, 1.0);
    char label[128];
    std::snprintf(label, sizeof label, "fully zoomed out (%d buckets)", zoomedOutBuckets);
    printRow(label, zoomedOutFrame, emptyFrame, 8.0);
    std::snprintf(label, sizeof label, "deepest zoom (%d buckets)", deepestBuckets);
    printRow(label, deepestFrame, emptyFrame, 8.0);
    std::printf("rebuild after a zoom step (reference: one pass over the peak samples, "
                "%.3f ms)\n",
                samplePass);
    printRow("first step in from fully zoomed out", firstStepRebuild, samplePass, 20.0);
    printRow("last step to the deepest zoom", deepestRebuild, samplePass, 20.0);
    std::printf("dragging the end grip: mouse event to the frame that shows it (reference: a "
                "repaint of the still view, median %.3f ms zoomed out, %.3f ms deepest)\n",
                outStill.median, deepStill.median);
    printRow("fully zoomed out, median", outDrag.median, outStill.median, 0.0);
    printRow("fully zoomed out, worst", outDrag.worst, outStill.median, 16.0);
    printRow("deepest zoom, median", deepDrag.median, deepStill.median, 0.0);
    printRow("deepest zoom, worst", deepDrag.worst, deepStill.median, 16.0);
    return 0;
}
