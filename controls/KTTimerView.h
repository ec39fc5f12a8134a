#pragma once

// The LCD display of the main window: the playhead time as m:ss.hh in liquid-crystal digits,
// or, for one second after a change of speed, pitch or volume, the new value (the flash).
//
//   time shown  --showFlashTypeValue-->  flash shown  --1 s after the last flash-->  time shown
//
// Thread contract: main thread only.
// Ownership: the widget belongs to its parent. The font image and the flash timer are shared
// by all instances and live as long as the program (the timer as long as the application
// object): at most one flash timer is pending in the whole program, and it hides the flash of
// the view that flashed last.

#include <QWidget>

namespace controls {
enum class LcdGlyph;
}

class KTTimerView : public QWidget {
    Q_OBJECT
    Q_PROPERTY(float time READ time WRITE setTime)

public:
    // Values of the flash type.
    static constexpr int kFlashPercentage = 0; // speed or volume in percent, with the unit glyph
    static constexpr int kFlashPitch = 1;      // semitone pairs (cents / 200), one decimal
    static constexpr int kFlashNumber = 2;     // a whole number, such as a tempo in BPM

    explicit KTTimerView(QWidget* parent = nullptr);

    float time() const { return time_; }
    // Seconds; never negative. During a flash the new time is kept and shown when it ends.
    void setTime(float seconds);

    // Shows `value` in place of the time and (re)starts the one-second flash timer, so a run
    // of changes keeps the flash up until one second after the last. Any other type than the
    // three above shows nothing for that second.
    void showFlashTypeValue(int type, float value);
    // What the display shows: the flash (its type and value) or the time.
    bool isShowingFlash() const { return mode_ == 1; }
    int flashType() const { return flashType_; }
    float flashValue() const { return flashValue_; }
    void hideFlash();

    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    void drawTime(QPainter& painter) const;
    void drawFlash(QPainter& painter) const;
    // Draws `number` right-aligned with its right edge at x, padded with zeros to at least
    // `minDigits` digits; returns the left edge of the last glyph drawn (x itself when a
    // number below 1 is asked for with no minimum).
    int drawNumberAtXMinDigits(QPainter& painter, int number, int x, int minDigits) const;
    // Draws the glyph with its left edge at x and returns that x.
    int drawGlyph(QPainter& painter, controls::LcdGlyph glyph, int x) const;
    // Where right-to-left text starts.
    int rightEdge() const;

    int mode_ = 0; // 0 shows the time, 1 the flash
    float time_ = 0.0f;
    int flashType_ = kFlashPercentage;
    float flashValue_ = 0.0f;
};
