#pragma once

// The note strip: a piano keyboard from C1 to C8 along the bottom and, above it, the
// spectrum of the sound at the playhead on a constant-Q scale (several bins a semitone,
// lined up with the keys), with the strongest notes lit on the keys. It draws what it is
// given: the spectrum is worked out elsewhere, already shifted to the notes as heard.
//
//   |      /\        /\    /\              spectrum, level 0..1 per bin
//   |_____/  \______/  \__/  \_______
//   | | |█| | | |█| | | | | |█| ...        keys C1 .. C8, lit keys in the accent colour
//
// Thread contract: main thread only.

#include <QPixmap>
#include <QWidget>
#include <vector>

class NoteStripView : public QWidget {
    Q_OBJECT

public:
    static constexpr int kLowestNote = 24;   // C1, as a MIDI note number
    static constexpr int kHighestNote = 108; // C8
    static constexpr int kKeyCount = kHighestNote - kLowestNote + 1;

    struct Spectrum {
        // Levels 0..1 of consecutive bins, the first centred on C1, `binsPerSemitone` of them
        // a semitone; fewer than the keyboard's span leaves the rest empty.
        std::vector<float> levels;
        int binsPerSemitone = 1;
        std::vector<int> litNotes; // MIDI note numbers
    };

    explicit NoteStripView(QWidget* parent = nullptr);

    void setSpectrum(Spectrum spectrum);
    const Spectrum& spectrum() const { return spectrum_; }
    // Nothing sounds (no recording, or before the first spectrum): an empty strip.
    void clear();

    // Where a note sits across the strip: the centre of its key, in widget pixels; a
    // fractional note (a bin between two semitones) falls between their centres.
    double xForNote(double note) const;
    // The key under a point of the keyboard, or -1.
    int noteAt(QPointF point) const;
    static bool isBlackKey(int note);

    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QRectF keyRect(int note) const;
    double whiteKeyWidth() const;
    double keyboardTop() const;
    void paintSpectrum(QPainter& painter) const;
    // The keyboard with no key lit, drawn once per size: a repaint lays it down and draws
    // only the lit keys over it.
    const QPixmap& plainKeyboard();
    void paintKey(QPainter& painter, int note, bool lit) const;
    void paintOctaveName(QPainter& painter, int note) const;
    void paintLitKeys(QPainter& painter) const;

    Spectrum spectrum_;
    QPixmap keyboard_;
};
