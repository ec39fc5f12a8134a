// Frame and rebuild times of the waveform view for a 60-minute file, each next to a
// reference measured in the same run, so a busy machine weighs on both alike.
//
// Frames are drawn at 1280 x 300 straight into the view's framebuffer and finished
// (glFinish), fully zoomed out and at the deepest zoom; the reference is a frame of the
// empty view (background and drop zone) of the same size. A rebuild is what a zoom step
// costs the waveform: the bucket peaks computed and the vertices uploaded; its reference
// is one plain pass over all peak samples.

#include "audio/KTWaveform.h"
#include "waveform_view/KTFixedWaveformView.h"
#include "waveform_view/WaveformDrawing.h"

#include <QApplication>
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
    return 0;
}
