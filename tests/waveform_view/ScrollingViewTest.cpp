// The scrolling view (KTWaveformView), on a shown window: its geometry in its own
// coordinates as it grows with the zoom and scrolls, following the playhead with a
// scroll-end timer of its own, the wheel zooming a full step per event and no pinch, presses
// mapped from its own coordinates, and its frames read back from GL against the fixed view's
// picture of the same state.
//
// The editing rules, the drop answer and the drawing steps are shared with the fixed view
// (WaveformViewBase.h and the helpers) and tested through it; here only what this view does
// differently, or wires up itself.

#include "tests/waveform_view/ViewFixture.h"
#include "waveform_view/KTWaveformView.h"
#include "waveform_view/KTWaveformViewDelegate.h"

#include <QApplication>
#include <QDragEnterEvent>
#include <QDropEvent>
#include <QImage>
#include <QMimeData>
#include <QNativeGestureEvent>
#include <QOpenGLWidget>
#include <QScrollArea>
#include <QScrollBar>
#include <QSpontaneKeyEvent>
#include <QTest>
#include <QUrl>
#include <QWheelEvent>
#include <cmath>
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

using waveform_view_test::makeWaveform;
using waveform_view_test::ViewWindow;

namespace {

// A shown scroll area whose document is the scrolling view.
class ScrollingWindow {
public:
    ScrollingWindow(int width, int height) : scrollArea_(std::make_unique<QScrollArea>()) {
        scrollArea_->resize(width, height);
        view_ = new KTWaveformView;
        view_->attachToScrollView(scrollArea_.get());
        scrollArea_->show();
        [[maybe_unused]] const bool exposed = QTest::qWaitForWindowExposed(scrollArea_.get());
        view_->fitWidth();
    }
    KTWaveformView& view() { return *view_; }
    QScrollArea& scrollArea() { return *scrollArea_; }
    int scrollX() const { return scrollArea_->horizontalScrollBar()->value(); }
    void userScrollTo(int x) { scrollArea_->horizontalScrollBar()->setValue(x); }

private:
    std::unique_ptr<QScrollArea> scrollArea_;
    KTWaveformView* view_ = nullptr;
};

// 370,000 frames: 616.7 frames a pixel over the 600-pixel area of a 650-pixel window, and
// exactly 400 after one zoom step, when the view is 975 wide.
constexpr std::int32_t kFrames = 370000;
constexpr int kY = 60;

class ScrollingViewGeometry : public testing::Test {
protected:
    void SetUp() override { view().setWaveform(makeWaveform(kFrames, 0.25f)); }
    KTWaveformView& view() { return window.view(); }
    ScrollingWindow window{650, 200};
};

TEST_F(ScrollingViewGeometry, IsTheDocumentGrowsWithTheZoomAndDrawsOverWhatShows) {
    EXPECT_EQ(window.scrollArea().widget(), &view());
    EXPECT_EQ(view().width(), 650);
    view().zoomIn();
    view().zoomIn();
    EXPECT_EQ(view().width(), 1462);
    EXPECT_EQ(view().height(), window.scrollArea().viewport()->height());
    EXPECT_EQ(view().waveformAreaRect(), QRectF(25.0, 0.0, 1412.0, view().height()));
    EXPECT_DOUBLE_EQ(view().framesPerPixel(), kFrames / 1412.0);
    window.userScrollTo(500);
    EXPECT_EQ(view().visibleRect(), QRect(500, 0, 650, view().height()));
    const auto* surface = view().findChild<QOpenGLWidget*>();
    ASSERT_NE(surface, nullptr);
    EXPECT_EQ(surface->geometry(), view().visibleRect());
}

struct PixelCase {
    std::int32_t frame;
    double pixel;
};

void PrintTo(const PixelCase& c, std::ostream* out) {
    *out << "frame " << c.frame << " at pixel " << c.pixel;
}

class ScrollingViewGeometryMapping : public ScrollingViewGeometry,
                                     public testing::WithParamInterface<PixelCase> {};

// One step in (400 frames a pixel) and scrolled: positions are the view's own, wherever
// it is scrolled to.
TEST_P(ScrollingViewGeometryMapping, FloorsFramesToOwnPixelsAndTruncatesBack) {
    const PixelCase& c = GetParam();
    view().zoomIn();
    window.userScrollTo(300);
    ASSERT_EQ(window.scrollX(), 300);
    view().setRangeStartFrame(c.frame);
    EXPECT_DOUBLE_EQ(view().rangeStartPixel(), c.pixel);
    const std::int32_t back = view().frameAtPixel(c.pixel);
    EXPECT_LE(back, c.frame);
    EXPECT_GT(back + 400, c.frame);
}

INSTANTIATE_TEST_SUITE_P(, ScrollingViewGeometryMapping,
                         testing::Values(PixelCase{0, 25.0}, PixelCase{399, 25.0},
                                         PixelCase{400, 26.0}, PixelCase{123456, 333.0},
                                         PixelCase{kFrames, 950.0}),
                         [](const testing::TestParamInfo<PixelCase>& info) {
                             return "frame" + std::to_string(info.param.frame);
                         });

TEST_F(ScrollingViewGeometry, GripsAreInOwnCoordinatesAndAsHighAsTheView) {
    view().zoomIn();
    window.userScrollTo(300);
    view().setRangeStartFrame(100000); // pixel 275
    view().setRangeEndFrame(200000);   // pixel 525
    EXPECT_EQ(view().rangeStartHandleRect(), QRectF(258.0, 0.0, 16.0, view().height()));
    EXPECT_EQ(view().rangeEndHandleRect(), QRectF(525.0, 0.0, 16.0, view().height()));
}

// Each step keeps the frame under the pivot (scroll-area coordinates) within a pixel.
TEST_F(ScrollingViewGeometry, ZoomStepsKeepTheFrameUnderThePivot) {
    view().zoomIn();
    view().zoomIn();
    window.userScrollTo(400);
    const QPointF pivot(180.0, kY);
    const auto frameUnderPivot = [&] { return view().frameAtPixel(pivot.x() + window.scrollX()); };
    const std::int32_t before = frameUnderPivot();
    view().zoomInWithPivot(pivot);
    EXPECT_EQ(view().width(), 2193);
    EXPECT_NEAR(frameUnderPivot(), before, view().framesPerPixel());
    view().zoomOutWithPivot(pivot);
    view().zoomOutWithPivot(pivot);
    EXPECT_EQ(view().width(), 974);
    EXPECT_NEAR(frameUnderPivot(), before, 2 * view().framesPerPixel());
}

TEST_F(ScrollingViewGeometry, WideningBeyondTheZoomFitsNarrowingKeepsIt) {
    view().zoomIn(); // 975 wide
    window.scrollArea().resize(800, 200);
    EXPECT_EQ(view().width(), 975);
    window.scrollArea().resize(1000, 200);
    EXPECT_EQ(view().width(), 1000);
    window.scrollArea().resize(700, 200);
    EXPECT_EQ(view().width(), 1000);
    EXPECT_EQ(view().height(), window.scrollArea().viewport()->height());
}

TEST_F(ScrollingViewGeometry, FollowsThePlayheadByScrollingItself) {
    for (int step = 0; step < 3; ++step) // 2193 wide, the deepest zoom of this file
        view().zoomIn();
    view().boundsDidFinishChanging();
    view().setPlayheadFrame(300000);
    const QRect visible = view().visibleRect();
    EXPECT_GT(window.scrollX(), 0);
    EXPECT_GE(view().playheadPixel() - 50.0, visible.left());
    EXPECT_LE(view().playheadPixel() + 50.0, visible.x() + visible.width());
    EXPECT_FALSE(view().isScrolling());
}

// Were the timer shared, the fixed view's scroll would take it over, and this view would
// never hear that its own scrolling ended.
TEST_F(ScrollingViewGeometry, ScrollEndTimerIsItsOwnNotTheFixedViews) {
    ViewWindow fixed(650, 200);
    fixed.view().setWaveform(makeWaveform(kFrames, 0.25f));
    view().zoomIn();
    fixed.view().zoomIn();
    window.userScrollTo(10);
    ASSERT_TRUE(view().isScrolling());
    fixed.userScrollTo(20);
    ASSERT_TRUE(fixed.view().isScrolling());
    EXPECT_TRUE(QTest::qWaitFor([&] { return !view().isScrolling(); }, 3000));
    EXPECT_TRUE(QTest::qWaitFor([&] { return !fixed.view().isScrolling(); }, 3000));
}

// Input: the wheel, presses and drags, a drop.

class RecordingDelegate : public KTWaveformViewDelegate {
public:
    void waveformViewDidDragPlayheadToFrame(KTWaveformView*, std::int32_t frame) override {
        add("drag " + std::to_string(frame));
    }
    void waveformViewDidChangeCurrentFrame(KTWaveformView*, std::int32_t frame) override {
        add("current " + std::to_string(frame));
    }
    void waveformViewWillChangeRange(KTWaveformView*) override { add("will change"); }
    void waveformViewDidChangeRangeStartFrameEndFrame(KTWaveformView*, std::int32_t start,
                                                      std::int32_t end) override {
        add("range " + std::to_string(start) + " " + std::to_string(end));
    }
    void waveformViewDidReceiveDraggedFileWithPath(KTWaveformView*, const QString& path) override {
        add("file " + path.toStdString());
    }
    std::string take() { return std::exchange(messages, {}); }
    void add(const std::string& message) { messages += (messages.empty() ? "" : "; ") + message; }
    std::string messages;
};

class ScrollingViewInput : public ScrollingViewGeometry {
protected:
    void SetUp() override {
        ScrollingViewGeometry::SetUp();
        view().setDelegate(&delegate);
    }
    RecordingDelegate delegate;
};

struct Wheel {
    Qt::ScrollPhase phase;
    int dx;
    int dy;
};

// Sent as the window system's own, so that QApplication passes on what the view ignores.
// A trackpad reports points and the same as angles; a plain wheel only angles.
void sendWheel(QWidget* widget, QPointF position, const Wheel& wheel) {
    const QPoint delta(wheel.dx, wheel.dy);
    QWheelEvent event(position, widget->mapToGlobal(position),
                      wheel.phase == Qt::NoScrollPhase ? QPoint() : delta, delta, Qt::NoButton,
                      Qt::NoModifier, wheel.phase, false);
    QSpontaneKeyEvent::setSpontaneous(&event);
    qApp->notify(widget, &event);
}

class WheelCounter : public QObject {
public:
    bool eventFilter(QObject*, QEvent* event) override {
        count += event->type() == QEvent::Wheel;
        return false;
    }
    int count = 0;
};

struct WheelCase {
    const char* name;
    int zoomStepsBefore;
    std::vector<Wheel> events;
    int widthAfter;
    int passedOn; // to the scroll area, which scrolls with them
};

void PrintTo(const WheelCase& c, std::ostream* out) {
    *out << c.name;
}

class ScrollingViewInputWheel : public ScrollingViewInput,
                                public testing::WithParamInterface<WheelCase> {};

TEST_P(ScrollingViewInputWheel, EveryVerticalEventZoomsAFullStep) {
    const WheelCase& c = GetParam();
    for (int step = 0; step < c.zoomStepsBefore; ++step)
        view().zoomIn();
    WheelCounter scrollArea;
    window.scrollArea().viewport()->installEventFilter(&scrollArea);
    for (const Wheel& wheel : c.events)
        sendWheel(&view(), QPointF(window.scrollX() + 200.0, kY), wheel);
    EXPECT_EQ(view().width(), c.widthAfter);
    EXPECT_EQ(scrollArea.count, c.passedOn);
}

constexpr auto kWheel = Qt::NoScrollPhase;
constexpr auto kBegin = Qt::ScrollBegin;
constexpr auto kUpdate = Qt::ScrollUpdate;

INSTANTIATE_TEST_SUITE_P(
    , ScrollingViewInputWheel,
    testing::Values(
        WheelCase{"NotchUpZoomsIn", 0, {{kWheel, 0, 120}}, 975, 0},
        WheelCase{"NotchDownZoomsOut", 2, {{kWheel, 0, -120}}, 974, 0},
        // The begin carries no movement and goes on; each small update is a whole step.
        WheelCase{"EachSmallSwipeEventZoomsAStep",
                  0,
                  {{kBegin, 0, 0}, {kUpdate, 0, 2}, {kUpdate, 0, 1}, {kUpdate, 0, 3}},
                  2193,
                  1},
        WheelCase{
            "SwipeDownZoomsOutAStepPerEvent", 3, {{kUpdate, 0, -1}, {kUpdate, 0, -1}}, 974, 0},
        WheelCase{"SidewaysIsPassedOn", 1, {{kWheel, 120, 0}}, 975, 1},
        WheelCase{"DiagonalIsPassedOn", 1, {{kUpdate, 3, 5}}, 975, 1}),
    [](const testing::TestParamInfo<WheelCase>& info) { return std::string(info.param.name); });

// The fixed view zooms a step per quarter of pinch; this one has no pinch at all.
TEST_F(ScrollingViewInput, PinchDoesNotZoom) {
    const QPointF position(200.0, kY);
    for (const auto& [type, value] :
         {std::pair(Qt::BeginNativeGesture, 0.0), std::pair(Qt::ZoomNativeGesture, 0.6)}) {
        QNativeGestureEvent event(type, QPointingDevice::primaryPointingDevice(), 2, position,
                                  position, view().mapToGlobal(position), value, QPointF());
        QApplication::sendEvent(&view(), &event);
    }
    EXPECT_EQ(view().width(), 650);
}

TEST_F(ScrollingViewInput, ZoomingOutLogsFramesPerPixelAlsoAtTheWidestZoom) {
    testing::internal::CaptureStderr();
    sendWheel(&view(), QPointF(200.0, kY), {kWheel, 0, -120});
    EXPECT_EQ(view().width(), 650);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "fpp: 616.666667\n");
    view().zoomIn();
    testing::internal::CaptureStderr();
    view().zoomOut();
    EXPECT_EQ(view().width(), 650);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "fpp: 616.666667\n");
}

