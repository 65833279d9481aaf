#include "tray/XEmbedTrayWatcher.h"

#include <QProcess>
#include <QSocketNotifier>
#include <QtTest>

class TestXEmbedTrayWatcher final : public QObject
{
    Q_OBJECT

private slots:
    // Its X connection is its own, so a display that goes away (an X server under Wayland
    // restarting) leaves the program running: the watcher must stop watching, not spin.
    void aDisplayThatGoesAwayIsNoLongerWatched()
    {
        QProcess server;
        server.start(QStringLiteral("Xvfb"),
                     {QStringLiteral("-displayfd"), QStringLiteral("1"), QStringLiteral("-nolisten"),
                      QStringLiteral("tcp")});
        QTRY_VERIFY(server.canReadLine());
        qputenv("DISPLAY", ':' + server.readLine().trimmed());
        XEmbedTrayWatcher watcher;
        QVERIFY(!watcher.isManagerPresent());
        auto* notifier = watcher.findChild<QSocketNotifier*>();
        QVERIFY(notifier && notifier->isEnabled());
        server.kill();
        server.waitForFinished();
        QTRY_VERIFY(!notifier->isEnabled());
    }
};

QTEST_GUILESS_MAIN(TestXEmbedTrayWatcher)
#include "TestXEmbedTrayWatcher.moc"
