#pragma once

// Scrolling the document of a waveform view's scroll area, shared by both views: what part
// of the document shows, scrolling to an x or just enough to bring a rectangle in, scrolling
// while a drag is held at an edge, and the timer that ends a user's scroll.
//
// The scroll area scrolls horizontally only; its widget is the document, and x is a
// document x.
//
// Thread contract: the GUI thread.

#include <QPointF>
#include <QPointer>
#include <QRect>
#include <QRectF>
#include <functional>

class QObject;
class QScrollArea;
class QTimer;

namespace waveform_view {

// While the button is held this close to either edge of the scroll area, or beyond it, a
// drag repeats and scrolls by how far the pointer is into the band.
inline constexpr double kAutoscrollBandWidth = 20.0;

// The part of the document the scroll area shows, in document coordinates.
QRect documentVisibleRect(const QScrollArea& scrollArea);

// Scrolls so that document x (floored) is at the left edge, as far as the document allows.
void scrollDocumentTo(QScrollArea& scrollArea, double x);

// The least scroll that brings `rect` in; its left edge wins if it cannot fit.
void scrollDocumentRectToVisible(QScrollArea& scrollArea, const QRectF& rect);

// Whether a pointer at `viewportPoint` (scroll-area viewport coordinates) is inside the
// viewport and clear of both edge bands, where a held drag does not scroll.
bool isClearOfEdges(const QScrollArea& scrollArea, QPointF viewportPoint);

// Scrolls by how far `viewportPoint` lies into an edge band (or past it), so that the
// further out the pointer is held, the faster the document moves.
void autoscroll(QScrollArea& scrollArea, QPointF viewportPoint);

// Replaces the timer in `timer` (one per kind of view, shared by its instances) with a new
// single shot of `milliseconds` owned by `owner`, which calls `finished`. A user scroll in
// any view of the kind restarts it, and only the view scrolled last hears that it ended.
void restartScrollEndTimer(QPointer<QTimer>& timer, QObject* owner, int milliseconds,
                           std::function<void()> finished);

} // namespace waveform_view
