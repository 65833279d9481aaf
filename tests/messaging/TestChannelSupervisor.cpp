#include "messaging/ChannelSupervisor.h"
#include "UnexpectedWarnings.h"
#include "Wire.h"

#include <QScopeGuard>
#include <QSignalSpy>
#include <QtTest>

#include <optional>
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

// A refusal's line, the first of a window or the one that sums up the rest of it.
const QRegularExpression refused(
    QStringLiteral("^refused a daemon's address 1 time\\(s\\), held by a process that is not the daemon: "
                   "Calvorin-trayIPC\\S* belongs to user \\d+ \\(process \\d+\\)$"));

} // namespace

class TestChannelSupervisor final : public QObject
{
    Q_OBJECT

private slots:
    void init() { failOnUnexpectedWarnings(); }

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
    // logged once a window, and the real daemon is taken as soon as it is back.
    void strangersSocketIsRefused()
    {
        if (::getuid() != 0)
            QSKIP("playing another user needs root");
        std::optional<Peer> stranger;
        QCOMPARE(::seteuid(65534), 0); // what it listens on belongs to "nobody"
        stranger.emplace(Channel::ScanDaemon);
        QCOMPARE(::seteuid(0), 0);

        QTest::ignoreMessage(QtWarningMsg, refused);
        ChannelSupervisor channels;
        QSignalSpy held(&channels, &ChannelSupervisor::heldByStrangerChanged);
        channels.start();
        QVERIFY(stranger->accept() && stranger->accept());
        QVERIFY(!channels.isUp(Channel::ScanDaemon));
        // The second refusal is told when the supervisor ends.
        QTest::ignoreMessage(QtWarningMsg, refused);

        stranger.reset();
        Peer scanDaemon(Channel::ScanDaemon);
        QVERIFY(scanDaemon.accept());
        QVERIFY(channels.isUp(Channel::ScanDaemon));
        QCOMPARE(held.size(), 2);
        QCOMPARE(held.at(0), (QVariantList{QVariant::fromValue(Channel::ScanDaemon), true}));
        QCOMPARE(held.at(1), (QVariantList{QVariant::fromValue(Channel::ScanDaemon), false}));
    }

    // The daemons run as root. A process of the user's own is believed only beside test
    // daemons (a socket suffix set): otherwise any sandboxed program of the user could play one.
    void ownDaemonIsTakenOnlyBesideTestDaemons_data()
    {
        QTest::addColumn<bool>("suffix");
        QTest::newRow("suffix set") << true;
        QTest::newRow("no suffix") << false;
    }

    void ownDaemonIsTakenOnlyBesideTestDaemons()
    {
        QFETCH(bool, suffix);
        const QByteArray previousSuffix = qgetenv("WARDLET_SOCKET_SUFFIX");
        if (!suffix) {
            qunsetenv("WARDLET_SOCKET_SUFFIX");
            QTest::ignoreMessage(QtWarningMsg, refused);
        }
        const auto restore
            = qScopeGuard([previousSuffix] { qputenv("WARDLET_SOCKET_SUFFIX", previousSuffix); });
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
        QCOMPARE(channels.isUp(Channel::ScanDaemon), suffix);
    }
};

QTEST_GUILESS_MAIN(TestChannelSupervisor)
#include "TestChannelSupervisor.moc"
