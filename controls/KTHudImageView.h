#pragma once

// The HUD bar behind the transport controls: one image of 200 x 40 points drawn in three
// pieces (an 8-point left cap, a one-point slice of the middle stretched across, an 8-point
// right cap), always 40 points high and at the bottom of the view whatever its height. A view
// narrower than the two caps still draws both; they overlap and the middle is left out.
//
// Thread contract: main thread only.
// Ownership: the widget belongs to its parent. The image is loaded on first use and shared by
// all instances for the life of the program.

#include <QWidget>

class KTHudImageView : public QWidget {
    Q_OBJECT

public:
    explicit KTHudImageView(QWidget* parent = nullptr);

    QSize sizeHint() const override { return QSize(200, 40); }

protected:
    void paintEvent(QPaintEvent* event) override;
};
