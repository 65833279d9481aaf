#include "WindowFocus.h"

#include "ui/X11StartupNotice.h"

#include <QGuiApplication>
#include <QWidget>

void WindowFocus::request(QWidget& window, const QByteArray& token)
{
    const QString platform = QGuiApplication::platformName();
    if (platform == QLatin1String("wayland")) {
#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)
        return;
#else
        // Qt's Wayland client asks with the token it finds here, then clears it.
        if (!token.isEmpty())
            qputenv("XDG_ACTIVATION_TOKEN", token);
#endif
    } else if (platform == QLatin1String("xcb") && !token.isEmpty()) {
        X11StartupNotice::complete(window.winId(), token);
    }
    window.activateWindow();
}
