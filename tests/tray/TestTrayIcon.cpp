#include "images/tray_green.xpm"
#include "images/tray_grey.xpm"
#include "images/tray_red.xpm"
#include "images/tray_shield.xpm"
#include "images/tray_yellow.xpm"
#include "tray/TrayIcon.h"
#include "tray/XEmbedTrayWatcher.h"

#include <QMenu>
#include <QProcess>
#include <QSettings>
#include <QSocketNotifier>
#include <QSystemTrayIcon>
#include <QTemporaryDir>
#include <QtTest>

using Picture = TrayIcon::Picture;

class TestTrayIcon final : public QObject
{
    Q_OBJECT

    QTemporaryDir m_config;

    static QSettings settings() { return QSettings(QSettings::UserScope, "trevanta.example", "wardlet"); }
    // The tool tip below the product's name.
    static QString words(const TrayIcon& tray) { return tray.icon()->toolTip().section('\n', 1); }

private slots:
    void initTestCase()
    {
        QSettings::setPath(QSettings::NativeFormat, QSettings::UserScope, m_config.path());
    }

    void pictureRule_data()
    {
        QTest::addColumn<int>("scanner");
        QTest::addColumn<bool>("running");
        QTest::addColumn<int>("management");
        QTest::addColumn<Picture>("picture");
        QTest::newRow("unknown") << 1 << true << 0 << Picture::Shield;
        QTest::newRow("self-managed") << 1 << true << 1 << Picture::Shield;
        QTest::newRow("online") << 1 << true << 2 << Picture::Online;
        QTest::newRow("management away") << 1 << true << 3 << Picture::ManagementAway;
        QTest::newRow("offline") << 1 << true << 4 << Picture::Offline;
        QTest::newRow("unknown state 5") << 1 << true << 5 << Picture::Unknown;
        QTest::newRow("negative state") << 1 << true << -1 << Picture::Unknown;
        QTest::newRow("scan daemon not running") << 1 << false << 2 << Picture::Unprotected;
        for (const int scanner : {0, 2, 3, 7})
            QTest::addRow("scanner %d", scanner) << scanner << true << 2 << Picture::Unprotected;
    }

    void pictureRule()
    {
        QFETCH(int, scanner);
        QFETCH(bool, running);
        QFETCH(int, management);
        QFETCH(Picture, picture);
        QCOMPARE(TrayIcon::pictureFor(ScannerState(scanner), running, ManagementState(management)), picture);
    }

    void showsEachPicture()
    {
        TrayIcon tray;
        tray.trayAppeared();
        const std::tuple<Picture, const char* const*, const char*> pictures[] = {
            {Picture::Online, tray_green_xpm, "Protected and in touch with the management server."},
            {Picture::Unprotected, tray_red_xpm,
             "Not protected: the real-time scanner or the scan daemon is not running."},
            {Picture::Offline, tray_yellow_xpm, "Protected, but the management server cannot be reached."},
            {Picture::Unknown, tray_grey_xpm, "Protected. The management client reports an unknown state."},
            {Picture::ManagementAway, tray_red_xpm,
             "Protected, but the management client cannot be reached."},
            {Picture::Shield, tray_shield_xpm, "Protected."}};
        for (const auto& [picture, xpm, words] : pictures) {
            tray.setPicture(picture);
            const QIcon shown = tray.icon()->icon();
            QCOMPARE(shown.pixmap(22, 22).toImage(), QPixmap(xpm).toImage());
            // Crisp on high-DPI panels too.
            QCOMPARE(shown.availableSizes(), (QList<QSize>{{22, 22}, {44, 44}}));
            QCOMPARE(tray.icon()->toolTip(), QStringLiteral("Trevanta\n") + words);
        }
    }

    // An icon made before a tray exists would be tied to no tray for good.
    void iconWaitsForATray()
    {
        TrayIcon tray;
        tray.setPicture(Picture::Online);
        tray.setShown(false);
        tray.setShown(true);
        tray.announceAgain();
        QVERIFY(!tray.icon());
        tray.trayAppeared();
        QVERIFY(tray.icon()->isVisible());
        tray.trayAppeared();
        QCOMPARE(tray.findChildren<QSystemTrayIcon*>().size(), 1);
    }

    // A refused stranger on a daemon's address is told apart from a daemon that is away.
    void toolTipNamesAStrangerOnTheAddress()
    {
        TrayIcon tray;
        tray.trayAppeared();
        const QString notRunning("Not protected: the real-time scanner or the scan daemon is not running.");
        tray.setPicture(Picture::ManagementAway);
        tray.setHeldByStranger(Channel::Management, true);
        QCOMPARE(words(tray),
                 QStringLiteral("Protected, but another program holds the management client's address."));
        tray.setPicture(Picture::Unprotected);
        QCOMPARE(words(tray), notRunning);
        tray.setHeldByStranger(Channel::ScanDaemon, true);
        QCOMPARE(words(tray),
                 QStringLiteral("Not protected: another program holds the scan daemon's address."));
        tray.setHeldByStranger(Channel::ScanDaemon, false);
        QCOMPARE(words(tray), notRunning);
    }

    // The choice outlives the program. Flips are written once they settle, and a choice not yet
    // written is written at the end.
    void showChoiceIsRemembered()
    {
        settings().setValue("Wardlet/ShowIcon", "untouched");
        {
            TrayIcon tray;
            tray.trayAppeared();
            for (int flip = 0; flip < 100; ++flip)
                tray.setShown(flip % 2 == 1);
            QVERIFY(tray.icon()->isVisible());
            tray.setShown(false);
            // A returning tray host is not shown what the user hid.
            tray.announceAgain();
            QVERIFY(!tray.icon()->isVisible());
            QCOMPARE(settings().value("Wardlet/ShowIcon").toString(), QStringLiteral("untouched"));
        }
        TrayIcon tray;
        tray.trayAppeared();
        QVERIFY(!tray.icon());
        tray.setPicture(Picture::Online);
        tray.setShown(true);
        QVERIFY(tray.icon()->isVisible());
        QCOMPARE(tray.icon()->icon().pixmap(22, 22).toImage(), QPixmap(tray_green_xpm).toImage());
        QTRY_COMPARE(settings().value("Wardlet/ShowIcon").toBool(), true);
        // Hidden and shown again, it is the same icon: a second one would stay behind.
        tray.setShown(false);
        tray.setShown(true);
        QCOMPARE(tray.findChildren<QSystemTrayIcon*>().size(), 1);
        QVERIFY(tray.icon()->isVisible());
    }

    void destroyedIconComesBack()
    {
        TrayIcon tray;
        tray.trayAppeared();
        tray.setPicture(Picture::Offline);
        delete tray.icon();
        QVERIFY(!tray.icon());
        QTRY_VERIFY(tray.icon());
        QVERIFY(tray.icon()->isVisible());
        QCOMPARE(tray.icon()->icon().pixmap(22, 22).toImage(), QPixmap(tray_yellow_xpm).toImage());
    }

    // The tray watcher's X connection is its own, so a display that goes away (an X server under
    // Wayland restarting) leaves the program running: the watcher must stop watching, not spin.
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

QTEST_MAIN(TestTrayIcon)
#include "TestTrayIcon.moc"
