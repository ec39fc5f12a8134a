// The scrolling view (KTWaveformView) in one smoke test each for input and drawing: presses
// and drags are taken in its own coordinates when zoomed and scrolled, and its frame, read
// back from GL, is the fixed view's frame of the same state. The editing rules, gestures,
// drop and drawing steps are shared with the fixed view and tested through it.

#include "tests/support/Labelled.h"
#include "tests/waveform_view/ViewFixture.h"
#include "waveform_view/KTWaveformView.h"
#include "waveform_view/KTWaveformViewDelegate.h"

#include <QApplication>
#include <QImage>
#include <QScrollArea>
#include <QScrollBar>
#include <QTest>
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
    std::string take() { return std::exchange(messages, {}); }
    void add(const std::string& message) { messages += (messages.empty() ? "" : "; ") + message; }
    std::string messages;
};

class ScrollingViewInput : public testing::Test {
protected:
    void SetUp() override {
        view().setWaveform(makeWaveform(kFrames, 0.25f));
        view().setDelegate(&delegate);
    }
    KTWaveformView& view() { return window.view(); }
    ScrollingWindow window{650, 200};
    RecordingDelegate delegate;
};

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

// What is drawn: the scrolling view's frame, read back from its GL surface, is the fixed
// view's frame of the same state, pixel for pixel.

struct PictureCase : test_support::Labelled {
    std::int32_t frames;
    int zoomSteps;
    int scrollX;
    int windowWidth; // the window is resized to this last
};

// Puts either view into the state of `c`.
template <class Window> void applyState(Window& window, const PictureCase& c) {
    auto& view = window.view();
    // Buckets of several heights, so that a strip drawn off by a bucket shows.
    std::vector<float> levels;
    for (int block = 0; block < c.frames / 1000; ++block)
        levels.push_back(0.05f + 0.05f * static_cast<float>(block % 9));
    view.setWaveform(makeWaveform(c.frames, 0.1f, levels));
    view.setRangeStartFrame(c.frames / 5);
    view.setRangeEndFrame(c.frames / 2);
    view.setPlayheadFrame(c.frames / 3);
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
    const int column = static_cast<int>(scrolling.view().playheadPixel()) - c.scrollX;
    if (column >= 0 && column < actual.width()) {
        EXPECT_EQ(actual.pixel(column, actual.height() / 2), qRgb(255, 255, 255));
    }
}

INSTANTIATE_TEST_SUITE_P(, ScrollingViewRendering,
                         testing::Values(PictureCase{"ZoomedThenNarrowed", kFrames, 2, 300, 500},
                                         // Ten million frames at the deepest zoom: the view is some
                                         // 56,000 pixels wide, more than GL makes a framebuffer.
                                         PictureCase{"DeepestZoomOfALongFile", 10000000, 11, 27800,
                                                     650}),
                         test_support::byLabel);

} // namespace
