#pragma once

// The scrolling waveform view: the same picture, editing and drop target as
// KTFixedWaveformView, in a different arrangement. This view is itself the QScrollArea's
// document: zooming changes its own width, and the scroll area moves it under the visible
// strip.
//
//   own x:  0   25                                            width-25  width
//           |---|====================== waveform area ==============|-------|
//                          [visX ........ visX+visW]  <- visibleRect(): what shows
//
// Every position in pixels below is in the view's own coordinates (device-independent
// pixels from its left edge; y grows downward). Drawing goes to a GL surface kept over
// visibleRect() (GLSurface.h), whose projection spans visX to visX + visW.
//
// Input and delegate messages are those of KTFixedWaveformView (see its header), with two
// differences: every vertical wheel or trackpad event zooms a full step about the pointer
// (so a trackpad swipe zooms once per event, much faster than the fixed view's gesture
// steps), and there is no pinch. Every zoom-out step, also one that cannot zoom out any
// further, logs the frames per pixel as "fpp: <value>".
//
// The state, the press and its drags, the drop target and the GL objects are written once
// for both views in WaveformViewBase.h; this class adds what is the scrolling view's own.
//
// Thread contract: main (GUI) thread only, like every QWidget: every method, event handler
// and timer of the view, and every delegate message it sends. Rendering runs in the GL
// surface's context from its paintGL.
// Ownership: the view owns its waveform (from setWaveform on), its GL surface and the GL
// objects (textures, the vertex buffer), which it creates and deletes in the surface's
// context. The scroll area owns the view once attached; the delegate is not owned (see
// KTWaveformViewDelegate.h).

#include "waveform_view/WaveformViewBase.h"

#include <QImage>
#include <QPointF>
#include <QRect>
#include <QRectF>
#include <QWidget>

class KTWaveformViewDelegate;
class QScrollArea;

namespace waveform_view {
class GLSurface;
}

class KTWaveformView
    : public waveform_view::WaveformViewBase<QWidget, KTWaveformView, KTWaveformViewDelegate> {
public:
    explicit KTWaveformView(QWidget* parent = nullptr);

    // The part of the view the scroll area shows, in the view's coordinates (attaching to
    // a scroll area makes the view its document).
    QRect visibleRect() const;

    // Zooms all the way out: the view becomes as wide as the scroll area.
    void fitWidth();
    // One zoom step that keeps the frame under `pivot` (scroll-area viewport coordinates)
    // in place. Zooming out logs the frames per pixel after the step, zoomed or not.
    void zoomInWithPivot(QPointF pivot);
    void zoomOutWithPivot(QPointF pivot);

    // The waveform area, in the view's own pixels.
    double waveformAreaWidth() const;
    QRectF waveformAreaRect() const;

    // Renders the visible strip as it shows on screen and returns it.
    QImage grabFramebuffer();

    // The scroll area changed size: a view narrower than it is widened to fit, a wider one
    // keeps its zoom.
    void windowResized();

protected:
    // The GL surface's calls, with its context current.
    void initializeGL();
    void resizeGL(int width, int height);
    void paintGL();

    bool eventFilter(QObject* watched, QEvent* event) override;
    void moveEvent(QMoveEvent* event) override;
    void resizeEvent(QResizeEvent* event) override;
    void wheelEvent(QWheelEvent* event) override;

private:
    friend class waveform_view::WaveformViewBase<QWidget, KTWaveformView, KTWaveformViewDelegate>;

    void placeInScrollView(QScrollArea& scrollView);
    // A point of the scroll area's viewport in the view's own coordinates.
    QPointF zoomedPoint(QPointF viewportPoint) const;

    void setViewWidth(int width);
    // Keeps the GL surface over the visible strip; its projection follows at the next frame.
    void placeSurface();

    void reshape();
    void fillBackground();
    void drawInactiveOverlays();
    void drawAxis();
    void drawPlayhead();
    void drawRangeHandles();
    void drawDropzone();

    waveform_view::GLSurface* surface_ = nullptr;
    // The visible strip moved or changed size since the projection was last set.
    bool reshapePending_ = true;
};
