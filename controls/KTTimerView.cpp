#include "controls/KTTimerView.h"

#include "controls/ControlImages.h"
#include "controls/LcdGlyphs.h"

#include <QCoreApplication>
#include <QPainter>
#include <QPointer>
#include <QTimer>
#include <cstdlib>

namespace {

using controls::LcdGlyph;

constexpr int kMargin = 3;         // points between the text and the right and bottom edges
constexpr int kDigitWidth = 14;    // every digit glyph is this wide
constexpr int kSeparatorWidth = 8; // the two separators
constexpr int kFlashDurationMs = 1000;

const QImage& fontImage() {
    static const QImage image = controls::loadControlImage(QStringLiteral("lcd-font"));
    return image;
}

// The one flash timer of the program and the view it will return to the time.
struct FlashTimer {
    QPointer<QTimer> timer;
    QPointer<KTTimerView> view;
};

FlashTimer& flashTimer() {
    static FlashTimer shared;
    return shared;
}

void scheduleHideFlash(KTTimerView* view) {
    FlashTimer& shared = flashTimer();
    if (shared.timer == nullptr) {
        // Parented to the application so it goes before the event dispatcher does.
        shared.timer = new QTimer(QCoreApplication::instance());
        shared.timer->setSingleShot(true);
        QObject::connect(shared.timer, &QTimer::timeout, [] {
            if (flashTimer().view != nullptr) {
                flashTimer().view->hideFlash();
            }
        });
    }
    shared.timer->stop();
    shared.view = view;
    shared.timer->start(kFlashDurationMs);
}

} // namespace

// The view paints no ground of its own: the glyphs are light on transparent, so whatever is
// behind it (the HUD bar, in the window) shows between them.
KTTimerView::KTTimerView(QWidget* parent) : QWidget(parent) {}

void KTTimerView::setTime(float seconds) {
    time_ = seconds;
    update();
}

void KTTimerView::showFlashTypeValue(int type, float value) {
    mode_ = 1;
    flashType_ = type;
    flashValue_ = value;
    scheduleHideFlash(this);
    update();
}

void KTTimerView::hideFlash() {
    mode_ = 0;
    update();
}

QSize KTTimerView::sizeHint() const {
    // Room for "000:00.00" with the margins: a file of up to 16 hours.
    return QSize(7 * kDigitWidth + 2 * kSeparatorWidth + 2 * kMargin, 20 + 2 * kMargin);
}

void KTTimerView::paintEvent(QPaintEvent* /*event*/) {
    if (fontImage().isNull()) {
        return;
    }
    QPainter painter(this);
    if (mode_ == 0) {
        drawTime(painter);
    } else {
        drawFlash(painter);
    }
}

int KTTimerView::rightEdge() const {
    return static_cast<int>(width() - kMargin);
}

int KTTimerView::drawGlyph(QPainter& painter, LcdGlyph glyph, int x) const {
    const QImage& font = fontImage();
    const QRectF source = controls::lcdGlyphRect(glyph);
    const qreal ratio = font.devicePixelRatio();
    // The glyph's bottom sits kMargin above the view's bottom edge.
    const QRectF target(x, height() - kMargin - source.height(), source.width(), source.height());
    painter.drawImage(target, font,
                      QRectF(source.x() * ratio, source.y() * ratio, source.width() * ratio,
                             source.height() * ratio));
    return x;
}

int KTTimerView::drawNumberAtXMinDigits(QPainter& painter, int number, int x, int minDigits) const {
    if (minDigits < 1 && number < 1) {
        return x;
    }
    int drawn = 0;
    bool more = true;
    while (more) {
        const int digit = number % 10;
        x -= kDigitWidth;
        drawGlyph(painter, controls::lcdDigit(digit), x);
        ++drawn;
        more = drawn < minDigits || number > 9;
        number /= 10;
    }
    return x;
}

void KTTimerView::drawTime(QPainter& painter) const {
    int x = rightEdge();
    const int hundredths = static_cast<int>(time_ * 100.0f) % 100;
    x = drawNumberAtXMinDigits(painter, hundredths, x, 2);
    x = drawGlyph(painter, LcdGlyph::DecimalSeparator, x - kSeparatorWidth);
    const int wholeSeconds = static_cast<int>(time_);
    x = drawNumberAtXMinDigits(painter, wholeSeconds % 60, x, 2);
    x = drawGlyph(painter, LcdGlyph::MinutesSeparator, x - kSeparatorWidth);
    drawNumberAtXMinDigits(painter, wholeSeconds / 60, x, 1);
}

void KTTimerView::drawFlash(QPainter& painter) const {
    const int x0 = rightEdge();
    if (flashType_ == kFlashPitch) {
        const int tenths = std::abs(static_cast<int>(flashValue_ * 10.0f)) % 10;
        int x = drawNumberAtXMinDigits(painter, tenths, x0, 1);
        x = drawGlyph(painter, LcdGlyph::DecimalSeparator, x - kSeparatorWidth);
        x = drawNumberAtXMinDigits(painter, std::abs(static_cast<int>(flashValue_)), x, 1);
        if (flashValue_ > 0.0f) {
            drawGlyph(painter, LcdGlyph::PlusSign, x - kDigitWidth);
        } else if (flashValue_ < 0.0f) {
            drawGlyph(painter, LcdGlyph::MinusSign, x - kDigitWidth);
        }
    } else if (flashType_ == kFlashPercentage) {
        drawGlyph(painter, LcdGlyph::SpeedUnit, x0 - kDigitWidth);
        // One point of space between the number and the unit.
        drawNumberAtXMinDigits(painter, static_cast<int>(flashValue_), x0 - kDigitWidth - 1, 2);
    } else if (flashType_ == kFlashNumber) {
        drawNumberAtXMinDigits(painter, std::abs(static_cast<int>(flashValue_)), x0, 1);
    }
}
