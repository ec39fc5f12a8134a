#pragma once

// A push button that stands in one of two modes, each with its own image, pressed
// ("alternate") image and tool tip, so that one button serves two commands that take turns,
// such as play and pause, or loop off and loop on.
//
// The primary mode (0) takes what the interface file gave the button: its icon (the Normal/Off
// pixmap at the button's iconSize as the image, Normal/On as the pressed image) and its tool
// tip. Because the interface file sets those after constructing the widget, they are taken
// when the button is first shown or first asked to change mode, whichever comes first; the
// icon itself is then cleared, since the button draws its images itself. The secondary mode
// (any other value) is set up by the owner.
//
// The button draws its current image (the pressed one while held down), dimmed when disabled;
// with no image it looks like an ordinary push button.
//
// Thread contract: main thread only.
// Ownership: the widget belongs to its parent; the images are implicitly shared values.

#include <QPixmap>
#include <QPushButton>

class KTDualModeButton : public QPushButton {
    Q_OBJECT
    Q_PROPERTY(int mode READ mode WRITE setMode)

public:
    // The primary mode follows the icon and tool tip the interface file sets on it.
    explicit KTDualModeButton(QWidget* parent = nullptr);

    int mode() const { return mode_; }
    // Nothing happens when `mode` equals the current mode, even if that mode's images have
    // changed since. Otherwise the mode is stored and the image, pressed image and tool tip of
    // the new mode (the secondary one for any non-zero value) are applied.
    void setMode(int mode);

    // The secondary mode's settings. Changing one does not touch the button until the mode
    // is next entered.
    void setSecondaryModeImage(const QPixmap& image) { secondaryModeImage_ = image; }
    void setSecondaryModeAlternateImage(const QPixmap& image) {
        secondaryModeAlternateImage_ = image;
    }
    void setSecondaryModeToolTip(const QString& toolTip) { secondaryModeToolTip_ = toolTip; }

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return sizeHint(); }

protected:
    bool event(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    // Takes the interface file's icon and tool tip as the primary mode, once; later calls do
    // nothing.
    void awakeFromNib();
    void setImage(const QPixmap& image);
    void setAlternateImage(const QPixmap& image);

    int mode_ = 0;
    bool awake_ = false;
    QPixmap image_;
    QPixmap alternateImage_;
    QPixmap primaryModeImage_;
    QPixmap primaryModeAlternateImage_;
    QString primaryModeToolTip_;
    QPixmap secondaryModeImage_;
    QPixmap secondaryModeAlternateImage_;
    QString secondaryModeToolTip_;
};
