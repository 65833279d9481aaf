#include "DaemonPeer.h"
#include "tray/WardletApp.h"

#include <QDialog>
#include <QDir>
#include <QElapsedTimer>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTextEdit>
#include <QTimer>
#include <QtTest>

#include <csignal>
#include <memory>

// Runs against stand-in daemons on private socket names, so it can run beside real daemons
// and beside other tests.
class TestWardletApp : public QObject
{
    Q_OBJECT

public:
    explicit TestWardletApp(WardletApp& app)
        : app(app)
    { }

private slots:
    void initTestCase()
    {
        app.initialize();
        timer = app.findChild<QTimer*>();
        QVERIFY(timer);
    }

    // Must run first: it sees the counter's first eight numbers.
    void firstContactSendsTheStatusRequests()
    {
        kvs.reset(new DaemonPeer(ChannelAddress::Kvs));
        pdx.reset(new DaemonPeer(ChannelAddress::Pdx));
        app.begin();
        QVERIFY(kvs->waitForConnection());
        QVERIFY(pdx->waitForConnection());
        QVERIFY(kvs->waitForBytes(30 + 24 + 24));
        // Locale "C": the status request carries "C" and its terminating zero.
        QCOMPARE(kvs->received().left(30).toHex(),
                 QByteArray("00000000000000020000000000000001"
                            "0000000a00000001000000024300"));
        const QList<DaemonPeer::Frame> kvsFrames = kvs->frames();
        QCOMPARE(kvsFrames.at(1).sequence, 2);
        QCOMPARE(kvsFrames.at(1).body.toHex(), QByteArray("00000004"));
        QCOMPARE(kvsFrames.at(2).sequence, 3);
        QCOMPARE(kvsFrames.at(2).body.toHex(), QByteArray("00000006"));

        QVERIFY(pdx->waitForFrames(5));
        QList<int> sequences, ids;
        for (const DaemonPeer::Frame& frame : pdx->frames()) {
            QCOMPARE(frame.serviceId, 3);
            QCOMPARE(frame.body.size(), 4);
            sequences << frame.sequence;
            ids << int(frame.messageId());
        }
        QCOMPARE(sequences, (QList<int>{4, 5, 6, 7, 8}));
        QCOMPARE(ids, (QList<int>{31, 25, 33, 27, 23}));
    }

    void nothingPollsWhileBothChannelsAreUp()
    {
        QTRY_VERIFY(!timer->isActive());
        QCOMPARE(kvs->received().size(), 78);
        QCOMPARE(pdx->frames().size(), 5);
    }

    void lostChannelIsResetAndReconnectedASecondLater()
    {
        app.setPDXStatus(ProtectionOnline);
        app.setServerAddress(QStringLiteral("10.0.0.1"));
        QSignalSpy state(&app, &WardletApp::PDXStatusStrChanged);
        QSignalSpy server(&app, &WardletApp::ServerAddressStatusChanged);

        pdx->dropConnection();
        QVERIFY(state.wait(2000));
        QCOMPARE(state.first().first().toString(), QStringLiteral("Disabled"));
        QCOMPARE(server.count(), 1);
        QCOMPARE(server.first().first().toString(), QString());
        QVERIFY(timer->isActive());
        QCOMPARE(timer->interval(), 1000);

        QElapsedTimer clock;
        clock.start();
        QVERIFY(pdx->waitForConnection(3000));
        QVERIFY2(clock.elapsed() >= 800, qPrintable(QString::number(clock.elapsed())));
        QVERIFY(pdx->waitForFrames(5));
        QTRY_VERIFY(!timer->isActive());
    }

