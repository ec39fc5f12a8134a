#pragma once

// One function per family of images; each adds its images to the set.

class ImageSet;
class QByteArray;
class QString;

void drawLcdFont(ImageSet& images);
void drawTransportButtons(ImageSet& images);
void drawSliderParts(ImageSet& images);
void drawHudBar(ImageSet& images);

// The icon's SVG: the template at `templatePath` with its @NAME@ colours taken from the
// palette. Empty if the template cannot be read or names a colour the palette lacks.
QByteArray appIconSvg(const QString& templatePath);

// Renders the icon's SVG at every size a desktop asks for. Returns false if the SVG is bad.
bool drawAppIcon(ImageSet& icons, const QByteArray& svg);
