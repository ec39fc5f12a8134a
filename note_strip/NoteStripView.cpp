#include "note_strip/NoteStripView.h"

#include "resources/palette/PaletteQColor.h"

#include <QPainter>
#include <QPolygonF>
#include <algorithm>
#include <cmath>

namespace {

constexpr double kKeyboardShare = 0.4; // of the strip's height; the spectrum has the rest
constexpr double kBlackKeyWidth = 0.6; // of a white key
constexpr double kBlackKeyLength = 0.62;
constexpr int kWhiteKeys = 50; // C1 .. C8

// White keys before `note` since C1.
int whiteKeysBefore(int note) {
    static constexpr int kWhitesBeforeInOctave[12] = {0, 1, 1, 2, 2, 3, 4, 4, 5, 5, 6, 6};
    const int fromC1 = note - NoteStripView::kLowestNote;
    return fromC1 / 12 * 7 + kWhitesBeforeInOctave[fromC1 % 12];
}

bool isLit(const std::vector<int>& lit, int note) {
    return std::find(lit.begin(), lit.end(), note) != lit.end();
}

} // namespace

NoteStripView::NoteStripView(QWidget* parent) : QWidget(parent) {
    setAttribute(Qt::WA_OpaquePaintEvent);
    setMinimumHeight(60);
}

QSize NoteStripView::sizeHint() const {
    return {kWhiteKeys * 14, 110};
}

void NoteStripView::setSpectrum(Spectrum spectrum) {
    spectrum.binsPerSemitone = std::max(spectrum.binsPerSemitone, 1);
    spectrum_ = std::move(spectrum);
    update();
}

void NoteStripView::clear() {
    setSpectrum({});
}

bool NoteStripView::isBlackKey(int note) {
    static constexpr bool kBlack[12] = {false, true,  false, true,  false, false,
                                        true,  false, true,  false, true,  false};
    return kBlack[((note % 12) + 12) % 12];
}

double NoteStripView::whiteKeyWidth() const {
    return width() / double(kWhiteKeys);
}

double NoteStripView::keyboardTop() const {
    return std::floor(height() * (1.0 - kKeyboardShare));
}

QRectF NoteStripView::keyRect(int note) const {
    const double white = whiteKeyWidth();
    const double top = keyboardTop();
    const double x = whiteKeysBefore(note) * white;
    if (!isBlackKey(note))
        return {x, top, white, height() - top};
    const double black = white * kBlackKeyWidth;
    return {x - black / 2, top, black, (height() - top) * kBlackKeyLength};
}

double NoteStripView::xForNote(double note) const {
    const double clamped = std::clamp(note, double(kLowestNote), double(kHighestNote));
    const int below = int(std::floor(clamped));
    const double fraction = clamped - below;
    const double from = keyRect(below).center().x();
    if (fraction == 0 || below == kHighestNote)
        return from;
    return from + fraction * (keyRect(below + 1).center().x() - from);
}

int NoteStripView::noteAt(QPointF point) const {
    if (point.y() < keyboardTop())
        return -1;
    // Black keys lie over the white ones: they are tried first.
    for (int pass = 0; pass < 2; ++pass)
        for (int note = kLowestNote; note <= kHighestNote; ++note)
            if (isBlackKey(note) == (pass == 0) && keyRect(note).contains(point))
                return note;
    return -1;
}

void NoteStripView::paintEvent(QPaintEvent* /*event*/) {
    QPainter painter(this);
    const double top = keyboardTop();
    painter.fillRect(QRectF(0, 0, width(), top), palette::qColor(palette::kFieldDeep));
    paintSpectrum(painter);
    painter.drawPixmap(QPointF(0, top), plainKeyboard());
    paintLitKeys(painter);
}

