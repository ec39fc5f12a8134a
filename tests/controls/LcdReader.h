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
    // `ground` is the colour the view was rendered over, `scale` its pixels per point (the
    // font image of that scale must be the one the program loads).
    LcdReader(QColor ground, int scale);

    // The glyphs whose tops are at `top`, ending at `rightEdge` (both in points), left to right:
    // digits, ':' (minutes separator), '.', '%' (speed unit), '+', '-'. Glyphs may be a few blank
    // points apart. Anything left over that is not blank reads as '?'.
    std::string read(const QImage& rendering, int rightEdge, int top) const;

private:
    struct Glyph {
        char character;
        QImage look; // the glyph drawn over the ground
    };
    bool blank(const QImage& rendering, int left, int right, int top) const;

    QColor ground_;
    int scale_;
    std::vector<Glyph> glyphs_;
};

} // namespace controls_test
