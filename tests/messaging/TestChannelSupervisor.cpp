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

// What the program asks each daemon, on one numbering; the scan daemon in the "C" locale.
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

    // Asked at every retry for the other daemon and on a refresh. Only the scan daemon hears of a
    // success while away; the management client hears every result, but only while it is there.
    void requestsAndUpdateResults()
    {
        Peer scanDaemon(Channel::ScanDaemon);
        ChannelSupervisor channels;
        QSignalSpy lost(&channels, &ChannelSupervisor::channelLost);
        channels.start();
        QVERIFY(scanDaemon.accept());
        QCOMPARE(scanDaemon.waitForFrames(6), scanDaemonRequests(1) + scanDaemonRequests(4));
        Peer management(Channel::Management);
        QVERIFY(management.accept());
        QCOMPARE(management.waitForFrames(5), managementRequests(10));
        channels.reportUpdateResult(true);
        channels.reportUpdateResult(false);
        QCOMPARE(management.waitForFrames(7).mid(5),
                 (QStringList{"3:16:0000002d00000000", "3:17:0000002d00000001"}));
        QCOMPARE(scanDaemon.waitForFrames(10).mid(6), (scanDaemonRequests(7) << "2:15:00000009"));

        channels.refreshSoon();
        QCOMPARE(scanDaemon.waitForFrames(13).mid(10), scanDaemonRequests(18));
        QCOMPARE(management.waitForFrames(12).mid(7), managementRequests(21));

        scanDaemon.drop();
        QVERIFY(lost.wait());
        QVERIFY(!channels.isUp(Channel::ScanDaemon) && channels.isUp(Channel::Management));
        management.drop();
        QVERIFY(lost.wait());
        channels.reportUpdateResult(true);
        QVERIFY(scanDaemon.accept() && management.accept());
        QCOMPARE(scanDaemon.waitForFrames(4), QStringList{"2:26:00000009"} + scanDaemonRequests(27));
        QCOMPARE(management.waitForFrames(5), managementRequests(30));
        QCOMPARE(lost.size(), 2);
        QCOMPARE(lost.at(0).at(0).value<Channel>(), Channel::ScanDaemon);
        QCOMPARE(lost.at(1).at(0).value<Channel>(), Channel::Management);
    }

    // Root runs the daemons; the user's own process is believed only beside test daemons, another
    // user's never: refused at every retry, logged once a window, until the daemon is back.
    void onlyTheDaemonIsBelieved_data()
    {
        QTest::addColumn<bool>("suffix");
        QTest::addColumn<bool>("stranger");
        QTest::newRow("own, suffix set") << true << false;
        QTest::newRow("own, no suffix") << false << false;
        QTest::newRow("another user's") << true << true;
    }

    void onlyTheDaemonIsBelieved()
    {
        QFETCH(bool, suffix);
        QFETCH(bool, stranger);
        const bool root = ::getuid() == 0;
        if (stranger && !root)
            QSKIP("playing another user needs root");
        const QByteArray previousSuffix = qgetenv("WARDLET_SOCKET_SUFFIX");
        // Root listens as "nobody" (and runs the program so, unless it meets a stranger).
        QVERIFY(!root || ::setresuid(65534, 65534, 0) == 0);
        const auto restore = qScopeGuard([&] {
            qputenv("WARDLET_SOCKET_SUFFIX", previousSuffix);
            if (root)
                static_cast<void>(::setresuid(0, 0, 0));
        });
        if (!suffix)
            qunsetenv("WARDLET_SOCKET_SUFFIX");
        std::optional<Peer> peer(std::in_place, Channel::ScanDaemon);
        QVERIFY(!stranger || ::setresuid(0, 0, 0) == 0);
        if (stranger || !suffix)
            QTest::ignoreMessage(QtWarningMsg, refused);
        ChannelSupervisor channels;
        QSignalSpy held(&channels, &ChannelSupervisor::heldByStrangerChanged);
        channels.start();
        QVERIFY(peer->accept());
        QCOMPARE(channels.isUp(Channel::ScanDaemon), suffix && !stranger);
        if (!stranger)
            return;
        QVERIFY(peer->accept());
        // The second refusal is told when the supervisor ends.
        QTest::ignoreMessage(QtWarningMsg, refused);
        peer.reset();
        Peer scanDaemon(Channel::ScanDaemon);
        QVERIFY(scanDaemon.accept());
        QVERIFY(channels.isUp(Channel::ScanDaemon));
        QCOMPARE(held.size(), 2);
        QCOMPARE(held.at(0), (QVariantList{QVariant::fromValue(Channel::ScanDaemon), true}));
        QCOMPARE(held.at(1), (QVariantList{QVariant::fromValue(Channel::ScanDaemon), false}));
    }
};

QTEST_GUILESS_MAIN(TestChannelSupervisor)
#include "TestChannelSupervisor.moc"
