#include "app/CommandLine.h"
#include "app/Logging.h"
#include "app/SignalBridge.h"
#include "app/SingleInstance.h"
#include "app/WardletApp.h"

#include <QFont>
#include <QStyle>
#include <QStyleFactory>

namespace {

// Qt 5 with the style plugins still has Cleanlooks; everywhere else Fusion is the closest.
QStyle* createStyle()
{
    if (QStyle* style = QStyleFactory::create(QStringLiteral("Cleanlooks")))
        return style;
    return QStyleFactory::create(QStringLiteral("Fusion"));
}

} // namespace

int main(int argc, char** argv)
{
    QCoreApplication::setApplicationName(QStringLiteral("wardlet"));
    QCoreApplication::setApplicationVersion(QStringLiteral(WARDLET_VERSION));
    QGuiApplication::setDesktopFileName(QStringLiteral("wardlet"));
#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)
    // What Qt 6 does by itself: paint icons, the tray's too, from the picture made for the
    // screen's pixels rather than enlarge the 1x one, and use Wayland where there is no X11.
    QCoreApplication::setAttribute(Qt::AA_UseHighDpiPixmaps);
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM") && qEnvironmentVariableIsEmpty("DISPLAY")
        && !qEnvironmentVariableIsEmpty("WAYLAND_DISPLAY"))
        qputenv("QT_QPA_PLATFORM", "wayland");
#endif
    if (const std::optional<int> status = CommandLine::handle(argc, argv))
        return *status;

    Logging::install();
    // Held back before the lock makes this the copy that later starts signal.
    const sigset_t previousMask = SignalBridge::holdWakeUps();
    SingleInstance instance;
    if (!instance.claim())
        return 0;

    WardletApp app(argc, argv);
    SignalBridge::installHandlers();

    QStyle* style = createStyle();
    QApplication::setStyle(style);
    QApplication::setPalette(style->standardPalette());
    QApplication::setFont(QFont(QStringLiteral("Nimbus Sans L"), 10, QFont::Light, false));

    app.start();
    SignalBridge::releaseWakeUps(previousMask);
    return app.exec();
}
