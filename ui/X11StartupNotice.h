#pragma once

#include <QByteArray>

// The X11 side of a launch that asks an open window to come forward: the window takes the
// launch's startup id, whose time stamp lets the window manager give it the focus over what the
// user did before the launch, and the launcher's busy feedback for that id ends.
namespace X11StartupNotice {

void complete(unsigned long window, const QByteArray& startupId);

} // namespace X11StartupNotice
