#pragma once

#include <QIcon>
#include <QPixmap>
#include <QString>

// The program's pictures at any device-pixel ratio. At 1x each is its XPM, exactly; larger screens
// get the renderings of the same SVG that the build made, "NAME-2x.png" and, for most, "NAME-3x.png".
namespace Pictures {

// The 1x picture together with its renderings, for Qt to choose from.
QIcon icon(const char* const* xpm, const QString& name);

// The picture drawn for the given ratio. Any other ratio than 1, 2 or 3 gets the nearest rendering
// at or above it (or the largest) scaled to fit, so fractional ratios stay sharp too.
QPixmap pixmap(const char* const* xpm, const QString& name, qreal ratio);

} // namespace Pictures
