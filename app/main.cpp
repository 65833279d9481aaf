#include "app/CommandLine.h"
#include "app/SignalBridge.h"
#include "app/SingleInstance.h"
#include "app/WardletApp.h"

#include <QFont>
#include <QStyle>
#include <QStyleFactory>

#include <csignal>
#include <syslog.h>

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
    if (const std::optional<int> status = CommandLine::handle(argc, argv))
        return *status;

    openlog("wardlet", LOG_PID, LOG_USER);
    SingleInstance instance;
    if (!instance.claim())
        return 0;

    // SIGUSR2 waits until the signal bridge exists.
    sigset_t wakeUp;
    sigset_t previousMask;
    sigemptyset(&wakeUp);
    sigaddset(&wakeUp, SIGUSR2);
    sigprocmask(SIG_BLOCK, &wakeUp, &previousMask);

    WardletApp app(argc, argv);

    struct sigaction action = {};
    action.sa_handler = SignalBridge::handle;
    sigemptyset(&action.sa_mask);
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
    sigaction(SIGUSR2, &action, nullptr);
    std::signal(SIGPIPE, SIG_IGN);

    QStyle* style = createStyle();
    QApplication::setStyle(style);
    QApplication::setPalette(style->standardPalette());
    QApplication::setFont(QFont(QStringLiteral("Nimbus Sans L"), 10, QFont::Light, false));

    instance.serve();
    app.start();
    sigprocmask(SIG_SETMASK, &previousMask, nullptr);
    return app.exec();
}
