#pragma once

// A push button that stands in one of two modes, each with its own image, pressed
// ("alternate") image and tool tip, so that one button serves two commands that take turns,
// such as play and pause, or loop off and loop on.
//
// The primary mode (0) takes what the interface file gave the button: its icon (the Normal/Off
// pixmap at the button's iconSize as the image, Normal/On as the pressed image) and its tool
// tip. Because the interface file sets those after constructing the widget, they are taken
// when the button is first shown or first asked to change mode, whichever comes first, or
// when awakeFromNib() is called; the icon itself is then cleared, since the button draws its
// images itself. The secondary mode (any other value) is set up by the owner.
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
    // For the interface file: the primary mode follows the icon and tool tip set on it.
    explicit KTDualModeButton(QWidget* parent = nullptr);
    // Made in code: both modes start empty and are filled in with the setters.
    explicit KTDualModeButton(const QRect& frame, QWidget* parent = nullptr);

    int mode() const { return mode_; }
    // Nothing happens when `mode` equals the current mode, even if that mode's images have
    // changed since. Otherwise the mode is stored and the image, pressed image and tool tip of
    // the new mode (the secondary one for any non-zero value) are applied.
    void setMode(int mode);

    // What the button shows now.
    QPixmap image() const { return image_; }
    void setImage(const QPixmap& image);
    QPixmap alternateImage() const { return alternateImage_; }
    void setAlternateImage(const QPixmap& image);

    // The modes' settings. Changing one does not touch the button until its mode is next
    // entered.
    QPixmap primaryModeImage() const { return primaryModeImage_; }
    void setPrimaryModeImage(const QPixmap& image);
    QPixmap primaryModeAlternateImage() const { return primaryModeAlternateImage_; }
    void setPrimaryModeAlternateImage(const QPixmap& image);
    QString primaryModeToolTip() const { return primaryModeToolTip_; }
    void setPrimaryModeToolTip(const QString& toolTip);
    QPixmap secondaryModeImage() const { return secondaryModeImage_; }
    void setSecondaryModeImage(const QPixmap& image) { secondaryModeImage_ = image; }
    QPixmap secondaryModeAlternateImage() const { return secondaryModeAlternateImage_; }
    void setSecondaryModeAlternateImage(const QPixmap& image) {
        secondaryModeAlternateImage_ = image;
    }
    QString secondaryModeToolTip() const { return secondaryModeToolTip_; }
    void setSecondaryModeToolTip(const QString& toolTip) { secondaryModeToolTip_ = toolTip; }

    // Takes the interface file's icon and tool tip as the primary mode, once; later calls do
    // nothing. A button made in code has nothing to take.
    void awakeFromNib();

    QSize sizeHint() const override;
    QSize minimumSizeHint() const override { return sizeHint(); }

protected:
    bool event(QEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
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
