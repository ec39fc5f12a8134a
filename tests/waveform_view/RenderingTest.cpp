// What the view draws, read back from its real GL context (Mesa's software renderer
// under Xvfb in CI). Colours are compared per 8-bit channel with a tolerance of a few
// steps: the gradients are interpolated per pixel and the blends rounded.

#include "tests/waveform_view/ViewFixture.h"
#include "waveform_view/ImageTextures.h"

#include <QApplication>
#include <QImage>
#include <QOpenGLContext>
#include <QOpenGLFunctions_2_1>
#include <QOpenGLVersionFunctionsFactory>
#include <QScreen>
#include <QTest>
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
// The drop zone's arrow is drawn in the palette's light blue.
constexpr Rgb kArrowBlue{0x7C, 0xC6, 0xF2};

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

TEST_F(RenderingTest, BackgroundIsAVerticalGradientFromTopToBottomColour) {
    const QImage image = grab(view());
    const int height = image.height();
    for (int x : {0, 5, image.width() - 1}) {
        EXPECT_TRUE(near(pixelAt(image, x, 0), backgroundAt(0, height)));
        EXPECT_TRUE(near(pixelAt(image, x, height - 1), backgroundAt(height - 1, height)));
    }
    // The ends of the gradient are the two colours themselves.
    EXPECT_TRUE(near(pixelAt(image, 0, 0), kBackgroundTop, 2.0));
    EXPECT_TRUE(near(pixelAt(image, 0, height - 1), kBackgroundBottom, 2.0));
}

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

TEST_F(RenderingTest, OutsideTheRangeIsDimmedEvenlyBeforeAndLighterBelowAfter) {
    view().setWaveform(makeWaveform(kFrames, 0.25f));
    view().setRangeStartFrame(200000); // pixel 225
    view().setRangeEndFrame(400000);   // pixel 425
    const QImage image = grab(view());
    const int height = image.height();
    for (int row : {30, 60, 140, 170}) {
        SCOPED_TRACE(row);
        const Rgb background = backgroundAt(row, height);
        const double up = 1.0 - (row + 0.5) / height;
        EXPECT_TRUE(near(pixelAt(image, 100, row), mix(background, kWaveform, 0.95)));
        EXPECT_TRUE(near(pixelAt(image, 500, row), mix(background, kWaveform, 0.80 + 0.10 * up)));
        EXPECT_TRUE(isWaveform(pixelAt(image, 300, row)));
        EXPECT_TRUE(opaque(image, 100, row));
        EXPECT_TRUE(opaque(image, 500, row));
        // The edges (under the grips' gaps): one undimmed pixel before the start, dimming
        // from the end on.
        EXPECT_TRUE(near(pixelAt(image, 205, row), mix(background, kWaveform, 0.95)));
        EXPECT_TRUE(isWaveform(pixelAt(image, 224, row)));
        EXPECT_TRUE(
            near(pixelAt(image, 425 + 16, row), mix(background, kWaveform, 0.80 + 0.10 * up)));
    }
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

struct EmptyStripCase {
    const char* name;
    std::int32_t frames;
    float level;
};

void PrintTo(const EmptyStripCase& c, std::ostream* out) {
    *out << c.name;
}

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
                         [](const testing::TestParamInfo<EmptyStripCase>& info) {
                             return std::string(info.param.name);
                         });

TEST_F(RenderingTest, VerticesAreUploadedOnlyWhenTheBucketCountChanges) {
    view().setWaveform(makeWaveform(kFrames, 0.25f));
    grab(view());
    ASSERT_EQ(view().vertexUploadCount(), 1);
    grab(view());
    EXPECT_EQ(view().vertexUploadCount(), 1);
    // 590 pixels still make 200 buckets of 3 samples; 700 make 325 of 2.
    window.scrollArea().resize(640, 200);
    grab(view());
    EXPECT_EQ(view().vertexUploadCount(), 1);
    window.scrollArea().resize(700, 200);
    grab(view());
    EXPECT_EQ(view().vertexUploadCount(), 2);
    view().setWaveform(makeWaveform(kFrames, 0.25f));
    grab(view());
    EXPECT_EQ(view().vertexUploadCount(), 3) << "a new waveform always uploads";
}

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
        QApplication::processEvents();
        const QPoint at = view().mapToGlobal(QPoint(0, 0));
        const QImage screen = view()
                                  .screen()
                                  ->grabWindow(0, at.x(), at.y(), view().width(), view().height())
                                  .toImage();
        const QImage whole = grab(view());
        ASSERT_EQ(screen.size(), whole.size());
        int stale = 0;
        for (int y = 0; y < whole.height(); ++y)
            for (int x = 0; x < whole.width(); ++x)
                stale += !near(pixelAt(screen, x, y), pixelAt(whole, x, y));
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

