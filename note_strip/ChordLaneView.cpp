#include "note_strip/ChordLaneView.h"

#include "resources/palette/PaletteQColor.h"

#include <QFontMetricsF>
#include <QPainter>

namespace {

constexpr double kLabelInset = 3.0; // from the tick at the chord's start to its name
constexpr double kLabelGap = 6.0;   // the least room between two names

} // namespace

ChordLaneView::ChordLaneView(QWidget* parent) : QWidget(parent) {
    setAttribute(Qt::WA_OpaquePaintEvent);
    QFont small = font();
    small.setPointSizeF(small.pointSizeF() * 0.85);
    small.setBold(true);
    setFont(small);
    setFixedHeight(int(QFontMetricsF(small).height()) + 4);
}

QSize ChordLaneView::sizeHint() const {
    return {400, height()};
}

void ChordLaneView::setLabels(std::vector<Label> labels) {
    labels_ = std::move(labels);
    update();
}

void ChordLaneView::setTimeScale(double secondsAtLeft, double pixelsPerSecond) {
    if (secondsAtLeft == secondsAtLeft_ && pixelsPerSecond == pixelsPerSecond_)
        return;
    secondsAtLeft_ = secondsAtLeft;
    pixelsPerSecond_ = pixelsPerSecond;
    update();
}

double ChordLaneView::xForSeconds(double seconds) const {
    return (seconds - secondsAtLeft_) * pixelsPerSecond_;
}

std::vector<std::pair<double, QString>> ChordLaneView::visibleLabels() const {
    std::vector<std::pair<double, QString>> shown;
    if (pixelsPerSecond_ <= 0)
        return shown;
    const QFontMetricsF metrics(font());
    double freeFrom = -1e9; // where the last name drawn ends, with its gap
    for (const Label& label : labels_) {
        const double x = xForSeconds(label.startSeconds);
        const double textWidth = metrics.horizontalAdvance(label.text);
        if (x > width())
            break;
        if (x < freeFrom || x + kLabelInset + textWidth < 0)
            continue;
        shown.emplace_back(x, label.text);
        freeFrom = x + kLabelInset + textWidth + kLabelGap;
    }
    return shown;
}

void ChordLaneView::paintEvent(QPaintEvent* /*event*/) {
    QPainter painter(this);
    painter.fillRect(rect(), palette::qColor(palette::kFieldDeep));
    const QColor tick = palette::qColor(palette::kWaveform, 0.8);
    const QColor text = palette::qColor(palette::kAccent);
    for (const auto& [x, name] : visibleLabels()) {
        painter.fillRect(QRectF(x, 2, 1, height() - 4), tick);
        painter.setPen(text);
        painter.drawText(QRectF(x + kLabelInset, 0, width(), height()),
                         Qt::AlignLeft | Qt::AlignVCenter, name);
    }
}
