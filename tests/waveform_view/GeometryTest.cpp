// The view's geometry and state: frame/pixel mapping, handles, zoom to fit, following the
// playhead, and the resize rule. The window is real (shown), so the scroll area lays the
// document out as it does in the application.

#include "tests/waveform_view/ViewFixture.h"

#include <QScrollBar>
#include <QTest>
#include <gtest/gtest.h>
#include <ostream>
#include <string>

using waveform_view_test::makeWaveform;
using waveform_view_test::ViewWindow;

namespace {

// 600,000 frames over a 600-pixel area: exactly 1000 frames a pixel.
constexpr std::int32_t kFrames = 600000;

class GeometryTest : public testing::Test {
protected:
    void SetUp() override { window.view().setWaveform(makeWaveform(kFrames, 0.25f)); }
    KTFixedWaveformView& view() { return window.view(); }
    void zoomInSteps(int steps) {
        for (int i = 0; i < steps; ++i)
            view().zoomIn();
    }
    ViewWindow window{650, 200};
};

struct PixelCase {
    std::int32_t frame;
    double pixel;
};

void PrintTo(const PixelCase& c, std::ostream* out) {
    *out << "frame " << c.frame << " at pixel " << c.pixel;
}

class FramePixelMapping : public GeometryTest, public testing::WithParamInterface<PixelCase> {};

TEST_P(FramePixelMapping, FloorsFramesToPixelsAndTruncatesBack) {
    const PixelCase& c = GetParam();
    view().setPlayheadFrame(c.frame);
    EXPECT_DOUBLE_EQ(view().playheadPixel(), c.pixel);
    // Back from the pixel: the first frame of that column, never past the frame.
    const std::int32_t back = view().frameAtPixel(c.pixel);
    EXPECT_LE(back, c.frame);
    EXPECT_GT(back + 1000, c.frame);
}

INSTANTIATE_TEST_SUITE_P(, FramePixelMapping,
                         testing::Values(PixelCase{0, 25.0}, PixelCase{999, 25.0},
                                         PixelCase{1000, 26.0}, PixelCase{123456, 148.0},
                                         PixelCase{kFrames, 625.0}),
                         [](const testing::TestParamInfo<PixelCase>& info) {
                             return "frame" + std::to_string(info.param.frame);
                         });

TEST_F(GeometryTest, ShortFileSharesPixelColumnsWithFractionalFramesPerPixel) {
    view().setWaveform(makeWaveform(300, 0.25f));
    EXPECT_DOUBLE_EQ(view().framesPerPixel(), 0.5);
    view().setRangeStartFrame(1);
    EXPECT_DOUBLE_EQ(view().rangeStartPixel(), 27.0);
    EXPECT_EQ(view().frameAtPixel(27.9), 1);
}

TEST_F(GeometryTest, SetWaveformResetsPlayheadRangeAndZoom) {
    zoomInSteps(2);
    view().setRangeStartFrame(10);
    view().setPlayheadFrame(20);
    view().setWaveform(makeWaveform(90000, 0.25f));
    EXPECT_EQ(view().playheadFrame(), 0);
    EXPECT_EQ(view().rangeStartFrame(), 0);
    EXPECT_EQ(view().rangeEndFrame(), 90000);
    EXPECT_EQ(view().documentView()->width(), 650);
}

TEST_F(GeometryTest, FitWidthMakesTheDocumentAsWideAsTheScrollAreaAndTheViewCoverIt) {
    zoomInSteps(3);
    ASSERT_GT(view().documentView()->width(), 650);
    view().fitWidth();
    EXPECT_EQ(view().documentView()->width(), 650);
    EXPECT_DOUBLE_EQ(view().framesPerPixel(), 1000.0);
    EXPECT_EQ(view().geometry(), view().documentVisibleRect());
}

class FollowTest : public GeometryTest {
protected:
    void SetUp() override {
        GeometryTest::SetUp();
        zoomInSteps(4); // about 5 times the window
        view().boundsDidFinishChanging();
        view().setPlayheadFrame(0);
    }
    // Whether the follow window around the playhead is on screen.
    bool playheadInView() {
        const double pixel = view().playheadPixel();
        const QRect visible = view().documentVisibleRect();
        return pixel - 50.0 >= visible.left() && pixel + 50.0 <= visible.x() + visible.width();
    }
};

TEST_F(FollowTest, PlaybackScrollsTheLeastThatKeepsThePlayheadInView) {
    view().setPlayheadFrame(400000);
    EXPECT_TRUE(playheadInView());
    EXPECT_DOUBLE_EQ(view().documentVisibleRect().right() + 1, view().playheadPixel() + 50.0);
    EXPECT_EQ(view().geometry(), view().documentVisibleRect());
    EXPECT_FALSE(view().isScrolling());
}

TEST_F(FollowTest, RecentUserScrollSuspendsFollowingForOneSecond) {
    window.userScrollTo(0);
    window.userScrollTo(5);
    ASSERT_TRUE(view().isScrolling());
    view().setPlayheadFrame(400000);
    EXPECT_EQ(window.scrollX(), 5);
    EXPECT_EQ(view().playheadFrame(), 400000);

    // Still suspended well within the second, resumed after it.
    QTest::qWait(400);
    EXPECT_TRUE(view().isScrolling());
    EXPECT_TRUE(QTest::qWaitFor([&] { return !view().isScrolling(); }, 3000));
    view().setPlayheadFrame(400001);
    EXPECT_TRUE(playheadInView());
}

TEST_F(FollowTest, PlaybackPositionIsDroppedWhileDragging) {
    view().setPlayheadFrame(1000);
    view().setDragging(true);
    view().setPlayheadFrame(400000);
    EXPECT_EQ(view().playheadFrame(), 1000);
    EXPECT_EQ(window.scrollX(), 0);
    view().setDragging(false);
    view().setPlayheadFrame(400000);
    EXPECT_EQ(view().playheadFrame(), 400000);
}

TEST_F(FollowTest, FollowThatScrollsNothingLeavesTheNextScrollTakenAsTheViewsOwn) {
    view().setPlayheadFrame(1000); // already in view: nothing scrolls
    EXPECT_TRUE(view().isAutoscrolling());
    window.userScrollTo(30);
    EXPECT_FALSE(view().isScrolling());
    EXPECT_FALSE(view().isAutoscrolling());
}

TEST_F(GeometryTest, WideningBeyondTheZoomedDocumentFitsNarrowingKeepsTheZoom) {
    zoomInSteps(1); // 975 wide
    const int zoomed = view().documentView()->width();
    window.scrollArea().resize(800, 200);
    EXPECT_EQ(view().documentView()->width(), zoomed);
    window.scrollArea().resize(1000, 200);
    EXPECT_EQ(view().documentView()->width(), 1000);
    window.scrollArea().resize(700, 200);
    EXPECT_EQ(view().documentView()->width(), 1000);
    EXPECT_EQ(view().geometry(), view().documentVisibleRect());
}

TEST(GeometryWithoutWaveform, EverythingMapsToTheAreaStartAndResizesFit) {
    ViewWindow window(650, 200);
    KTFixedWaveformView& view = window.view();
    EXPECT_EQ(view.framesPerPixel(), 0.0);
    view.setPlayheadFrame(5000);
    EXPECT_DOUBLE_EQ(view.playheadPixel(), 25.0);
    window.scrollArea().resize(500, 200);
    EXPECT_EQ(view.documentView()->width(), 500);
}

} // namespace