class DropzoneTest : public testing::Test {
protected:
    KTFixedWaveformView& view() { return window.view(); }
    ViewWindow window{650, 400};
};

TEST_F(DropzoneTest, EmptyViewShowsTheCentredPictureWithItsTray) {
    const QImage image = grab(view());
    const int centreX = image.width() / 2;
    const int top = image.height() / 2 - 128;
    // The tray's floor, 198 pixels down the picture; the picture ends 256 down.
    EXPECT_TRUE(isWhite(pixelAt(image, centreX, top + 198)));
    EXPECT_TRUE(near(pixelAt(image, centreX, top + 262), backgroundAt(top + 262, image.height())));
    EXPECT_TRUE(near(pixelAt(image, 20, 20), backgroundAt(20, image.height())));
    for (int y = top; y < top + 256; y += 3)
        ASSERT_TRUE(opaque(image, centreX + 60, y)) << y;
}

class ArrowOffset : public DropzoneTest, public testing::WithParamInterface<float> {};

TEST_P(ArrowOffset, ArrowSlidesDownAndWrapsWithinItsSquare) {
    const float delta = GetParam();
    view().setDropzoneDelta(delta);
    const QImage image = grab(view());
    const int centreX = image.width() / 2;
    // The arrow's square: 64 rows from 54 above the centre to 10 below it.
    const int squareTop = image.height() / 2 - 54;
    const int shift = static_cast<int>(std::lround(64.0 * delta)) % 64;
    auto rowOf = [&](int tileRow) { return squareTop + (tileRow + shift) % 64; };
    // Tile row 18 is in the arrow's shaft; rows 0 and 62 are clear.
    EXPECT_TRUE(near(pixelAt(image, centreX, rowOf(18)), kArrowBlue, 8.0));
    EXPECT_FALSE(near(pixelAt(image, centreX, rowOf(62)), kArrowBlue, 40.0));
    EXPECT_FALSE(near(pixelAt(image, centreX, rowOf(1)), kArrowBlue, 40.0));
}

INSTANTIATE_TEST_SUITE_P(, ArrowOffset, testing::Values(0.0f, 0.25f, 0.5f, 0.75f, 1.0f, 1.5f),
                         [](const testing::TestParamInfo<float>& info) {
                             return "delta" + std::to_string(std::lround(info.param * 100)) +
                                    "hundredths";
                         });

TEST(ImageLoading, ImageThatFailsIsLoggedWithItsDecoderErrorAndGivesAnEmptyTexture) {
    ViewWindow window(650, 200);
    window.view().grabFramebuffer();
    window.view().makeCurrent();
    auto* gl =
        QOpenGLVersionFunctionsFactory::get<QOpenGLFunctions_2_1>(QOpenGLContext::currentContext());
    ASSERT_NE(gl, nullptr);
    GLuint texture = 0;
    gl->glGenTextures(1, &texture);
    testing::internal::CaptureStderr();
    waveform_view::loadImageTexture(*gl, QStringLiteral("no-such-image.png"), texture, 1.0);
    const std::string log = testing::internal::GetCapturedStderr();
    EXPECT_TRUE(log.starts_with("error: ")) << log;
    EXPECT_NE(log.find(", "), std::string::npos) << log;

    // The images that do exist decode without a word.
    testing::internal::CaptureStderr();
    waveform_view::loadImageTexture(*gl, QStringLiteral("range-0.png"), texture, 1.0);
    waveform_view::loadImageTexture(*gl, QStringLiteral("range-0.png"), texture, 2.0);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
    GLint width = 0;
    gl->glBindTexture(GL_TEXTURE_2D, texture);
    gl->glGetTexLevelParameteriv(GL_TEXTURE_2D, 0, GL_TEXTURE_WIDTH, &width);
    EXPECT_EQ(width, 44) << "the 2x image on a 2x screen";
    gl->glDeleteTextures(1, &texture);
    window.view().doneCurrent();
}

} // namespace
