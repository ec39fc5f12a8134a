// Everything the view puts on screen, in fixed-function OpenGL: background, waveform,
// dimming outside the loop range, the beat grid, axis, playhead, the range frame, and the drop
// zone of the empty view. Each step sets its own projection; the x of the waveform, the
// dimming, the playhead and the range frame is the document's, over the visible strip. The
// background, the waveform and the beat grid are the strip, drawn into its cache only when it
// changed; a frame over the last one on screen draws only the columns that changed
// (FrameChanges.h).

#include "audio/KTWaveform.h"
#include "waveform_view/BeatGridDrawing.h"
#include "waveform_view/FrameChanges.h"
#include "waveform_view/KTFixedWaveformView.h"
#include "waveform_view/ViewDrawing.h"
#include "waveform_view/WaveformDrawing.h"

void KTFixedWaveformView::initializeGL() {
    // A new context has none of the old framebuffers.
    strip_.release();
    createGLResources();
}

QRect KTFixedWaveformView::paintGL(QSize pixels, unsigned target,
                                   waveform_view::GLWindow::Frame frame) {
    using Frame = waveform_view::GLWindow::Frame;
    const QRect visible = documentVisibleRect();
    const int documentWidth = documentView() ? documentView()->width() : width();
    const waveform_view::FrameState state{{visible, documentWidth, pixels, waveformGeneration_},
                                          waveform_ != nullptr,
                                          dropzoneDelta_,
                                          rangeStartPixel(),
                                          rangeEndPixel(),
                                          playheadPixel()};
    const QRect whole(QPoint(), pixels);
    QRect changed = whole;
    if (frame == Frame::Changes)
        changed = waveform_view::changedColumns(shown_, state, devicePixelRatioF());
    // A grab's frame is not the screen's: what the screen shows stays as it was.
    if (frame != Frame::Grab)
        shown_ = state;
    if (changed.isEmpty())
        return changed;
    // Only the changed columns are drawn; the framebuffer keeps the rest of the last frame.
    if (changed != whole) {
        glEnable(GL_SCISSOR_TEST);
        glScissor(changed.x(), 0, changed.width(), pixels.height());
    }
    drawFrame(state.strip, target);
    glDisable(GL_SCISSOR_TEST);
    return changed;
}

void KTFixedWaveformView::drawFrame(const waveform_view::StripCache::Key& strip, unsigned target) {
    const QSize pixels = strip.pixels;
    glViewport(0, 0, pixels.width(), pixels.height());
    if (!waveform_) {
        glClear(GL_COLOR_BUFFER_BIT);
        fillBackground();
        drawDropzone();
        glFlush();
        return;
    }
    // The strip is drawn whole, whatever part of the frame is.
    const GLboolean scissored = glIsEnabled(GL_SCISSOR_TEST);
    glDisable(GL_SCISSOR_TEST);
    if (strip_.beginDrawing(*this, strip)) {
        glClear(GL_COLOR_BUFFER_BIT);
        fillBackground();
        // Multisampling (where the strip has it) is for the waveform alone: the only shape
        // with slanted edges.
        glEnable(GL_MULTISAMPLE);
        drawWaveform();
        glDisable(GL_MULTISAMPLE);
        drawBeatGrid();
        strip_.finishDrawing(target);
        glViewport(0, 0, pixels.width(), pixels.height());
    }
    if (scissored)
        glEnable(GL_SCISSOR_TEST);
    strip_.draw(*this);
    drawInactiveOverlays();
    drawAxis();
    drawPlayhead();
    drawRangeHandles();
    glFlush();
}

void KTFixedWaveformView::fillBackground() {
    glDisable(GL_MULTISAMPLE);
    glMatrixMode(GL_PROJECTION);
    glPushMatrix();
    glLoadIdentity();
    glOrtho(-1.0, 1.0, -1.0, 1.0, -1.0, 1.0);
    glMatrixMode(GL_MODELVIEW);
    glLoadIdentity();
    waveform_view::fillBackground(*this, -1.0, 1.0);
    glMatrixMode(GL_PROJECTION);
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