// One step in and scrolled by 300: the range [100000, 300000) lies on own pixels
// [275, 775), the end grip on [775, 791).
TEST_F(ScrollingViewInput, PressesAndDragsAreTakenInOwnCoordinates) {
    view().zoomIn();
    window.userScrollTo(300);
    view().setRangeStartFrame(100000);
    view().setRangeEndFrame(300000);
    QTest::mouseClick(&view(), Qt::LeftButton, {}, QPoint(500, kY));
    EXPECT_EQ(delegate.take(), "current 190000");
    // Grabbed 5 pixels right of the range end, which keeps that distance.
    QTest::mousePress(&view(), Qt::LeftButton, {}, QPoint(780, kY));
    QTest::mouseMove(&view(), QPoint(900, kY));
    QTest::mouseRelease(&view(), Qt::LeftButton, {}, QPoint(900, kY));
    EXPECT_EQ(delegate.take(), "drag 100000; will change; range 100000 348000");
}

TEST_F(ScrollingViewInput, HeldBeyondTheRightEdgeKeepsScrollingWithThePlayheadUnderIt) {
    for (int step = 0; step < 3; ++step) // 2193 wide
        view().zoomIn();
    window.userScrollTo(0);
    QTest::mousePress(&view(), Qt::LeftButton, {}, QPoint(325, kY));
    // 50 pixels beyond the right edge of the scroll area.
    QTest::mouseMove(&view(), QPoint(700, kY));
    const int scrollAfterMove = window.scrollX();
    QTest::qWait(340);
    EXPECT_GT(window.scrollX() - scrollAfterMove, 3);
    EXPECT_NEAR(view().playheadPixel(), 700 + window.scrollX(), 80.0);
    QTest::mouseRelease(&view(), Qt::LeftButton, {}, QPoint(700 + window.scrollX(), kY));
}

