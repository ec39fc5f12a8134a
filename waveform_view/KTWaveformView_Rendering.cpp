// Everything the view puts on screen, drawn on the GL surface over the visible strip: the
// same picture as the fixed view's. The projection is set once per change of the visible
// strip: x in the view's own pixels from the strip's left edge to its right edge, y from -1
// at the bottom to 1 at the top. The background, dimming, axis and playhead are drawn in it
// across the view's whole width, of which the strip shows its part; the range frame and the
// drop zone set projections of their own.

#include "audio/KTWaveform.h"
#include "waveform_view/GLSurface.h"
#include "waveform_view/KTWaveformView.h"
#include "waveform_view/ViewDrawing.h"
#include "waveform_view/WaveformDrawing.h"

#include <cmath>

void KTWaveformView::initializeGL() {
    // A new context has no projection yet.
    reshapePending_ = true;
    createGLResources();
}

void KTWaveformView::resizeGL(int /*width*/, int /*height*/) {
    reshape();
}

void KTWaveformView::reshape() {
    const QRect visible = visibleRect();
    const qreal ratio = devicePixelRatioF();
    glViewport(0, 0, static_cast<GLsizei>(std::trunc(visible.width() * ratio)),
               static_cast<GLsizei>(std::trunc(visible.height() * ratio)));
    glMatrixMode(GL_PROJECTION);
    glLoadIdentity();
    glOrtho(visible.x(), visible.x() + visible.width(), -1.0, 1.0, -1.0, 1.0);
    glMatrixMode(GL_MODELVIEW);
    glLoadIdentity();
    reshapePending_ = false;
}

QImage KTWaveformView::grabFramebuffer() {
    return surface_->grabFramebuffer();
}

void KTWaveformView::paintGL() {
    if (reshapePending_)
        reshape();
    glClear(GL_COLOR_BUFFER_BIT);
    glDisable(GL_MULTISAMPLE);
    fillBackground();
    glEnable(GL_MULTISAMPLE);
    if (!waveform_) {
        drawDropzone();
    } else {
        // Multisampling is on for the waveform alone: the only shape with slanted edges.
        const QRect visible = visibleRect();
        if (waveform_view::drawInRectWithVbo(*this, *waveform_, waveformAreaRect(), glObjects_.vbo,
                                             visible.x(), visible.x() + visible.width()))
            ++vertexUploads_;
        glDisable(GL_MULTISAMPLE);
        drawInactiveOverlays();
        drawAxis();
        drawPlayhead();
        drawRangeHandles();
        glEnable(GL_MULTISAMPLE);
    }
    glFlush();
}

// The steps below draw in the projection of reshape(); the waveform's strip leaves the
// model-view matrix scaled to its buckets, so each starts from identity.

void KTWaveformView::fillBackground() {
    glMatrixMode(GL_MODELVIEW);
    glLoadIdentity();
    waveform_view::fillBackground(*this, 0.0, width());
}

void KTWaveformView::drawInactiveOverlays() {
    glMatrixMode(GL_MODELVIEW);
    glLoadIdentity();
    waveform_view::drawInactiveOverlays(*this, rangeStartPixel(), rangeEndPixel(), width());
}

void KTWaveformView::drawAxis() {
    glMatrixMode(GL_MODELVIEW);
    glLoadIdentity();
    waveform_view::drawAxis(*this, 0.0, width());
}

void KTWaveformView::drawPlayhead() {
    glMatrixMode(GL_MODELVIEW);
    glLoadIdentity();
    waveform_view::drawPlayhead(*this, playheadPixel());
}

void KTWaveformView::drawRangeHandles() {
    const QRect visible = visibleRect();
    waveform_view::drawRangeHandles(*this, glObjects_.rangeTextures, rangeStartPixel(),
                                    rangeEndPixel(), visible.x(), visible.x() + visible.width(),
                                    height());
}

void KTWaveformView::drawDropzone() {
    // Centred in what shows; with no file the view is never wider than that.
    const QRect visible = visibleRect();
    waveform_view::drawDropzone(*this, glObjects_.dropzoneTextures, visible.width(),
                                visible.height(), dropzoneDelta_);
}
