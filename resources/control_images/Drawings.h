#pragma once

// One function per family of images; each adds its images to the set.

class ImageSet;
class QString;

void drawLcdFont(ImageSet& images);
void drawTransportButtons(ImageSet& images);
void drawSliderParts(ImageSet& images);
void drawHudBar(ImageSet& images);

// Renders the icon's SVG at every size a desktop asks for. Returns false if the SVG is bad.
bool drawAppIcon(ImageSet& icons, const QString& svgPath);
