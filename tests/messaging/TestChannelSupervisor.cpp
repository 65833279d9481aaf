#include "messaging/ChannelSupervisor.h"
#include "Wire.h"

#include <QScopeGuard>
#include <QSignalSpy>
#include <QTemporaryFile>
#include <QtTest>

#include <optional>
#include <syslog.h>
#include <unistd.h>

using Wire::Peer;

namespace {

// What the program asks when it connects: the scan daemon in the "C" locale, then the
// management client, on one numbering.
QStringList scanDaemonRequests(int first)
{
    return {QStringLiteral("2:%1:000000010000000243 00").arg(first).remove(' '),
            QStringLiteral("2:%1:00000004").arg(first + 1), QStringLiteral("2:%1:00000006").arg(first + 2)};
}

QStringList managementRequests(int first)
{
    QStringList frames;
    for (const char* id : {"1f", "19", "21", "1b", "17"})
        frames << QStringLiteral("3:%1:000000%2").arg(first++).arg(QLatin1String(id));
    return frames;
}

} // namespace

class TestChannelSupervisor final : public QObject
{
    Q_OBJECT

private slots:
    void requestsGoOutOnConnect()
    {
        Peer scanDaemon(Channel::ScanDaemon);
        Peer management(Channel::Management);
        ChannelSupervisor channels;
        channels.start();
        QVERIFY(scanDaemon.accept() && management.accept());
        QCOMPARE(scanDaemon.waitForFrames(3), scanDaemonRequests(1));
        QCOMPARE(management.waitForFrames(5), managementRequests(4));

        // Both up: a refresh asks both again, a second later.
        scanDaemon.forget();
        management.forget();
        channels.refreshSoon();
        QCOMPARE(scanDaemon.waitForFrames(3), scanDaemonRequests(9));
        QCOMPARE(management.waitForFrames(5), managementRequests(12));
    }

    void downChannelIsRetriedAndTheOtherAskedAgain()
    {
        Peer scanDaemon(Channel::ScanDaemon);
        ChannelSupervisor channels;
        channels.start();
        QVERIFY(scanDaemon.accept());
        QCOMPARE(scanDaemon.waitForFrames(6), scanDaemonRequests(1) + scanDaemonRequests(4));

        Peer management(Channel::Management);
        QVERIFY(management.accept());
        QVERIFY(management.waitForFrames(5).size() == 5);
        QVERIFY(channels.isUp(Channel::Management));
    }

    void lostChannelIsReportedAndReconnected()
    {
        Peer scanDaemon(Channel::ScanDaemon);
        Peer management(Channel::Management);
        ChannelSupervisor channels;
        QSignalSpy lost(&channels, &ChannelSupervisor::channelLost);
        channels.start();
        QVERIFY(scanDaemon.accept() && management.accept());
        management.waitForFrames(5);

        scanDaemon.drop();
        QVERIFY(lost.wait());
        QCOMPARE(lost.takeFirst().at(0).value<Channel>(), Channel::ScanDaemon);
        QVERIFY(!channels.isUp(Channel::ScanDaemon));
        // A success reported meanwhile reaches the scan daemon once it is back.
        channels.reportUpdateResult(true);
        QVERIFY(scanDaemon.accept());
        QCOMPARE(scanDaemon.waitForFrames(4), QStringList{"2:9:00000009"} + scanDaemonRequests(11));
        QVERIFY(lost.isEmpty());
    }

    void updateResults()
    {
        Peer scanDaemon(Channel::ScanDaemon);
        Peer management(Channel::Management);
        ChannelSupervisor channels;
        channels.start();
        QVERIFY(scanDaemon.accept() && management.accept());
        scanDaemon.waitForFrames(3);
        management.waitForFrames(5);
        scanDaemon.forget();
        management.forget();

        channels.reportUpdateResult(true);
        channels.reportUpdateResult(false);
        QCOMPARE(management.waitForFrames(2),
                 (QStringList{"3:10:0000002d00000000", "3:11:0000002d00000001"}));
        QCOMPARE(scanDaemon.frames(), QStringList{"2:9:00000009"});

        management.drop();
        QTRY_VERIFY(!channels.isUp(Channel::Management));
        channels.reportUpdateResult(false);
        QVERIFY(management.accept());
        QCOMPARE(management.waitForFrames(5), managementRequests(15));
    }

    // Another user took the scan daemon's name while it was away: refused at every retry but
    // logged once, and the real daemon is taken as soon as it is back.
    void strangersSocketIsRefused()
    {
        if (::getuid() != 0)
            QSKIP("playing another user needs root");
        std::optional<Peer> stranger;
        QCOMPARE(::seteuid(65534), 0); // what it listens on belongs to "nobody"
        stranger.emplace(Channel::ScanDaemon);
        QCOMPARE(::seteuid(0), 0);

        // The log goes to standard error as well, which is caught in a file meanwhile.
        openlog("test_channelsupervisor", LOG_PERROR, LOG_USER);
        QTemporaryFile log;
        QVERIFY(log.open());
        const int standardError = ::dup(2);
        ::dup2(log.handle(), 2);
        const auto logged = [&log] {
            QFile file(log.fileName());
            return file.open(QIODevice::ReadOnly) ? int(file.readAll().count("refused")) : -1;
        };
        ChannelSupervisor channels;
        channels.start();
        const QList<int> refusals{stranger->accept(), logged(), stranger->accept(), logged()};
        ::dup2(standardError, 2);
        ::close(standardError);
        QCOMPARE(refusals, (QList<int>{true, 1, true, 1}));
        QVERIFY(!channels.isUp(Channel::ScanDaemon));

        stranger.reset();
        Peer scanDaemon(Channel::ScanDaemon);
        QVERIFY(scanDaemon.accept());
        QVERIFY(channels.isUp(Channel::ScanDaemon));
    }

    // The user's own daemon is believed, also when the user is not root.
    void ownDaemonIsTaken()
    {
        const bool root = ::getuid() == 0;
        // Root becomes "nobody" for this test, keeping root as the saved user to come back to.
        if (root)
            QCOMPARE(::setresuid(65534, 65534, 0), 0);
        const auto back = qScopeGuard([root] {
            if (root)
                static_cast<void>(::setresuid(0, 0, 0));
        });
        Peer scanDaemon(Channel::ScanDaemon);
        ChannelSupervisor channels;
        channels.start();
        QVERIFY(scanDaemon.accept());
        QVERIFY(channels.isUp(Channel::ScanDaemon));
    }
};

QTEST_GUILESS_MAIN(TestChannelSupervisor)
#include "TestChannelSupervisor.moc"
