#pragma once

// The images of the controls, compiled into the program as Qt resources.
//
// Thread contract: main thread only (the first call registers the resources).
// Each control class loads its images once, on first use, and keeps them for the life of the
// program; this function itself caches nothing.

#include <QImage>
#include <QString>

namespace controls {

// Makes ":/images/" available to code that loads the images by path, such as the icons an
// interface file gives the buttons. Loading through loadControlImage needs no call.
void registerControlImages();

// Loads ":/images/NAME.png", or its "@2x" twin when any screen has a device pixel ratio above
// 1 (the returned image then carries that ratio, so its size in points is the same). A missing
// or undecodable image is logged and gives a null image.
QImage loadControlImage(const QString& name);

} // namespace controls
