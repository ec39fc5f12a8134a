#pragma once

// Reads the text a timer view shows, the way a person would: by recognising the glyphs of
// the LCD font in its pixels, from the right edge leftwards.

#include <QColor>
#include <QImage>
#include <string>
#include <vector>

namespace controls_test {

class LcdReader {
public:
    // `ground` is the colour the view was rendered over.
    explicit LcdReader(QColor ground);

    // The glyphs whose tops are at `top`, ending at `rightEdge`, left to right: digits, ':'
    // (minutes separator), '.', '%' (speed unit), '+', '-'. Glyphs may be a few blank points
    // apart. Anything left over that is not blank reads as '?'.
    std::string read(const QImage& rendering, int rightEdge, int top) const;

private:
    struct Glyph {
        char character;
        QImage look; // the glyph drawn over the ground
    };
    bool blank(const QImage& rendering, int left, int right, int top) const;

    QColor ground_;
    std::vector<Glyph> glyphs_;
};

} // namespace controls_test
