#include "controls/ThreePartImage.h"

#include <QPainter>

namespace controls {

void drawThreePartImage(QPainter& painter, const QRect& frame, const ThreePartImage& parts,
                        qreal opacity) {
    const int leftWidth = qRound(parts.leftCap.deviceIndependentSize().width());
    const int rightWidth = qRound(parts.rightCap.deviceIndependentSize().width());
    painter.save();
    painter.setOpacity(opacity);
    painter.drawImage(QRect(frame.x(), frame.y(), leftWidth, frame.height()), parts.leftCap);
    const int fillWidth = frame.width() - leftWidth - rightWidth;
    if (fillWidth > 0) {
        painter.drawImage(QRect(frame.x() + leftWidth, frame.y(), fillWidth, frame.height()),
                          parts.fill);
    }
    painter.drawImage(
        QRect(frame.x() + frame.width() - rightWidth, frame.y(), rightWidth, frame.height()),
        parts.rightCap);
    painter.restore();
}

} // namespace controls
