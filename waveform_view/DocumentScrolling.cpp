#include "waveform_view/DocumentScrolling.h"

#include <QScrollArea>
#include <QScrollBar>
#include <QTimer>
#include <cmath>
#include <utility>

namespace waveform_view {

QRect documentVisibleRect(const QScrollArea& scrollArea) {
    const QWidget* document = scrollArea.widget();
    if (!document)
        return {};
    const QRect shown(-document->x(), -document->y(), scrollArea.viewport()->width(),
                      scrollArea.viewport()->height());
    return shown & document->rect();
}

void scrollDocumentTo(QScrollArea& scrollArea, double x) {
    scrollArea.horizontalScrollBar()->setValue(static_cast<int>(std::floor(x)));
}

void scrollDocumentRectToVisible(QScrollArea& scrollArea, const QRectF& rect) {
    const double width = scrollArea.viewport()->width();
    const double left = scrollArea.horizontalScrollBar()->value();
    if (rect.left() < left)
        scrollDocumentTo(scrollArea, rect.left());
    else if (rect.right() > left + width)
        scrollDocumentTo(scrollArea, std::ceil(rect.right() - width));
}

bool isClearOfEdges(const QScrollArea& scrollArea, QPointF viewportPoint) {
    const QSizeF area = scrollArea.viewport()->size();
    return viewportPoint.x() >= kAutoscrollBandWidth &&
           viewportPoint.x() < area.width() - kAutoscrollBandWidth && viewportPoint.y() >= 0.0 &&
           viewportPoint.y() < area.height();
}

void autoscroll(QScrollArea& scrollArea, QPointF viewportPoint) {
    const double rightBand = scrollArea.viewport()->width() - kAutoscrollBandWidth;
    int step = 0;
    if (viewportPoint.x() < kAutoscrollBandWidth)
        step = -static_cast<int>(std::ceil(kAutoscrollBandWidth - viewportPoint.x()));
    else if (viewportPoint.x() >= rightBand)
        step = static_cast<int>(std::floor(viewportPoint.x() - rightBand)) + 1;
    if (step != 0) {
        QScrollBar* bar = scrollArea.horizontalScrollBar();
        bar->setValue(bar->value() + step);
    }
}

void restartScrollEndTimer(QPointer<QTimer>& timer, QObject* owner, int milliseconds,
                           std::function<void()> finished) {
    delete timer.data();
    timer = new QTimer(owner);
    timer->setSingleShot(true);
    QTimer* started = timer.data();
    QObject::connect(started, &QTimer::timeout, owner, [started, finished = std::move(finished)] {
        finished();
        started->deleteLater();
    });
    started->start(milliseconds);
}

} // namespace waveform_view
