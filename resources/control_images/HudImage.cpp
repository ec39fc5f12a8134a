// The HUD bar: 200 x 40 points, rounded 8-point caps at both ends and a middle that is the
// same in every column, so that any one-point slice of it can be stretched.

#include "resources/control_images/Drawings.h"
#include "resources/control_images/ImageSet.h"
#include "resources/palette/PaletteQColor.h"

#include <QPainter>

void drawHudBar(ImageSet& images) {
    images.add("hud_bg", QSizeF(200, 40), [](QPainter& painter) {
        const QRectF body(0.5, 0.5, 199.0, 39.0);
        QLinearGradient fill(0, 0, 0, 40);
        fill.setColorAt(0, palette::qColor(palette::kFieldBottom));
        fill.setColorAt(1, palette::qColor(palette::kFieldDeep));
        painter.setBrush(fill);
        painter.setPen(QPen(palette::qColor(palette::kAccent, 0.35), 1.0));
        painter.drawRoundedRect(body, 6.0, 6.0);

        // A light line under the top edge, as if lit from above.
        painter.setPen(QPen(palette::qColor(palette::kAccent, 0.30), 1.0));
        painter.drawLine(QPointF(6.0, 1.5), QPointF(194.0, 1.5));
    });
}
