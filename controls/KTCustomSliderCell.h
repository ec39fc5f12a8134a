#pragma once

// The look of the speed and pitch sliders: a track drawn from three images (left cap, a
// stretched middle, right cap), half transparent when the slider is disabled, and a knob
// drawn from an image at full opacity. Tick marks are never drawn, whatever is set.
//
// Horizontal sliders only: the track images are horizontal. The slider does its own hit
// testing and dragging against the knob it draws, so what is grabbed is what is seen:
// pressing on the knob drags it from where it was grabbed; pressing elsewhere on the track
// moves the knob's centre there and drags it. The whole slider is repainted on every change,
// so a moving knob leaves no traces.
//
// Thread contract: main thread only.
// Ownership: the widget belongs to its parent. The images are loaded on first use and shared
// by all sliders for the life of the program.

#include <QSlider>

class KTCustomSliderCell : public QSlider {
    Q_OBJECT
    Q_PROPERTY(int trackHeight READ trackHeight WRITE setTrackHeight)

public:
    explicit KTCustomSliderCell(QWidget* parent = nullptr);

    // A switch, not a size: 0 draws the track at the height of its images, any other value
    // one point higher.
    int trackHeight() const { return trackHeight_; }
    void setTrackHeight(int height);

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void mouseMoveEvent(QMouseEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;
    void sliderChange(SliderChange change) override;

private:
    // The track in `bar`, the rectangle the slider gives it.
    void drawBarInsideFlipped(QPainter& painter, const QRect& bar, bool flipped) const;
    // The knob image in the knob's rectangle.
    void drawKnob(QPainter& painter, const QRect& knob) const;
    QRect knobRect() const;
    int valueAtKnobLeft(int x) const;

    bool isPressed_ = false; // while the user holds the knob
    int trackHeight_ = 0;
    int grabOffset_ = 0; // where in the knob the pointer holds it
};
