// Everything the view puts on screen, in fixed-function OpenGL: background, waveform,
// dimming outside the loop range, axis, playhead, the range frame, and the drop zone of the
// empty view.

#include "audio/KTWaveform.h"
#include "resources/palette/Palette.h"
#include "waveform_view/ImageTextures.h"
#include "waveform_view/KTFixedWaveformView.h"
#include "waveform_view/RangeFrameLayout.h"
#include "waveform_view/WaveformDrawing.h"

#include <QOpenGLContext>
#include <array>
#include <cmath>

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

// A 16-texel strip of shadow, dark edge and orange grip colours; made with the other
// textures but not drawn by this view.
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

} // namespace

void KTFixedWaveformView::initializeGL() {
    initializeOpenGLFunctions();
    // A new context (the view moved to another window) has none of the old objects.
    glReady_ = true;
    if (waveform_)
        waveform_->totalBuckets = 0;
    disconnect(contextDestroyed_);
    contextDestroyed_ = connect(context(), &QOpenGLContext::aboutToBeDestroyed, this, [this] {
        makeCurrent();
        releaseGLResources();
        doneCurrent();
    });

    glGenTextures(1, &handleTexture_);
    glBindTexture(GL_TEXTURE_1D, handleTexture_);
    glTexImage1D(GL_TEXTURE_1D, 0, GL_RGBA, 16, 0, GL_RGBA, GL_UNSIGNED_BYTE, kHandleTexels.data());
    glTexParameteri(GL_TEXTURE_1D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
    glTexParameteri(GL_TEXTURE_1D, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
    loadTextures();
    glGenBuffers(1, &vbo_);
}

void KTFixedWaveformView::loadTextures() {
    const qreal ratio = devicePixelRatioF();
    glGenTextures(2, dropzoneTextures_.data());
    waveform_view::loadImageTexture(*this, QStringLiteral("dropzone_texture.png"),
                                    dropzoneTextures_[0], ratio);
    waveform_view::loadImageTexture(*this, QStringLiteral("dropzone_arrow.png"),
                                    dropzoneTextures_[1], ratio);
    glGenTextures(waveform_view::kRangeCellCount, rangeTextures_.data());
    for (int slot = 0; slot < waveform_view::kRangeCellCount; ++slot) {
        // The centre cell stays open: the waveform shows through the frame.
        if (slot == 4)
            continue;
        waveform_view::loadImageTexture(*this, QStringLiteral("range-%1.png").arg(slot),
                                        rangeTextures_[static_cast<std::size_t>(slot)], ratio);
    }
}

void KTFixedWaveformView::releaseGLResources() {
    if (!glReady_)
        return;
    glDeleteTextures(1, &handleTexture_);
    glDeleteTextures(2, dropzoneTextures_.data());
    glDeleteTextures(waveform_view::kRangeCellCount, rangeTextures_.data());
    glDeleteBuffers(1, &vbo_);
    vbo_ = 0;
    glReady_ = false;
}

void KTFixedWaveformView::resizeGL(int width, int height) {
    const qreal ratio = devicePixelRatioF();
    glViewport(0, 0, static_cast<GLsizei>(width * ratio), static_cast<GLsizei>(height * ratio));
}

void KTFixedWaveformView::paintGL() {
    glClear(GL_COLOR_BUFFER_BIT);
    glDisable(GL_MULTISAMPLE);
    fillBackground();
    glEnable(GL_MULTISAMPLE);
    if (!waveform_) {
        drawDropzone();
    } else {
        // Multisampling is on for the waveform alone: the only shape with slanted edges.
        drawWaveform();
        glDisable(GL_MULTISAMPLE);
        drawInactiveOverlays();
        drawAxis();
        drawPlayhead();
        drawRangeHandles();
        glEnable(GL_MULTISAMPLE);
    }
    glFlush();
}

void KTFixedWaveformView::setBlending() {
    // Colours blend by their alpha; the framebuffer's own alpha stays at the background's
    // 1, so the frame composes (and is grabbed) as the opaque picture it is.
    glBlendFuncSeparate(GL_SRC_ALPHA, GL_ONE_MINUS_SRC_ALPHA, GL_ZERO, GL_ONE);
}

void KTFixedWaveformView::fillBackground() {
    glMatrixMode(GL_PROJECTION);
    glPushMatrix();
    glLoadIdentity();
    glOrtho(-1.0, 1.0, -1.0, 1.0, -1.0, 1.0);
    glBegin(GL_QUADS);
    glColor3f(kBackgroundBottom.r, kBackgroundBottom.g, kBackgroundBottom.b);
    glVertex2f(-1.0f, -1.0f);
    glVertex2f(1.0f, -1.0f);
    glColor3f(kBackgroundTop.r, kBackgroundTop.g, kBackgroundTop.b);
    glVertex2f(1.0f, 1.0f);
    glVertex2f(-1.0f, 1.0f);
    glEnd();
    glPopMatrix();
}

void KTFixedWaveformView::drawWaveform() {
    const QRect visible = documentVisibleRect();
    glMatrixMode(GL_PROJECTION);
    glLoadIdentity();
    glOrtho(visible.x(), visible.x() + visible.width(), -1.0, 1.0, -1.0, 1.0);
    if (waveform_view::drawInRectWithVbo(*this, *waveform_, waveformAreaRect(), vbo_, visible.x(),
                                         visible.x() + visible.width()))
        ++vertexUploads_;
}

void KTFixedWaveformView::drawInactiveOverlays() {
    const QRect visible = documentVisibleRect();
    const double right = visible.x() + visible.width();
    glMatrixMode(GL_PROJECTION);
    glLoadIdentity();
    glOrtho(visible.x(), right, -1.0, 1.0, -1.0, 1.0);
    glMatrixMode(GL_MODELVIEW);
    glLoadIdentity();
    glEnable(GL_BLEND);
    setBlending();
    // The margin left of the waveform area is dimmed too; the dimming stops one pixel
    // short of the range start.
    const double start = rangeStartPixel() - 1.0;
    const double end = rangeEndPixel();
    glBegin(GL_QUADS);
    glColor4f(kDimLeftBottom.r, kDimLeftBottom.g, kDimLeftBottom.b, kDimLeftBottom.a);
    glVertex2d(0.0, -1.0);
    glVertex2d(start, -1.0);
    glColor4f(kDimLeftTop.r, kDimLeftTop.g, kDimLeftTop.b, kDimLeftTop.a);
    glVertex2d(start, 1.0);
    glVertex2d(0.0, 1.0);
    glColor4f(kDimRightBottom.r, kDimRightBottom.g, kDimRightBottom.b, kDimRightBottom.a);
    glVertex2d(end, -1.0);
    glVertex2d(right, -1.0);
    glColor4f(kDimRightTop.r, kDimRightTop.g, kDimRightTop.b, kDimRightTop.a);
    glVertex2d(right, 1.0);
    glVertex2d(end, 1.0);
    glEnd();
    // The blend function stays set for the range frame.
    glDisable(GL_BLEND);
}

void KTFixedWaveformView::drawAxis() {
    glMatrixMode(GL_PROJECTION);
    glLoadIdentity();
    glOrtho(-1.0, 1.0, -1.0, 1.0, -1.0, 1.0);
    glMatrixMode(GL_MODELVIEW);
    glLoadIdentity();
    glColor3f(kAxis.r, kAxis.g, kAxis.b);
    glBegin(GL_LINES);
    glVertex2f(-1.0f, 0.0f);
    glVertex2f(1.0f, 0.0f);
    glEnd();
}

void KTFixedWaveformView::drawPlayhead() {
    const QRect visible = documentVisibleRect();
    glMatrixMode(GL_PROJECTION);
    glLoadIdentity();
    glOrtho(visible.x(), visible.x() + visible.width(), -1.0, 1.0, -1.0, 1.0);
    glMatrixMode(GL_MODELVIEW);
    glLoadIdentity();
    glPushAttrib(GL_MULTISAMPLE_BIT);
    glDisable(GL_MULTISAMPLE);
    glColor3f(kPlayhead.r, kPlayhead.g, kPlayhead.b);
    // Through the middle of the pixel column, so exactly that one column lights up.
    const double column = std::trunc(playheadPixel()) + 0.5;
    glBegin(GL_LINES);
    glVertex2d(column, -1.0);
    glVertex2d(column, 1.0);
    glEnd();
    glPopAttrib();
}

void KTFixedWaveformView::drawRangeHandles() {
    const QRect visible = documentVisibleRect();
    glMatrixMode(GL_PROJECTION);
    glPushMatrix();
    glLoadIdentity();
    glOrtho(visible.x(), visible.x() + visible.width(), height(), 0.0, -1.0, 1.0);
    glPushAttrib(GL_ENABLE_BIT);
    glDisable(GL_MULTISAMPLE);
    glEnable(GL_TEXTURE_2D);
    glEnable(GL_BLEND);
    glColor4f(1.0f, 1.0f, 1.0f, 1.0f);
    for (const waveform_view::RangeFrameCell& cell :
         waveform_view::rangeFrameCells(rangeStartPixel(), rangeEndPixel(), height())) {
        glBindTexture(GL_TEXTURE_2D, rangeTextures_[static_cast<std::size_t>(cell.slot)]);
        glBegin(GL_QUADS);
        glTexCoord2d(cell.s0, 0.0);
        glVertex2i(cell.x0, cell.y0);
        glTexCoord2d(cell.s1, 0.0);
        glVertex2i(cell.x1, cell.y0);
        glTexCoord2d(cell.s1, 1.0);
        glVertex2i(cell.x1, cell.y1);
        glTexCoord2d(cell.s0, 1.0);
        glVertex2i(cell.x0, cell.y1);
        glEnd();
    }
    glBindTexture(GL_TEXTURE_2D, 0);
    glPopAttrib();
    glPopMatrix();
    glMatrixMode(GL_MODELVIEW);
}

void KTFixedWaveformView::drawDropzone() {
    const int halfWidth = static_cast<int>(std::trunc(width() * 0.5));
    const int halfHeight = static_cast<int>(std::trunc(height() * 0.5));
    glMatrixMode(GL_PROJECTION);
    glPushMatrix();
    glLoadIdentity();
    glOrtho(-halfWidth, halfWidth, -halfHeight, halfHeight, -1.0, 1.0);
    glMatrixMode(GL_MODELVIEW);
    glLoadIdentity();
    glPushAttrib(GL_ENABLE_BIT);
    glEnable(GL_TEXTURE_2D);
    glDisable(GL_MULTISAMPLE);
    glEnable(GL_BLEND);
    setBlending();
    glColor4f(1.0f, 1.0f, 1.0f, 1.0f);

    const int half = kDropzoneHalfSize;
    glBindTexture(GL_TEXTURE_2D, dropzoneTextures_[0]);
    glBegin(GL_QUADS);
    glTexCoord2f(0.0f, 1.0f);
    glVertex2i(-half, -half);
    glTexCoord2f(1.0f, 1.0f);
    glVertex2i(half, -half);
    glTexCoord2f(1.0f, 0.0f);
    glVertex2i(half, half);
    glTexCoord2f(0.0f, 0.0f);
    glVertex2i(-half, half);
    glEnd();

    // The arrow's texture repeats, so shifting t slides the arrow down through its square
    // and wraps it round.
    const float d = dropzoneDelta_;
    glBindTexture(GL_TEXTURE_2D, dropzoneTextures_[1]);
    glBegin(GL_QUADS);
    glTexCoord2f(0.0f, 1.0f - d);
    glVertex2i(-kArrowHalfWidth, kArrowBottom);
    glTexCoord2f(1.0f, 1.0f - d);
    glVertex2i(kArrowHalfWidth, kArrowBottom);
    glTexCoord2f(1.0f, -d);
    glVertex2i(kArrowHalfWidth, kArrowTop);
    glTexCoord2f(0.0f, -d);
    glVertex2i(-kArrowHalfWidth, kArrowTop);
    glEnd();
    glBindTexture(GL_TEXTURE_2D, 0);

    glPopAttrib();
    glMatrixMode(GL_PROJECTION);
    glPopMatrix();
    glMatrixMode(GL_MODELVIEW);
}
