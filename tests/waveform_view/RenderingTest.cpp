// What the view draws, read back from its real GL context (Mesa's software renderer
// under Xvfb in CI). Colours are compared per 8-bit channel with a tolerance of a few
// steps: the gradients are interpolated per pixel and the blends rounded.

#include "tests/support/Labelled.h"
#include "tests/waveform_view/ViewFixture.h"
#include "waveform_view/BeatGridDrawing.h"

#include <QApplication>
#include <QImage>
#include <QScreen>
#include <QTest>
#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <ostream>
#include <string>

using waveform_view_test::makeWaveform;
using waveform_view_test::ViewWindow;

namespace {

struct Rgb {
    double r, g, b;
};

constexpr Rgb kBackgroundBottom{0.0, 0.17 * 255, 0.29 * 255};
constexpr Rgb kBackgroundTop{0.0, 0.30 * 255, 0.43 * 255};
constexpr Rgb kWaveform{0.16 * 255, 0.64 * 255, 1.0 * 255};
constexpr Rgb kWhite{255, 255, 255};

Rgb mix(const Rgb& over, const Rgb& under, double alpha) {
    return {alpha * over.r + (1 - alpha) * under.r, alpha * over.g + (1 - alpha) * under.g,
            alpha * over.b + (1 - alpha) * under.b};
}

// The background colour of pixel row `row` in a view `height` rows high: the gradient
// runs from the bottom edge to the top edge, sampled at pixel centres.
Rgb backgroundAt(int row, int height) {
    const double up = 1.0 - (row + 0.5) / height;
    return mix(kBackgroundTop, kBackgroundBottom, up);
}

Rgb pixelAt(const QImage& image, int x, int y) {
    const QRgb value = image.pixel(x, y);
    return {static_cast<double>(qRed(value)), static_cast<double>(qGreen(value)),
            static_cast<double>(qBlue(value))};
}

testing::AssertionResult near(const Rgb& actual, const Rgb& expected, double tolerance = 3.0) {
    if (std::fabs(actual.r - expected.r) <= tolerance &&
        std::fabs(actual.g - expected.g) <= tolerance &&
        std::fabs(actual.b - expected.b) <= tolerance)
        return testing::AssertionSuccess();
    return testing::AssertionFailure()
           << "got (" << actual.r << ", " << actual.g << ", " << actual.b << "), expected ("
           << expected.r << ", " << expected.g << ", " << expected.b << ")";
}

bool isWaveform(const Rgb& colour) {
    return near(colour, kWaveform, 6.0);
}
bool isWhite(const Rgb& colour) {
    return near(colour, kWhite, 6.0);
}

QImage grab(KTFixedWaveformView& view) {
    return view.grabFramebuffer();
}

// Blending leaves the frame opaque, or the window would show (and grab) it wrongly.
testing::AssertionResult opaque(const QImage& image, int x, int y) {
    if (qAlpha(image.pixel(x, y)) == 255)
        return testing::AssertionSuccess();
    return testing::AssertionFailure() << "alpha " << qAlpha(image.pixel(x, y));
}

// 600 peak samples over a 600-pixel area: 200 buckets of 3 samples, 3 pixels each.
constexpr std::int32_t kFrames = 600000;

class RenderingTest : public testing::Test {
protected:
    KTFixedWaveformView& view() { return window.view(); }
    ViewWindow window{650, 200};
};

TEST_F(RenderingTest, GlobalMaximumReachesNineTenthsOfTheHalfHeightOthersScale) {
    // Every bucket at a quarter of the maximum except buckets 100 to 102 (samples 300 to
    // 308), which hold it.
    std::vector<float> levels(600, 0.1f);
    for (int sample = 300; sample < 309; ++sample)
        levels[static_cast<std::size_t>(sample)] = 0.4f;
    view().setWaveform(makeWaveform(kFrames, 0.1f, levels));
    const QImage image = grab(view());
    const int height = image.height();

    auto bandRows = [&](int x) {
        int rows = 0;
        for (int y = 0; y < height; ++y)
            if (isWaveform(pixelAt(image, x, y)))
                ++rows;
        return rows;
    };
    // Bucket 101 spans pixels 328 to 331; bucket 20 is far from the peak.
    EXPECT_TRUE(isWaveform(pixelAt(image, 329, height / 4)));
    EXPECT_NEAR(bandRows(329), 0.9 * height, 3.0);
    EXPECT_NEAR(bandRows(90), 0.25 * 0.9 * height, 3.0);
    // Mirrored about the axis: the band reaches as far up as down.
    EXPECT_TRUE(isWaveform(pixelAt(image, 329, static_cast<int>(0.06 * height))));
    EXPECT_TRUE(isWaveform(pixelAt(image, 329, static_cast<int>(0.94 * height))));
    EXPECT_FALSE(isWaveform(pixelAt(image, 329, static_cast<int>(0.04 * height))));
    EXPECT_FALSE(isWaveform(pixelAt(image, 329, static_cast<int>(0.96 * height))));
}

TEST_F(RenderingTest, PlayheadIsOneWhiteColumnAtTheTruncatedPixel) {
    view().setWaveform(makeWaveform(kFrames, 0.25f));
    view().setPlayheadFrame(123456); // floor(123.456) + 25
    const QImage image = grab(view());
    for (int row : {5, 50, 150}) {
        EXPECT_TRUE(isWhite(pixelAt(image, 148, row)));
        EXPECT_FALSE(isWhite(pixelAt(image, 147, row)));
        EXPECT_FALSE(isWhite(pixelAt(image, 149, row)));
    }
}

struct RangeFrameCase {
    int width;
    bool edgesShown; // both edge lines of the frame
    bool topLineShown;
};

void PrintTo(const RangeFrameCase& c, std::ostream* out) {
    *out << "range " << c.width << " pixels wide";
}

class RangeFrameRendering : public RenderingTest,
                            public testing::WithParamInterface<RangeFrameCase> {};

TEST_P(RangeFrameRendering, GripsAlwaysEdgesAndTopLineOnlyWhenThereIsRoom) {
    const RangeFrameCase& c = GetParam();
    view().setWaveform(makeWaveform(kFrames, 0.25f));
    view().setPlayheadFrame(kFrames);
    constexpr int start = 225;
    const int end = start + c.width;
    view().setRangeStartFrame(200000);
    view().setRangeEndFrame(200000 + 1000 * c.width);
    ASSERT_DOUBLE_EQ(view().rangeStartPixel(), start);
    ASSERT_DOUBLE_EQ(view().rangeEndPixel(), end);
    const QImage image = grab(view());
    const int bottom = image.height() - 1;

    // The solid grips at both ends of both edges.
    for (int row : {5, bottom - 5}) {
        EXPECT_TRUE(isWhite(pixelAt(image, start - 8, row))) << row;
        for (int x = start - 16; x < end + 16; ++x)
            ASSERT_TRUE(opaque(image, x, row)) << x;
        EXPECT_TRUE(isWhite(pixelAt(image, end + 8, row))) << row;
    }
    // The edge lines: the first two and the last two columns of the range.
    for (int x : {start, start + 1, end - 2, end - 1})
        EXPECT_EQ(isWhite(pixelAt(image, x, 60)), c.edgesShown) << x;
    EXPECT_EQ(isWhite(pixelAt(image, (start + end) / 2, 2)), c.topLineShown);
    EXPECT_EQ(isWhite(pixelAt(image, (start + end) / 2, bottom - 2)), c.topLineShown);
    // The centre stays open.
    if (c.width > 40) {
        EXPECT_TRUE(isWaveform(pixelAt(image, (start + end) / 2, 60)));
    }
}

INSTANTIATE_TEST_SUITE_P(, RangeFrameRendering,
                         testing::Values(RangeFrameCase{0, false, false},
                                         RangeFrameCase{12, true, true},
                                         RangeFrameCase{13, true, true},
                                         RangeFrameCase{200, true, true}),
                         [](const testing::TestParamInfo<RangeFrameCase>& info) {
                             return "width" + std::to_string(info.param.width);
                         });

struct EmptyStripCase : test_support::Labelled {
    std::int32_t frames;
    float level;
};

class EmptyStrip : public RenderingTest, public testing::WithParamInterface<EmptyStripCase> {};

TEST_P(EmptyStrip, DrawsNoBandAndNoDropZone) {
    view().setWaveform(makeWaveform(GetParam().frames, GetParam().level));
    view().setRangeEndFrame(0);
    const QImage image = grab(view());
    // Right of the range's frame, which sits at the start of the area.
    for (int x = 60; x < 600; x += 7)
        for (int y : {10, 50, 90, 110, 150, 190})
            ASSERT_TRUE(near(pixelAt(image, x, y), backgroundAt(y, image.height()), 4.0))
                << x << ", " << y;
}

INSTANTIATE_TEST_SUITE_P(, EmptyStrip,
                         testing::Values(EmptyStripCase{"silent", kFrames, 0.0f},
                                         EmptyStripCase{"noBuckets", 0, 0.0f},
                                         EmptyStripCase{"oneBucket", 1000, 0.3f}),
                         test_support::byLabel);

// The screen is drawn again only where an edit changed the frame; after each edit it shows
// what the whole frame of that state is.
TEST_F(RenderingTest, ScreenAfterEachEditShowsTheWholeFrame) {
    view().setWaveform(makeWaveform(kFrames, 0.25f));
    view().setPlayheadFrame(100000);
    QApplication::processEvents();
    struct Edit {
        const char* name;
        std::int32_t start, end, playhead;
    };
    // 1000 frames a pixel; the range starts as the whole file.
    const Edit edits[] = {{"endLeft", 0, 400000, 100000},
                          {"endRight", 0, 430000, 100000},
                          {"startRight", 200000, 430000, 100000},
                          {"narrowerThanItsCaps", 420000, 430000, 100000},
                          {"startLeftAgain", 150000, 430000, 100000},
                          {"playheadOn", 150000, 430000, 101000}};
    for (const Edit& edit : edits) {
        view().setRangeStartFrame(edit.start);
        view().setRangeEndFrame(edit.end);
        view().setPlayheadFrame(edit.playhead);
        const QImage whole = grab(view());
        const QPoint at = view().mapToGlobal(QPoint(0, 0));
        // The frame reaches the screen on an event of its own, later on a busy machine; a
        // band left stale stays so however long one waits.
        int stale = -1;
        [[maybe_unused]] const bool shown = QTest::qWaitFor(
            [&] {
                QApplication::processEvents();
                const QImage screen =
                    view()
                        .screen()
                        ->grabWindow(0, at.x(), at.y(), view().width(), view().height())
                        .toImage();
                if (screen.size() != whole.size())
                    return false;
                stale = 0;
                for (int y = 0; y < whole.height(); ++y)
                    for (int x = 0; x < whole.width(); ++x)
                        stale += !near(pixelAt(screen, x, y), pixelAt(whole, x, y));
                return stale == 0;
            },
            2000);
        EXPECT_EQ(stale, 0) << edit.name;
    }
}

TEST(LongFileRendering, BucketsBeyondSixteenBitsAreDrawnWhereTheyBelong) {
    // 40,000 peak samples: at the deepest zoom there is one bucket per sample, more than
    // a 16-bit bucket index holds. Sample 39,000 alone holds the maximum.
    constexpr std::int32_t samples = 40000;
    constexpr std::size_t tall = 39000;
    std::vector<float> levels(samples, 0.1f);
    levels[tall] = 0.4f;
    ViewWindow window(650, 200);
    KTFixedWaveformView& view = window.view();
    view.setWaveform(makeWaveform(samples * 1000, 0.1f, levels));
    while (view.framesPerPixel() > KTFixedWaveformView::kDeepestFramesPerPixel)
        view.zoomIn();
    const double bucketWidth = view.waveformAreaRect().width() / samples;
    ASSERT_GE(bucketWidth, 3.0);
    const double tallX = 25.0 + tall * bucketWidth;
    window.userScrollTo(static_cast<int>(tallX) - 300);
    const QImage image = grab(view);
    const int x = static_cast<int>(std::ceil(tallX)) - view.documentVisibleRect().x();
    const int height = image.height();
    // Row 0.3 of the height is above the other buckets' band, below the peak's.
    const int row = static_cast<int>(0.3 * height);
    EXPECT_TRUE(isWaveform(pixelAt(image, x, row)));
    EXPECT_FALSE(isWaveform(pixelAt(image, x - 100, row)));
    EXPECT_FALSE(isWaveform(pixelAt(image, x + 100, row)));

    // The seam between the runs of 32,768 buckets is bridged.
    const double seamX = 25.0 + 32767.5 * bucketWidth;
    window.userScrollTo(static_cast<int>(seamX) - 300);
    const QImage seam = grab(view);
    const int seamColumn = static_cast<int>(seamX) - view.documentVisibleRect().x();
    for (int column = seamColumn - 4; column <= seamColumn + 4; ++column)
        EXPECT_TRUE(isWaveform(pixelAt(seam, column, height / 2 - 10))) << column;
}

// Beats 50 pixels apart, four to a bar: a faint column on each beat, a stronger one on
// each bar's first beat with its number beside it at the top. The grid arrives after the
// waveform, as the analysis's does, and goes when hidden.
TEST_F(RenderingTest, BeatGridArrivingLaterDrawsBeatsAndNumberedBars) {
    view().setWaveform(makeWaveform(kFrames, 0.0f));
    view().setRangeEndFrame(kFrames);
    const QImage before = grab(view());
    waveform_view::BeatMarks marks;
    for (int beat = 0; beat < 12; ++beat)
        marks.push_back({beat * 50000, beat / 4 + 1, beat % 4 == 0});
    view().setBeatMarks(marks);
    const QImage image = grab(view());
    // Beat 2 (frame 50000) is on pixel 75, bar 2 (frame 200000) on pixel 225.
    const Rgb background = pixelAt(before, 75, 150);
    const Rgb beat = pixelAt(image, 75, 150), bar = pixelAt(image, 225, 150);
    EXPECT_GT(beat.b, background.b + 10);
    EXPECT_GT(bar.b, beat.b + 30);
    EXPECT_TRUE(near(pixelAt(image, 100, 150), background));
    EXPECT_TRUE(opaque(image, 225, 150));
    // The number's digits, to the right of the bar line at the top.
    int lit = 0;
    for (int x = 226; x < 240; ++x)
        for (int y = 4; y < 18; ++y)
            lit += pixelAt(image, x, y).b > pixelAt(before, x, y).b + 40;
    EXPECT_GT(lit, 6);
    view().setShowsBeatGrid(false);
    EXPECT_TRUE(near(pixelAt(grab(view()), 225, 150), background));
}

// Zoomed out, the beats go first, then bar lines and numbers thin to every 2, 4, 8... bars,
// so that lines stay at least 4 pixels apart and numbers never overlap.
class GridThinning : public testing::TestWithParam<double> {};

TEST_P(GridThinning, KeepsLinesApartAndNumbersClear) {
    const double framesPerPixel = GetParam();
    waveform_view::BeatMarks marks; // 120 bpm at 44.1 kHz, 4/4, 400 bars
    for (int beat = 0; beat < 1600; ++beat)
        marks.push_back({beat * 22050, beat / 4 + 1, beat % 4 == 0});
    const auto layout = waveform_view::beatGridLayout(marks, framesPerPixel, 0, 1e9);
    const auto apart = [](const std::vector<double>& pixels, double gap) {
        for (std::size_t i = 1; i < pixels.size(); ++i)
            if (pixels[i] - pixels[i - 1] < gap)
                return false;
        return true;
    };
    std::vector<double> lines = layout.beatLines, labelRights;
    lines.insert(lines.end(), layout.barLines.begin(), layout.barLines.end());
    std::sort(lines.begin(), lines.end());
    EXPECT_TRUE(apart(lines, waveform_view::kMinLineSpacing - 1));
    double lastRight = -1e9;
    for (const waveform_view::BarLabel& label : layout.labels) {
        EXPECT_GT(label.x, lastRight) << "bar " << label.bar;
        lastRight = label.x + waveform_view::kLabelInset +
                    double(std::to_string(label.bar).size()) *
                        (waveform_view::kDigitWidth + waveform_view::kDigitCell);
    }
    EXPECT_FALSE(layout.labels.empty());
    EXPECT_EQ(layout.labels.front().bar, 1);
}

INSTANTIATE_TEST_SUITE_P(, GridThinning, testing::Values(100.0, 1000.0, 3000.0, 10000.0, 60000.0),
                         [](const testing::TestParamInfo<double>& info) {
                             return "framesPerPixel" + std::to_string(std::lround(info.param));
                         });

} // namespace
