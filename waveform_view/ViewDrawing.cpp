#include "waveform_view/ViewDrawing.h"

#include "resources/palette/Palette.h"
#include "waveform_view/ImageTextures.h"
#include "waveform_view/RangeFrameLayout.h"

#include <QString>
#include <cmath>

namespace waveform_view {

namespace {

struct Rgba {
    float r, g, b, a;
};

constexpr Rgba withAlpha(palette::Rgb colour, float alpha) {
    return {colour.redF(), colour.greenF(), colour.blueF(), alpha};
}

// Vertical gradients: each pair is (bottom, top). The dimming is the field itself laid
// over the waveform, so outside the range the waveform sinks into the background.
constexpr Rgba kBackgroundBottom = withAlpha(palette::kFieldBottom, 1.0f);
constexpr Rgba kBackgroundTop = withAlpha(palette::kFieldTop, 1.0f);
// Before the range the dimming is even; after it, lighter towards the bottom.
constexpr Rgba kDimLeftBottom = withAlpha(palette::kFieldBottom, 0.95f);
constexpr Rgba kDimLeftTop = withAlpha(palette::kFieldTop, 0.95f);
constexpr Rgba kDimRightBottom = withAlpha(palette::kFieldBottom, 0.80f);
constexpr Rgba kDimRightTop = withAlpha(palette::kFieldTop, 0.90f);
constexpr Rgba kAxis = withAlpha(palette::kWaveform, 1.0f);
constexpr Rgba kPlayhead = withAlpha(palette::kWhite, 1.0f);

constexpr std::array<unsigned char, 64> kHandleTexels = {
    0,   0,   0,  10,  0,   0,   0,  50,  0,   0,   0,  80,  11,  10,  10, 255,
    249, 145, 60, 255, 249, 145, 60, 255, 249, 145, 60, 255, 249, 145, 60, 255,
    37,  24,  11, 255, 249, 145, 60, 255, 37,  24,  11, 255, 249, 145, 60, 255,
    249, 145, 60, 255, 249, 145, 60, 255, 249, 145, 60, 255, 4,   3,   0,  255,
};

constexpr int kDropzoneHalfSize = 128;
constexpr int kArrowHalfWidth = 32;
// The arrow's square sits above the centre of the picture, over its tray.
constexpr int kArrowBottom = -10;
constexpr int kArrowTop = 54;

void setBlending(QOpenGLFunctions_2_1& gl) {
    // Colours blend by their alpha; the framebuffer's own alpha stays at the background's
    // 1, so the frame composes (and is grabbed) as the opaque picture it is.
    gl.glBlendFuncSeparate(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA, GL_ZERO, GL_ONE);
}

} // namespace

QSurfaceFormat viewSurfaceFormat(int samples) {
    QSurfaceFormat format = QSurfaceFormat::defaultFormat();
    format.setRenderableType(QSurfaceFormat::OpenGL);
    format.setProfile(QSurfaceFormat::CompatibilityProfile);
    format.setVersion(2, 1);
    format.setSamples(samples);
    format.setDepthBufferSize(0);
    format.setStencilBufferSize(0);
    return format;
}

void createGLObjects(QOpenGLFunctions_2_1& gl, ViewGLObjects& objects, qreal devicePixelRatio) {
    gl.glGenTextures(1, &objects.handleTexture);
    gl.glBindTexture(GL_TEXTURE_1D, objects.handleTexture);
    gl.glTexImage1D(GL_TEXTURE_1D, 0, GL_RGBA, 16, 0, GL_RGBA, GL_UNSIGNED_BYTE,
                    kHandleTexels.data());
    gl.glTexParameteri(GL_TEXTURE_1D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
    gl.glTexParameteri(GL_TEXTURE_1D, GL_TEXTURE_MAG_FILTER, GL_NEAREST);

    gl.glGenTextures(2, objects.dropzoneTextures.data());
    loadImageTexture(gl, QStringLiteral("dropzone_texture.png"), objects.dropzoneTextures[0],
                     devicePixelRatio);
    loadImageTexture(gl, QStringLiteral("dropzone_arrow.png"), objects.dropzoneTextures[1],
                     devicePixelRatio);
    gl.glGenTextures(kRangeCellCount, objects.rangeTextures.data());
    for (int slot = 0; slot < kRangeCellCount; ++slot) {
        // The centre cell stays open: the waveform shows through the frame.
        if (slot == 4)
            continue;
        loadImageTexture(gl, QStringLiteral("range-%1.png").arg(slot),
                         objects.rangeTextures[static_cast<std::size_t>(slot)], devicePixelRatio);
    }
    gl.glGenBuffers(1, &objects.vbo);
}

void deleteGLObjects(QOpenGLFunctions_2_1& gl, ViewGLObjects& objects) {
    gl.glDeleteTextures(1, &objects.handleTexture);
    gl.glDeleteTextures(2, objects.dropzoneTextures.data());
    gl.glDeleteTextures(kRangeCellCount, objects.rangeTextures.data());
    gl.glDeleteBuffers(1, &objects.vbo);
    objects = ViewGLObjects{};
}

void fillBackground(QOpenGLFunctions_2_1& gl, double left, double right) {
    gl.glBegin(GL_QUADS);
    gl.glColor3f(kBackgroundBottom.r, kBackgroundBottom.g, kBackgroundBottom.b);
    gl.glVertex2d(left, -1.0);
    gl.glVertex2d(right, -1.0);
    gl.glColor3f(kBackgroundTop.r, kBackgroundTop.g, kBackgroundTop.b);
    gl.glVertex2d(right, 1.0);
    gl.glVertex2d(left, 1.0);
    gl.glEnd();
}

void drawInactiveOverlays(QOpenGLFunctions_2_1& gl, double rangeStartPixel, double rangeEndPixel,
                          double right) {
    gl.glEnable(GL_BLEND);
    setBlending(gl);
    const double start = rangeStartPixel - 1.0;
    const double end = rangeEndPixel;
    gl.glBegin(GL_QUADS);
    gl.glColor4f(kDimLeftBottom.r, kDimLeftBottom.g, kDimLeftBottom.b, kDimLeftBottom.a);
    gl.glVertex2d(0.0, -1.0);
    gl.glVertex2d(start, -1.0);
    gl.glColor4f(kDimLeftTop.r, kDimLeftTop.g, kDimLeftTop.b, kDimLeftTop.a);
    gl.glVertex2d(start, 1.0);
    gl.glVertex2d(0.0, 1.0);
    gl.glColor4f(kDimRightBottom.r, kDimRightBottom.g, kDimRightBottom.b, kDimRightBottom.a);
    gl.glVertex2d(end, -1.0);
    gl.glVertex2d(right, -1.0);
    gl.glColor4f(kDimRightTop.r, kDimRightTop.g, kDimRightTop.b, kDimRightTop.a);
    gl.glVertex2d(right, 1.0);
    gl.glVertex2d(end, 1.0);
    gl.glEnd();
    gl.glDisable(GL_BLEND);
}

void drawAxis(QOpenGLFunctions_2_1& gl, double left, double right) {
    gl.glColor3f(kAxis.r, kAxis.g, kAxis.b);
    gl.glBegin(GL_LINES);
    gl.glVertex2d(left, 0.0);
    gl.glVertex2d(right, 0.0);
    gl.glEnd();
}

void drawPlayhead(QOpenGLFunctions_2_1& gl, double playheadPixel) {
    gl.glPushAttrib(GL_MULTISAMPLE_BIT);
    gl.glDisable(GL_MULTISAMPLE);
    gl.glColor3f(kPlayhead.r, kPlayhead.g, kPlayhead.b);
    // Through the middle of the pixel column, so exactly that one column lights up.
    const double column = std::trunc(playheadPixel) + 0.5;
    gl.glBegin(GL_LINES);
    gl.glVertex2d(column, -1.0);
    gl.glVertex2d(column, 1.0);
    gl.glEnd();
    gl.glPopAttrib();
}

void drawRangeHandles(QOpenGLFunctions_2_1& gl, const std::array<GLuint, 9>& rangeTextures,
                      double rangeStartPixel, double rangeEndPixel, double visibleLeft,
                      double visibleRight, double height) {
    gl.glMatrixMode(GL_PROJECTION);
    gl.glPushMatrix();
    gl.glLoadIdentity();
    gl.glOrtho(visibleLeft, visibleRight, height, 0.0, -1.0, 1.0);
    gl.glPushAttrib(GL_ENABLE_BIT);
    gl.glDisable(GL_MULTISAMPLE);
    gl.glEnable(GL_TEXTURE_2D);
    gl.glEnable(GL_BLEND);
    gl.glColor4f(1.0f, 1.0f, 1.0f, 1.0f);
    for (const RangeFrameCell& cell : rangeFrameCells(rangeStartPixel, rangeEndPixel, height)) {
        gl.glBindTexture(GL_TEXTURE_2D, rangeTextures[static_cast<std::size_t>(cell.slot)]);
        gl.glBegin(GL_QUADS);
        gl.glTexCoord2d(cell.s0, 0.0);
        gl.glVertex2i(cell.x0, cell.y0);
        gl.glTexCoord2d(cell.s1, 0.0);
        gl.glVertex2i(cell.x1, cell.y0);
        gl.glTexCoord2d(cell.s1, 1.0);
        gl.glVertex2i(cell.x1, cell.y1);
        gl.glTexCoord2d(cell.s0, 1.0);
        gl.glVertex2i(cell.x0, cell.y1);
        gl.glEnd();
    }
    gl.glBindTexture(GL_TEXTURE_2D, 0);
    gl.glPopAttrib();
    gl.glPopMatrix();
    gl.glMatrixMode(GL_MODELVIEW);
}

void drawDropzone(QOpenGLFunctions_2_1& gl, const std::array<GLuint, 2>& dropzoneTextures,
                  int width, int height, float dropzoneDelta) {
    const int halfWidth = static_cast<int>(std::trunc(width * 0.5));
    const int halfHeight = static_cast<int>(std::trunc(height * 0.5));
    gl.glMatrixMode(GL_PROJECTION);
    gl.glPushMatrix();
    gl.glLoadIdentity();
    gl.glOrtho(-halfWidth, halfWidth, -halfHeight, halfHeight, -1.0, 1.0);
    gl.glMatrixMode(GL_MODELVIEW);
    gl.glLoadIdentity();
    gl.glPushAttrib(GL_ENABLE_BIT);
    gl.glEnable(GL_TEXTURE_2D);
    gl.glDisable(GL_MULTISAMPLE);
    gl.glEnable(GL_BLEND);
    setBlending(gl);
    gl.glColor4f(1.0f, 1.0f, 1.0f, 1.0f);

    const int half = kDropzoneHalfSize;
    gl.glBindTexture(GL_TEXTURE_2D, dropzoneTextures[0]);
    gl.glBegin(GL_QUADS);
    gl.glTexCoord2f(0.0f, 1.0f);
    gl.glVertex2i(-half, -half);
    gl.glTexCoord2f(1.0f, 1.0f);
    gl.glVertex2i(half, -half);
    gl.glTexCoord2f(1.0f, 0.0f);
    gl.glVertex2i(half, half);
    gl.glTexCoord2f(0.0f, 0.0f);
    gl.glVertex2i(-half, half);
    gl.glEnd();

    // Shifting t slides the arrow down through its square and wraps it round.
    const float d = dropzoneDelta;
    gl.glBindTexture(GL_TEXTURE_2D, dropzoneTextures[1]);
    gl.glBegin(GL_QUADS);
    gl.glTexCoord2f(0.0f, 1.0f - d);
    gl.glVertex2i(-kArrowHalfWidth, kArrowBottom);
    gl.glTexCoord2f(1.0f, 1.0f - d);
    gl.glVertex2i(kArrowHalfWidth, kArrowBottom);
    gl.glTexCoord2f(1.0f, -d);
    gl.glVertex2i(kArrowHalfWidth, kArrowTop);
    gl.glTexCoord2f(0.0f, -d);
    gl.glVertex2i(-kArrowHalfWidth, kArrowTop);
    gl.glEnd();
    gl.glBindTexture(GL_TEXTURE_2D, 0);

    gl.glPopAttrib();
    gl.glMatrixMode(GL_PROJECTION);
    gl.glPopMatrix();
    gl.glMatrixMode(GL_MODELVIEW);
}

} // namespace waveform_view
