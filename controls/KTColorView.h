#pragma once

// An OpenGL band that decorates a scrolling document: a trapezoid shaded from dark to light
// blue over a pure red ground (red shows wherever the band does not reach, by intent). Its
// lower edge is fixed at 100 points; its upper edge ends 150 points right of the scroll
// area's visible left edge, so the band's slant follows the scrolling. Every wheel event over
// it widens the scroll area's document by 100 points, without limit, and is not passed on.
//
// Place it inside a QScrollArea (usually on its KTDocumentView); with no enclosing scroll
// area it draws with the visible origin at 0 and ignores the wheel.
//
// Thread contract: main thread only; the GL calls run on the main thread in paintGL.
// Ownership: the widget belongs to its parent; it owns nothing but its GL context.

#include <QOpenGLWidget>
#include <QPointer>

class QScrollArea;

class KTColorView : public QOpenGLWidget {
    Q_OBJECT

public:
    explicit KTColorView(QWidget* parent = nullptr);

    // Starts following the scroll area's scrolling (done on first show; calling it again is
    // harmless).
    void awakeFromNib();

public slots:
    // The visible part of the document moved: the band is drawn again.
    void boundsDidChange();

protected:
    bool event(QEvent* event) override;
    void paintGL() override;
    void wheelEvent(QWheelEvent* event) override;

private:
    QScrollArea* enclosingScrollArea() const;

    QPointer<QScrollArea> followed_;
};
