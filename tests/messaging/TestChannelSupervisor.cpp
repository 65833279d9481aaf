#include "messaging/ChannelSupervisor.h"
#include "Wire.h"

#include <QProcess>
#include <QSignalSpy>
#include <QtTest>

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

    void strangersSocketIsRefused()
    {
        if (::getuid() != 0)
            QSKIP("binding as another user needs root");
        // Another user took the scan daemon's name while it was away.
        const QByteArray name = "\\0" + ChannelAddress::name(Channel::ScanDaemon);
        QProcess stranger;
        stranger.start("setpriv",
                       {"--reuid=65534", "--regid=65534", "--clear-groups", "/usr/bin/python3", "-c",
                        "import socket, time\ns = socket.socket(socket.AF_UNIX)\ns.bind(b'" + name
                            + "'.ljust(108, b'\\0'))\ns.listen()\nprint('ready', flush=True)\n"
                              "c = s.accept()\nprint('tried', flush=True)\ntime.sleep(30)"});
        QVERIFY(stranger.waitForReadyRead(5000));
        ChannelSupervisor channels;
        channels.start();
        QByteArray said;
        QTRY_VERIFY((said += stranger.readAll()).contains("tried"));
        QVERIFY(!channels.isUp(Channel::ScanDaemon));
        stranger.kill();
        stranger.waitForFinished();

        Peer scanDaemon(Channel::ScanDaemon);
        QVERIFY(scanDaemon.accept());
        QVERIFY(channels.isUp(Channel::ScanDaemon));
    }
};

QTEST_GUILESS_MAIN(TestChannelSupervisor)
#include "TestChannelSupervisor.moc"
