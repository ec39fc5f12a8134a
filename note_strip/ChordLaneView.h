#pragma once

// The chord lane: a thin strip over the waveform with the name of each chord where it
// begins, lined up with the waveform below it (scrolled and zoomed with it), so the
// chords read along the music as it plays.
//
//   | C          | Am        | F           | G7          |N
//
// It draws what it is given, already spelled as heard: the caller passes the chords and,
// whenever the waveform scrolls or zooms, where the time scale stands. A label that would
// run into the one before it is left out (zoomed far out, the changes crowd together).
// A raster widget on purpose: a second GL widget in the window slows the waveform's drags.
//
// Thread contract: main thread only.

#include <QString>
#include <QWidget>
#include <vector>

class ChordLaneView : public QWidget {
    Q_OBJECT

public:
    struct Label {
        double startSeconds = 0;
        QString text;
    };

    explicit ChordLaneView(QWidget* parent = nullptr);

    // One label per chord change, in time order.
    void setLabels(std::vector<Label> labels);
    const std::vector<Label>& labels() const { return labels_; }
    // The time at the lane's left edge and how many pixels a second takes.
    void setTimeScale(double secondsAtLeft, double pixelsPerSecond);
    double xForSeconds(double seconds) const;
    // The labels drawn as the lane stands, with their x, for whoever checks what shows.
    std::vector<std::pair<double, QString>> visibleLabels() const;

    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    std::vector<Label> labels_;
    double secondsAtLeft_ = 0;
    double pixelsPerSecond_ = 0;
};
