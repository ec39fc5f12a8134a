// The waveform view's figures for a 60-minute file, each next to a reference measured in the
// same run, so a busy machine weighs on both alike.
//
// Latency to the screen, in the application window (1280 x 300 of waveform), fully zoomed
// out and at the deepest zoom: the pointer is moved by the X server's XTEST extension, as a
// mouse would move it, and each move is timed to the moment its pixels are in the X
// server's framebuffer (Xvfb started with -fbdir keeps the screen in a file, mapped here
// and polled from a thread of its own). Measured so:
// - dragging the end grip, 3 pixels a move at 125 moves a second: to the framebuffer
//   column that the grip's right edge reaches with that move;
// - moving the playhead by one pixel, as playback does (the view's setPlayheadFrame);
// - the reference: a plain raster window of the same size filled with another colour.
//
// A rebuild is what a zoom step costs the waveform: the bucket peaks computed and the
// vertices uploaded; its reference is one plain pass over all peak samples.
//
//   studyloop-waveform-view-bench RUNS FRAMEBUFFER_FILE

#include "app/PlayerWindow.h"
#include "audio/KTWaveform.h"
#include "waveform_view/KTFixedWaveformView.h"
#include "waveform_view/WaveformDrawing.h"

#include <QApplication>
#include <QEventLoop>
#include <QOffscreenSurface>
#include <QOpenGLContext>
#include <QOpenGLFunctions_2_1>
#include <QOpenGLVersionFunctionsFactory>
#include <QPainter>
#include <QScrollArea>
#include <QScrollBar>
#include <QTest>
#include <QThread>
#include <X11/Xlib.h>
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <deque>
#include <dlfcn.h>
#include <fcntl.h>
#include <functional>
#include <memory>
#include <sys/mman.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>
#include <vector>

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kWidth = 1280;
constexpr int kHeight = 300;
constexpr int kSampleRate = 44100;
constexpr int kMinutes = 60;
constexpr int kDragMoves = 150;
constexpr int kDragStep = 3;
constexpr auto kMoveInterval = std::chrono::milliseconds(8);
// A frame not shown within this long counts as never shown.
constexpr auto kGiveUp = std::chrono::milliseconds(500);

double milliseconds(Clock::duration duration) {
    return std::chrono::duration<double, std::milli>(duration).count();
}

