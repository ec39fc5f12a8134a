// Everything the view puts on screen, in fixed-function OpenGL: background, waveform,
// dimming outside the loop range, the beat grid, axis, playhead, the range frame, and the drop zone
// of the empty view. Each step sets its own projection; the x of the waveform, the dimming, the
// playhead and the range frame is the document's, over the visible strip.

#include "audio/KTWaveform.h"
#include "waveform_view/BeatGridDrawing.h"
#include "waveform_view/KTFixedWaveformView.h"
#include "waveform_view/ViewDrawing.h"
#include "waveform_view/WaveformDrawing.h"

void KTFixedWaveformView::initializeGL() {
    createGLResources();
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
        drawBeatGrid();
        drawAxis();
        drawPlayhead();
        drawRangeHandles();
        glEnable(GL_MULTISAMPLE);
    }
    glFlush();
}

void KTFixedWaveformView::fillBackground() {
    glMatrixMode(GL_PROJECTION);
    glPushMatrix();
    glLoadIdentity();
    glOrtho(-1.0, 1.0, -1.0, 1.0, -1.0, 1.0);
    waveform_view::fillBackground(*this, -1.0, 1.0);
    glPopMatrix();
}

void KTFixedWaveformView::drawWaveform() {
    const QRect visible = documentVisibleRect();
    glMatrixMode(GL_PROJECTION);
    glLoadIdentity();
    glOrtho(visible.x(), visible.x() + visible.width(), -1.0, 1.0, -1.0, 1.0);
    waveform_view::drawInRectWithVbo(*this, *waveform_, waveformAreaRect(), glObjects_.vbo,
                                     visible.x(), visible.x() + visible.width());
}

void KTFixedWaveformView::drawInactiveOverlays() {
    const QRect visible = documentVisibleRect();
    const double right = visible.x() + visible.width();
    glMatrixMode(GL_PROJECTION);
    glLoadIdentity();
    glOrtho(visible.x(), right, -1.0, 1.0, -1.0, 1.0);
    glMatrixMode(GL_MODELVIEW);
    glLoadIdentity();
    waveform_view::drawInactiveOverlays(*this, rangeStartPixel(), rangeEndPixel(), right);
}

void KTFixedWaveformView::drawBeatGrid() {
    if (!isBeatGridShown())
        return;
    const QRect visible = documentVisibleRect();
    const double left = visible.x(), right = visible.x() + visible.width();
    waveform_view::drawBeatGrid(
        *this, waveform_view::beatGridLayout(beatMarks_, framesPerPixel(), left, right), left,
        right, height());
}

void KTFixedWaveformView::drawAxis() {
    glMatrixMode(GL_PROJECTION);
    glLoadIdentity();
    glOrtho(-1.0, 1.0, -1.0, 1.0, -1.0, 1.0);
    glMatrixMode(GL_MODELVIEW);
    glLoadIdentity();
    waveform_view::drawAxis(*this, -1.0, 1.0);
}

void KTFixedWaveformView::drawPlayhead() {
    const QRect visible = documentVisibleRect();
    glMatrixMode(GL_PROJECTION);
    glLoadIdentity();
    glOrtho(visible.x(), visible.x() + visible.width(), -1.0, 1.0, -1.0, 1.0);
    glMatrixMode(GL_MODELVIEW);
    glLoadIdentity();
    waveform_view::drawPlayhead(*this, playheadPixel());
}

void KTFixedWaveformView::drawRangeHandles() {
    const QRect visible = documentVisibleRect();
    waveform_view::drawRangeHandles(*this, glObjects_.rangeTextures, rangeStartPixel(),
                                    rangeEndPixel(), visible.x(), visible.x() + visible.width(),
                                    height());
}

void KTFixedWaveformView::drawDropzone() {
    waveform_view::drawDropzone(*this, glObjects_.dropzoneTextures, width(), height(),
                                dropzoneDelta_);
}
