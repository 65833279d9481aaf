#include "WindowFocus.h"

#include "ui/X11StartupNotice.h"

#include <QGuiApplication>
#include <QWidget>

bool WindowFocus::isUsableToken(const char* data, size_t size)
{
    if (size > MaxToken)
        return false;
    for (size_t i = 0; i < size; ++i) {
        if (static_cast<unsigned char>(data[i]) < 0x20 || static_cast<unsigned char>(data[i]) > 0x7e)
            return false;
    }
    return true;
}

void WindowFocus::request(QWidget& window, const QByteArray& givenToken)
{
    const QByteArray token
        = isUsableToken(givenToken.constData(), size_t(givenToken.size())) ? givenToken : QByteArray();
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