double medianMilliseconds(int runs, const std::function<void()>& work) {
    std::vector<double> times;
    for (int i = 0; i < runs; ++i) {
        const auto start = Clock::now();
        work();
        times.push_back(milliseconds(Clock::now() - start));
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

// The screen as Xvfb keeps it in its -fbdir file: an XWD header (big-endian), a colour map,
// then 32-bit pixels 0x00RRGGBB in the machine's order.
class Framebuffer {
public:
    explicit Framebuffer(const char* path) {
        const int fd = ::open(path, O_RDONLY);
        if (fd < 0)
            return;
        struct stat info {};
        if (::fstat(fd, &info) == 0) {
            size_ = static_cast<std::size_t>(info.st_size);
            void* mapped = ::mmap(nullptr, size_, PROT_READ, MAP_SHARED, fd, 0);
            if (mapped != MAP_FAILED)
                base_ = static_cast<const unsigned char*>(mapped);
        }
        ::close(fd);
        if (!base_ || size_ < 100)
            return;
        const auto field = [this](int index) {
            const unsigned char* p = base_ + 4 * index;
            return std::uint32_t(p[0]) << 24 | std::uint32_t(p[1]) << 16 |
                   std::uint32_t(p[2]) << 8 | std::uint32_t(p[3]);
        };
        width_ = static_cast<int>(field(4));
        height_ = static_cast<int>(field(5));
        stride_ = field(12);
        pixels_ = field(0) + field(19) * 12;
        if (field(11) != 32 || pixels_ + stride_ * std::uint32_t(height_) > size_)
            width_ = height_ = 0;
    }
    ~Framebuffer() {
        if (base_)
            ::munmap(const_cast<unsigned char*>(base_), size_);
    }
    bool valid() const { return width_ > 0; }
    std::uint32_t pixel(int x, int y) const {
        if (x < 0 || y < 0 || x >= width_ || y >= height_)
            return 0;
        std::uint32_t value = 0;
        std::memcpy(&value, base_ + pixels_ + stride_ * std::uint32_t(y) + 4 * std::uint32_t(x), 4);
        return value & 0xFFFFFF;
    }

private:
    const unsigned char* base_ = nullptr;
    std::size_t size_ = 0;
    int width_ = 0, height_ = 0;
    std::uint32_t stride_ = 0, pixels_ = 0;
};

bool similar(std::uint32_t a, std::uint32_t b) {
    for (int shift : {0, 8, 16})
        if (std::abs(int(a >> shift & 0xFF) - int(b >> shift & 0xFF)) > 10)
            return false;
    return true;
}

// What shows that a step reached the screen: the pixel at `at` is (or is no longer) `colour`.
struct Probe {
    QPoint at;
    std::uint32_t colour = 0;
    bool equal = true;
    bool seen(const Framebuffer& screen) const {
        return similar(screen.pixel(at.x(), at.y()), colour) == equal;
    }
};

struct Step {
    std::function<void()> act; // run on the driving thread
    Probe probe;
};

// The X server's XTEST requests, from the library xdotool brings along.
class Pointer {
public:
    Pointer() {
        library_ = ::dlopen("libXtst.so.6", RTLD_NOW);
        display_ = XOpenDisplay(nullptr);
        if (library_) {
            motion_ = reinterpret_cast<MotionFn>(::dlsym(library_, "XTestFakeMotionEvent"));
            button_ = reinterpret_cast<ButtonFn>(::dlsym(library_, "XTestFakeButtonEvent"));
        }
    }
    ~Pointer() {
        if (display_)
            XCloseDisplay(display_);
        if (library_)
            ::dlclose(library_);
    }
    bool valid() const { return display_ && motion_ && button_; }
    void moveTo(QPoint at) {
        motion_(display_, -1, at.x(), at.y(), 0);
        XFlush(display_);
    }
    void button(bool down) {
        button_(display_, 1, down ? True : False, 0);
        XFlush(display_);
    }

private:
    using MotionFn = int (*)(Display*, int, int, int, unsigned long);
    using ButtonFn = int (*)(Display*, unsigned int, Bool, unsigned long);
    void* library_ = nullptr;
    Display* display_ = nullptr;
    MotionFn motion_ = nullptr;
    ButtonFn button_ = nullptr;
};

struct Latencies {
    std::vector<double> times;
    int missed = 0;
};

// Runs the steps on a thread of their own while this thread turns the event loop, and times
// each to its probe. Paced: a step every `interval`, whether or not the last has shown
// (several may be under way, and each is seen once its probe is; a later step's frame may
// show an earlier one's). Otherwise each waits for the last to show, and `interval` more.
Latencies runSteps(const Framebuffer& screen, const std::vector<Step>& steps,
                   Clock::duration interval, bool paced) {
    Latencies result;
    QEventLoop loop;
    std::thread driver([&] {
        std::deque<std::pair<std::size_t, Clock::time_point>> pending;
        const auto settle = [&] {
            while (!pending.empty()) {
                const auto& [index, sent] = pending.front();
                if (steps[index].probe.seen(screen))
                    result.times.push_back(milliseconds(Clock::now() - sent));
                else if (Clock::now() - sent > kGiveUp)
                    ++result.missed;
                else
                    return;
                pending.pop_front();
            }
        };
        auto next = Clock::now();
        for (std::size_t i = 0; i < steps.size(); ++i) {
            while (Clock::now() < next) {
                settle();
                std::this_thread::sleep_for(std::chrono::microseconds(50));
            }
            steps[i].act();
            pending.emplace_back(i, Clock::now());
            if (paced) {
                next += interval;
            } else {
                while (!pending.empty()) {
                    settle();
                    std::this_thread::sleep_for(std::chrono::microseconds(50));
                }
                next = Clock::now() + interval;
            }
        }
        while (!pending.empty()) {
            settle();
            std::this_thread::sleep_for(std::chrono::microseconds(50));
        }
        QMetaObject::invokeMethod(&loop, &QEventLoop::quit, Qt::QueuedConnection);
    });
    loop.exec();
    driver.join();
    return result;
}

// Runs `work` on the GUI thread, from the driving thread.
void onGuiThread(std::function<void()> work) {
    QMetaObject::invokeMethod(qApp, std::move(work), Qt::QueuedConnection);
}

void settleFor(int ms) {
    const auto end = Clock::now() + std::chrono::milliseconds(ms);
    while (Clock::now() < end)
        QApplication::processEvents(QEventLoop::AllEvents, 5);
}

// A plain window filled with one colour, then another: what the X server and Qt's raster
// painting cost, whatever the view does.
class PlainWindow : public QWidget {
public:
    PlainWindow() {
        setAttribute(Qt::WA_OpaquePaintEvent);
        resize(kWidth, kHeight);
    }
    std::atomic<std::uint32_t> colour{0x203040};

protected:
    void paintEvent(QPaintEvent*) override {
        QPainter(this).fillRect(rect(), QColor::fromRgb(colour.load()));
    }
};

Latencies plainWindowRepaints(const Framebuffer& screen, int count) {
    PlainWindow plain;
    plain.move(0, 700);
    plain.show();
    [[maybe_unused]] const bool exposed = QTest::qWaitForWindowExposed(&plain);
    settleFor(200);
    const QPoint centre = plain.mapToGlobal(plain.rect().center());
    std::vector<Step> steps;
    for (int i = 0; i < count; ++i) {
        const std::uint32_t colour = i % 2 ? 0x203040 : 0x406080;
        steps.push_back({[&plain, colour] {
                             onGuiThread([&plain, colour] {
                                 plain.colour = colour;
                                 plain.update();
                             });
                         },
                         {centre, colour, true}});
    }
    return runSteps(screen, steps, std::chrono::milliseconds(8), false);
}

// The pixel of the screen at a point of the view, and the colour there now.
QPoint onScreen(KTFixedWaveformView& view, double documentX, int y) {
    const int x = static_cast<int>(documentX) - view.documentVisibleRect().x();
    return view.mapToGlobal(QPoint(x, y));
}

// Drags the end grip right by kDragStep pixels a move, paced like a mouse. The grip's right
// edge is found on the screen first: the rightmost column near the range end that differs
// from the dimmed background right of it, in a row of the top cap above any waveform.
Latencies dragEndGrip(const Framebuffer& screen, Pointer& pointer, KTFixedWaveformView& view) {
    const double end = view.rangeEndPixel();
    int row = 0, edge = 0;
    for (int y = 6; y < 20 && !edge; ++y) {
        const std::uint32_t background =
            screen.pixel(onScreen(view, end + 40, y).x(), onScreen(view, end + 40, y).y());
        for (int dx = 24; dx > 0 && !edge; --dx) {
            const QPoint at = onScreen(view, end + dx, y);
            const QPoint inner = onScreen(view, end + dx - 1, y);
            if (!similar(screen.pixel(at.x(), at.y()), background) &&
                !similar(screen.pixel(inner.x(), inner.y()), background)) {
                row = y;
                edge = dx;
            }
        }
    }
    if (!edge)
        return {{}, kDragMoves};
    const std::uint32_t background =
        screen.pixel(onScreen(view, end + 40, row).x(), onScreen(view, end + 40, row).y());
    const QPoint grab = onScreen(view, end + 5, kHeight / 2);
    pointer.moveTo(grab);
    settleFor(50);
    pointer.button(true);
    settleFor(50);
    std::vector<Step> steps;
    for (int i = 1; i <= kDragMoves; ++i) {
        const QPoint to = grab + QPoint(kDragStep * i, 0);
        // One pixel short of the edge, in case the end's frame floors back a pixel.
        const QPoint probe = onScreen(view, end + edge - 1, row) + QPoint(kDragStep * i, 0);
        steps.push_back({[&pointer, to] { pointer.moveTo(to); }, {probe, background, false}});
    }
    Latencies result = runSteps(screen, steps, kMoveInterval, true);
    pointer.button(false);
    settleFor(100);
    return result;
}

// Moves the playhead a pixel right and back, as playback's position reports do.
Latencies stepPlayhead(const Framebuffer& screen, KTFixedWaveformView& view, int count) {
    const double pixel = std::floor(view.playheadPixel());
    const std::int32_t here = view.frameAtPixel(pixel + 0.5);
    const std::int32_t right = view.frameAtPixel(pixel + 1.5);
    std::vector<Step> steps;
    for (int i = 0; i < count; ++i) {
        const bool toRight = i % 2 == 0;
        const std::int32_t frame = toRight ? right : here;
        const QPoint probe = onScreen(view, pixel + (toRight ? 1 : 0), kHeight / 3);
        steps.push_back(
            {[&view, frame] { onGuiThread([&view, frame] { view.setPlayheadFrame(frame); }); },
             {probe, 0xFFFFFF, true}});
    }
    return runSteps(screen, steps, std::chrono::milliseconds(8), false);
}

struct Summary {
    double median = 0, worst = 0;
    int shown = 0, missed = 0;
};

Summary summarise(Latencies latencies) {
    std::vector<double>& times = latencies.times;
    if (times.empty())
        return {0, 0, 0, latencies.missed};
    std::sort(times.begin(), times.end());
    return {times[times.size() / 2], times.back(), static_cast<int>(times.size()),
            latencies.missed};
}

void printLatency(const char* name, const Summary& s, const Summary& reference, bool targets) {
    std::printf("  %-36s median %6.2f ms (%5.1f x ref)  worst %6.2f ms (%5.1f x ref)", name,
                s.median, s.median / reference.median, s.worst, s.worst / reference.worst);
    if (targets)
        std::printf("  targets 8/16 ms: %s",
                    s.median <= 8.0 && s.worst <= 16.0 && !s.missed ? "met" : "MISSED");
    if (s.missed)
        std::printf("  (%d of %d never shown)", s.missed, s.missed + s.shown);
    std::printf("\n");
}

// The rebuild of one zoom step at the zoom `areaWidth` gives, in a context of its own.
double rebuildMilliseconds(KTWaveform& waveform, double areaWidth, int runs) {
    QOffscreenSurface surface;
    surface.create();
    QOpenGLContext context;
    context.create();
    context.makeCurrent(&surface);
    auto* gl = QOpenGLVersionFunctionsFactory::get<QOpenGLFunctions_2_1>(&context);
    GLuint buffer = 0;
    gl->glGenBuffers(1, &buffer);
    const std::int32_t totalSamples = waveform.totalSamples();
    const double ms = medianMilliseconds(runs, [&] {
        const std::int32_t size = waveform_view::bucketSizeFor(totalSamples, areaWidth);
        const std::int32_t buckets = totalSamples / size;
        waveform_view::fillBucketCoords(waveform, size, buckets);
        gl->glBindBuffer(GL_ARRAY_BUFFER, buffer);
        gl->glBufferData(GL_ARRAY_BUFFER, static_cast<GLsizeiptr>(buckets) * 8,
                         waveform.coords().data(), GL_STATIC_DRAW);
        gl->glBindBuffer(GL_ARRAY_BUFFER, 0);
        gl->glFinish();
    });
    gl->glDeleteBuffers(1, &buffer);
    context.doneCurrent();
    return ms;
}

void printRow(const char* name, double milliseconds, double reference, double target) {
    std::printf("  %-44s %8.3f ms  %7.2f x reference  (target %.0f ms: %s)\n", name, milliseconds,
                milliseconds / reference, target, milliseconds <= target ? "met" : "MISSED");
}

} // namespace

int main(int argc, char** argv) {
    QApplication application(argc, argv);
    const int runs = argc > 1 ? std::max(3, std::atoi(argv[1])) : 41;
    const Framebuffer screen(argc > 2 ? argv[2] : "");
    Pointer pointer;

    std::fprintf(stderr, "making %d minutes of peak data...\n", kMinutes);
    std::unique_ptr<KTWaveform> longWaveform = makeLongWaveform();
    KTWaveform* waveform = longWaveform.get();

    PlayerWindow window;
    window.move(0, 0);
    window.show();
    [[maybe_unused]] const bool exposed = QTest::qWaitForWindowExposed(&window);
    QScrollArea* scrollArea = window.ui.waveformScrollView;
    // The waveform's part of the window is kWidth x kHeight.
    window.resize(window.width() + kWidth - scrollArea->viewport()->width(),
                  window.height() + kHeight - scrollArea->viewport()->height());
    settleFor(300);
    KTFixedWaveformView& view = *window.waveformView;
    view.setWaveform(std::move(longWaveform));
    settleFor(300);

    std::printf("waveform view in the application window, %d x %d, %d-minute file (%d peak "
                "samples), %d x %d window\n",
                scrollArea->viewport()->width(), scrollArea->viewport()->height(), kMinutes,
                waveform->totalSamples(), window.width(), window.height());

    // The rebuild of one zoom step from fully zoomed out, and of the last to the deepest.
    const double areaWidth = view.waveformAreaRect().width();
    const double firstStepRebuild = rebuildMilliseconds(*waveform, areaWidth * 1.5, runs);
    double deepestWidth = areaWidth;
    while (waveform->totalFrames() / deepestWidth > KTFixedWaveformView::kDeepestFramesPerPixel)
        deepestWidth *= 1.5;
    const double deepestRebuild = rebuildMilliseconds(*waveform, deepestWidth, runs);
    const std::vector<std::int16_t>& samples = waveform->samples();
    volatile std::int16_t sink = 0;
    const double samplePass = medianMilliseconds(runs, [&] {
        std::int16_t highest = -32768;
        for (std::int16_t sample : samples)
            highest = std::max(highest, sample);
        sink = highest;
    });
    (void)sink;

    if (!screen.valid() || !pointer.valid()) {
        std::printf("latency to the screen: skipped (needs Xvfb's -fbdir file as the second "
                    "argument, and libXtst)\n");
    } else {
        const Summary reference = summarise(plainWindowRepaints(screen, 2 * runs));
        window.activateWindow();
        settleFor(200);

        // Fully zoomed out, the range from a third to half of the file.
        view.setRangeStartFrame(waveform->totalFrames() / 3);
        view.setRangeEndFrame(waveform->totalFrames() / 2);
        view.setPlayheadFrame(waveform->totalFrames() * 5 / 12);
        settleFor(300);
        const Summary outDrag = summarise(dragEndGrip(screen, pointer, view));
        view.setPlayheadFrame(waveform->totalFrames() * 5 / 12);
        settleFor(300);
        const Summary outPlayhead = summarise(stepPlayhead(screen, view, 2 * runs));

        // The deepest zoom, in the middle of the file, a range of 400 pixels ending mid-view.
        while (view.framesPerPixel() > KTFixedWaveformView::kDeepestFramesPerPixel)
            view.zoomIn();
        scrollArea->horizontalScrollBar()->setValue(view.documentView()->width() / 2);
        settleFor(1200); // past the second in which a user scroll holds following off
        const std::int32_t middle = view.frameAtPixel(view.documentVisibleRect().center().x());
        view.setRangeStartFrame(middle - 100000);
        view.setRangeEndFrame(middle);
        view.setPlayheadFrame(middle - 50000);
        settleFor(300);
        const Summary deepDrag = summarise(dragEndGrip(screen, pointer, view));
        view.setPlayheadFrame(middle - 50000);
        settleFor(300);
        const Summary deepPlayhead = summarise(stepPlayhead(screen, view, 2 * runs));

        std::printf("latency to the screen (reference: a plain %d x %d raster window filled "
                    "anew, median %.2f ms, worst %.2f ms)\n",
                    kWidth, kHeight, reference.median, reference.worst);
        printLatency("drag the end grip, fully zoomed out", outDrag, reference, true);
        printLatency("drag the end grip, deepest zoom", deepDrag, reference, true);
        printLatency("playhead a pixel on, fully zoomed out", outPlayhead, reference, false);
        printLatency("playhead a pixel on, deepest zoom", deepPlayhead, reference, false);
    }

    std::printf("rebuild after a zoom step (reference: one pass over the peak samples, "
                "%.3f ms)\n",
                samplePass);
    printRow("first step in from fully zoomed out", firstStepRebuild, samplePass, 20.0);
    printRow("last step to the deepest zoom", deepestRebuild, samplePass, 20.0);

    double load = 0.0;
    if (FILE* file = std::fopen("/proc/loadavg", "r")) {
        if (std::fscanf(file, "%lf", &load) != 1)
            load = 0.0;
        std::fclose(file);
    }
    std::printf("load average over the last minute: %.2f on %d cores\n", load,
                QThread::idealThreadCount());
    return 0;
}