// One point per pixel column (the strongest bin that falls on it): the curve is as fine as
// the screen shows, whatever the bins per semitone.
void NoteStripView::paintSpectrum(QPainter& painter) const {
    const std::vector<float>& levels = spectrum_.levels;
    if (levels.empty())
        return;
    const double base = keyboardTop() - 1;
    const double height = base - 2;
    QPolygonF curve;
    curve.append(QPointF(xForNote(kLowestNote), base));
    int column = -1;
    double columnLevel = 0;
    for (std::size_t bin = 0; bin <= levels.size(); ++bin) {
        const double note = kLowestNote + double(bin) / spectrum_.binsPerSemitone;
        const bool end = bin == levels.size() || note > kHighestNote;
        const int x = end ? -2 : int(xForNote(note));
        if (x != column && column >= 0)
            curve.append(QPointF(column, base - columnLevel * height));
        if (end)
            break;
        const double level = std::clamp(double(levels[bin]), 0.0, 1.0);
        columnLevel = x == column ? std::max(columnLevel, level) : level;
        column = x;
    }
    curve.append(QPointF(curve.back().x(), base));
    painter.setPen(QPen(palette::qColor(palette::kAccent), 1.0));
    painter.setBrush(palette::qColor(palette::kWaveform, 0.55));
    painter.drawPolygon(curve);
}

const QPixmap& NoteStripView::plainKeyboard() {
    const double top = keyboardTop();
    const QSize size(width(), height() - int(top));
    const qreal ratio = devicePixelRatioF();
    if (keyboard_.size() == size * ratio && keyboard_.devicePixelRatio() == ratio)
        return keyboard_;
    keyboard_ = QPixmap(size * ratio);
    keyboard_.setDevicePixelRatio(ratio);
    keyboard_.fill(palette::qColor(palette::kFieldDeep));
    QPainter painter(&keyboard_);
    painter.translate(0, -top);
    for (int pass = 0; pass < 2; ++pass)
        for (int note = kLowestNote; note <= kHighestNote; ++note)
            if (isBlackKey(note) == (pass == 1))
                paintKey(painter, note, false);
    for (int note = kLowestNote; note <= kHighestNote; note += 12)
        paintOctaveName(painter, note);
    return keyboard_;
}

void NoteStripView::paintKey(QPainter& painter, int note, bool lit) const {
    const bool black = isBlackKey(note);
    painter.setPen(palette::qColor(palette::kFieldDeep));
    painter.setBrush(lit     ? palette::qColor(palette::kAccent)
                     : black ? palette::qColor(palette::kFieldBottom)
                             : palette::qColor(palette::kWhite, 0.92));
    painter.drawRect(keyRect(note));
    if (lit && note % 12 == 0)
        paintOctaveName(painter, note);
}

// C's are named, so the octaves can be counted: C1 .. C8.
void NoteStripView::paintOctaveName(QPainter& painter, int note) const {
    painter.setPen(palette::qColor(palette::kFieldBottom));
    QFont small = painter.font();
    small.setPixelSize(std::clamp(int(whiteKeyWidth() * 0.6), 6, 11));
    painter.setFont(small);
    painter.drawText(keyRect(note).adjusted(0, 0, 0, -2), Qt::AlignHCenter | Qt::AlignBottom,
                     QStringLiteral("C%1").arg(note / 12 - 1));
}

// A lit white key is drawn over the black keys beside it, which are then drawn again on top.
void NoteStripView::paintLitKeys(QPainter& painter) const {
    const std::vector<int>& lit = spectrum_.litNotes;
    for (int note : lit) {
        if (note < kLowestNote || note > kHighestNote || isBlackKey(note))
            continue;
        paintKey(painter, note, true);
        for (int beside : {note - 1, note + 1})
            if (beside >= kLowestNote && beside <= kHighestNote && isBlackKey(beside))
                paintKey(painter, beside, isLit(lit, beside));
    }
    for (int note : lit)
        if (note >= kLowestNote && note <= kHighestNote && isBlackKey(note))
            paintKey(painter, note, true);
}