    void oneChannelDownMeansRetriesEverySecond()
    {
        QSignalSpy vg(&app, &WardletApp::VGStatusStrChanged);
        QSignalSpy allowed(&app, &WardletApp::NRAllowedChanged);
        kvs->stopListening();
        kvs->dropConnection();
        QVERIFY(vg.wait(2000));
        QCOMPARE(vg.first().first().toString(), QStringLiteral("Malfunctioning"));
        QCOMPARE(allowed.count(), 1);
        QCOMPARE(allowed.first().first().toBool(), false);

        // The daemon still there is asked for its whole status on every retry.
        QVERIFY(pdx->waitForFrames(5 + 5 + 5, 3500));
        QVERIFY(timer->isActive());
        QCOMPARE(timer->interval(), 1000);
    }

    void aDaemonThatComesBackIsAskedAgain()
    {
        QVERIFY(kvs->listen());
        QVERIFY(kvs->waitForConnection(3000));
        QVERIFY(kvs->waitForFrames(3));
        QCOMPARE(kvs->frames().first().messageId(), 1u);
    }

    void alertFromTheScanDaemonRaisesTheViewer()
    {
        QByteArray record = DaemonPeer::words({1300000000});
        for (const QByteArray& text : {QByteArray(), QByteArray(), QByteArray(), QByteArray(), QByteArray(),
                                       QByteArray(), QByteArray("Test-File"), QByteArray("Quarantined"),
                                       QByteArray("/tmp/x"), QByteArray("Found ~N in ~F\\r\\nAction: ~a")})
            record += DaemonPeer::words({quint32(text.size() + 1)}) + text + '\0';
        kvs->send(DaemonPeer::frame(2, DaemonPeer::words({3}) + record));

        QDialog* viewer = nullptr;
        QTRY_VERIFY((viewer = visibleDialog()));
        QCOMPARE(viewer->windowTitle(), QStringLiteral("Mireval - Alert 1 of 1"));
        QCOMPARE(viewer->findChild<QTextEdit*>()->toPlainText(),
                 QStringLiteral("Found Test-File in /tmp/x\nAction: Quarantined"));
        viewer->close();
        QTRY_VERIFY(!visibleDialog());
    }

    void connectFailsCleanlyWithoutADaemon()
    {
        kvs.reset();
        const int openBefore = QDir(QStringLiteral("/proc/self/fd")).count();
        QCOMPARE(WardletApp::connectChannel(ChannelAddress::Kvs), -1);
        QCOMPARE(QDir(QStringLiteral("/proc/self/fd")).count(), openBefore);
    }

    void aDaemonBoundToTheShortNameIsNotReached()
    {
        const socklen_t shortLength = socklen_t(offsetof(sockaddr_un, sun_path) + 1
                                                + ChannelAddress::name(ChannelAddress::Kvs).size());
        DaemonPeer shortName(ChannelAddress::Kvs, shortLength);
        QCOMPARE(WardletApp::connectChannel(ChannelAddress::Kvs), -1);
    }

    void exitEndsTheLoopWithStatusZero()
    {
        QTimer::singleShot(0, &app, &WardletApp::byebye);
        QCOMPARE(app.exec(), 0);
    }

private:
    static QDialog* visibleDialog()
    {
        for (QWidget* widget : QApplication::topLevelWidgets()) {
            if (auto* dialog = qobject_cast<QDialog*>(widget); dialog && dialog->isVisible())
                return dialog;
        }
        return nullptr;
    }

    WardletApp& app;
    QTimer* timer = nullptr;
    std::unique_ptr<DaemonPeer> kvs;
    std::unique_ptr<DaemonPeer> pdx;
};

int main(int argc, char** argv)
{
    QTemporaryDir config;
    qputenv("XDG_CONFIG_HOME", config.path().toLocal8Bit());
    qputenv("WARDLET_SOCKET_SUFFIX", ".test-app-" + QByteArray::number(::getpid()));
    std::signal(SIGPIPE, SIG_IGN);
    WardletApp app(argc, argv);
    TestWardletApp test(app);
    return QTest::qExec(&test, argc, argv);
}

#include "TestWardletApp.moc"
