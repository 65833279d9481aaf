#include "app/SignalHandler.h"
#include "app/SingleInstance.h"
#include "tray/WardletApp.h"

#include <QFont>
#include <QLocale>
#include <QStyle>
#include <QStyleFactory>
#include <QTranslator>

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

// Translation files are named after the English name of the system language ("qt_German",
// "wardlet_C") and looked for in the current directory. A missing file is no error: the
// translator is installed all the same and the texts stay English.
void installTranslator(QTranslator& translator, const QString& prefix)
{
    const QString language = QLocale::languageToString(QLocale::system().language());
    static_cast<void>(translator.load(prefix + language, QStringLiteral("."), QString(), QString()));
    QCoreApplication::installTranslator(&translator);
}

} // namespace

int main(int argc, char** argv)
{
    openlog("wardlet", LOG_PID, LOG_USER);
    if (argv && argv[0] && findRunningInstance(argv[0]))
        return 0;

    // SIGUSR2 waits until the signal bridge exists.
    sigset_t wakeUp;
    sigset_t previousMask;
    sigemptyset(&wakeUp);
    sigaddset(&wakeUp, SIGUSR2);
    sigprocmask(SIG_BLOCK, &wakeUp, &previousMask);

    WardletApp app(argc, argv);
    setSignalTarget(&app);

    struct sigaction action = {};
    action.sa_handler = signalHandler;
    sigemptyset(&action.sa_mask);
    action.sa_flags = 0;

    QTranslator qtTranslator;
    installTranslator(qtTranslator, QStringLiteral("qt_"));
    QTranslator appTranslator;
    installTranslator(appTranslator, QStringLiteral("wardlet_"));

    QApplication::setQuitOnLastWindowClosed(false);
    app.initialize();

    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
    sigaction(SIGUSR2, &action, nullptr);
    std::signal(SIGPIPE, SIG_IGN);

    QStyle* style = createStyle();
    QApplication::setStyle(style);
    QApplication::setPalette(style->standardPalette());
    QApplication::setFont(QFont(QStringLiteral("Nimbus Sans L"), 10, QFont::Light, false));

    app.begin();
    sigprocmask(SIG_SETMASK, &previousMask, nullptr);

    const int status = app.exec();
    setSignalTarget(nullptr);
    return status;
}