TEST_F(ScrollingViewInput, DroppedFileReachesItsDelegate) {
    const QString path = QStringLiteral("/music/take.wav"); // named as sound; need not exist
    QMimeData data;
    data.setUrls({QUrl::fromLocalFile(path)});
    QDragEnterEvent enter(QPoint(300, kY), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(&view(), &enter);
    EXPECT_TRUE(enter.isAccepted());
    QDropEvent drop(QPointF(300, kY), Qt::CopyAction, &data, Qt::LeftButton, Qt::NoModifier);
    QApplication::sendEvent(&view(), &drop);
    EXPECT_TRUE(QTest::qWaitFor([&] { return !delegate.messages.empty(); }, 2000));
    EXPECT_EQ(delegate.take(), "file " + path.toStdString());
}

// What is drawn: the scrolling view's frame, read back from its GL surface, is the fixed
// view's frame of the same state, pixel for pixel.

struct PictureCase {
    const char* name;
    std::int32_t frames; // 0: no file, the drop zone
    int zoomSteps;
    int scrollX;
    int windowWidth; // the window is resized to this last
};

void PrintTo(const PictureCase& c, std::ostream* out) {
    *out << c.name;
}

// Puts either view into the state of `c`.
template <class Window> void applyState(Window& window, const PictureCase& c) {
    auto& view = window.view();
    if (c.frames > 0) {
        // Buckets of several heights, so that a strip drawn off by a bucket shows.
        std::vector<float> levels;
        for (int block = 0; block < c.frames / 1000; ++block)
            levels.push_back(0.05f + 0.05f * static_cast<float>(block % 9));
        view.setWaveform(makeWaveform(c.frames, 0.1f, levels));
        view.setRangeStartFrame(c.frames / 5);
        view.setRangeEndFrame(c.frames / 2);
        view.setPlayheadFrame(c.frames / 3);
    }
    for (int step = 0; step < c.zoomSteps; ++step)
        view.zoomIn();
    // Drawn once before the scroll, so the scroll must move what is drawn.
    QApplication::processEvents();
    window.userScrollTo(c.scrollX);
    window.scrollArea().resize(c.windowWidth, 200);
    QApplication::processEvents();
}

class ScrollingViewRendering : public testing::TestWithParam<PictureCase> {};

TEST_P(ScrollingViewRendering, DrawsWhatTheFixedViewDrawsInTheSameState) {
    const PictureCase& c = GetParam();
    ScrollingWindow scrolling(650, 200);
    ViewWindow fixed(650, 200);
    applyState(scrolling, c);
    applyState(fixed, c);
    ASSERT_EQ(scrolling.scrollX(), fixed.scrollX());
    ASSERT_EQ(scrolling.view().visibleRect(), fixed.view().documentVisibleRect());

    const QImage expected = fixed.view().grabFramebuffer();
    const QImage actual = scrolling.view().grabFramebuffer();
    ASSERT_EQ(actual.size(), expected.size());
    int differing = 0;
    for (int y = 0; y < actual.height(); ++y)
        for (int x = 0; x < actual.width(); ++x)
            differing += actual.pixel(x, y) != expected.pixel(x, y);
    EXPECT_EQ(differing, 0);
    // Not a blank frame that both got wrong: the playhead's column is white.
    if (c.frames > 0) {
        const int column = static_cast<int>(scrolling.view().playheadPixel()) - c.scrollX;
        if (column >= 0 && column < actual.width()) {
            EXPECT_EQ(actual.pixel(column, actual.height() / 2), qRgb(255, 255, 255));
        }
    }
}

INSTANTIATE_TEST_SUITE_P(
    , ScrollingViewRendering,
    testing::Values(PictureCase{"EmptyViewShowsTheDropZone", 0, 0, 0, 650},
                    PictureCase{"WholeFile", kFrames, 0, 0, 650},
                    PictureCase{"ZoomedAndScrolled", kFrames, 3, 900, 650},
                    PictureCase{"ZoomedThenNarrowed", kFrames, 2, 300, 500},
                    // Ten million frames at the deepest zoom: the view is some 56,000
                    // pixels wide, more than GL makes a framebuffer.
                    PictureCase{"DeepestZoomOfALongFile", 10000000, 11, 27800, 650}),
    [](const testing::TestParamInfo<PictureCase>& info) { return std::string(info.param.name); });

} // namespace
