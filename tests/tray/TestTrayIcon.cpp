#include "images/tray_green.xpm"
#include "images/tray_grey.xpm"
#include "images/tray_red.xpm"
#include "images/tray_shield.xpm"
#include "images/tray_yellow.xpm"
#include "tray/WardletApp.h"

#include <QMenu>
#include <QPointer>
#include <QSettings>
#include <QSignalSpy>
#include <QSystemTrayIcon>
#include <QTemporaryDir>
#include <QtTest>

#include <unistd.h>

namespace {

QImage picture(const char* const* xpm)
{
    return QPixmap(xpm).toImage();
}

QImage shownPicture(const WardletApp& app)
{
    return app.getTrayIcon()->icon().pixmap(22, 22).toImage();
}

int menuCount()
{
    int count = 0;
    for (QWidget* widget : QApplication::topLevelWidgets())
        count += qobject_cast<QMenu*>(widget) ? 1 : 0;
    return count;
}

} // namespace

// Starts with the icon switched off in the user's settings.
class TestTrayIcon : public QObject
{
    Q_OBJECT

public:
    explicit TestTrayIcon(WardletApp& app)
        : app(app)
    { }

private slots:
    void savedChoiceOffMeansNoIconAndNoMenu()
    {
        QSignalSpy changed(&app, &WardletApp::showIconChanged);
        app.initialize();
        QVERIFY(!app.getTrayIcon());
        QCOMPARE(menuCount(), 0);
        QCOMPARE(changed.count(), 0);
        QCOMPARE(app.property("showIcon").toBool(), false);
    }

    void switchingOnCreatesTheIconWithItsMenu()
    {
        app.setShowIcon(true);
        QSystemTrayIcon* icon = app.getTrayIcon();
        QVERIFY(icon);
        QVERIFY(icon->isVisible());
        QCOMPARE(icon->toolTip(), QStringLiteral("Trevanta"));
        QStringList entries;
        for (QAction* action : icon->contextMenu()->actions())
            entries << (action->isSeparator() ? QStringLiteral("-") : action->text());
        QCOMPARE(entries, (QStringList{"Open &Trevanta", "-", "&Exit"}));
        for (QAction* action : icon->contextMenu()->actions())
            QVERIFY(action->shortcut().isEmpty());
        // No daemon has been reached yet: the plain shield stays.
        QCOMPARE(shownPicture(app), picture(tray_shield_xpm));
    }

    void hidingAndShowingReusesTheIcon()
    {
        QSystemTrayIcon* icon = app.getTrayIcon();
        QSignalSpy changed(&app, &WardletApp::showIconChanged);
        app.setShowIcon(false);
        QCOMPARE(app.getTrayIcon(), icon);
        QVERIFY(!icon->isVisible());
        app.setShowIcon(true);
        QCOMPARE(app.getTrayIcon(), icon);
        QVERIFY(icon->isVisible());
        app.setShowIcon(true);
        QCOMPARE(changed.count(), 2);
        QCOMPARE(changed.at(0).first().toBool(), false);
        QCOMPARE(changed.at(1).first().toBool(), true);
        QCOMPARE(menuCount(), 1);
    }

    void pictureFollowsTheProtectionState_data()
    {
        QTest::addColumn<int>("vg");
        QTest::addColumn<bool>("running");
        QTest::addColumn<int>("pdx");
        QTest::addColumn<QImage>("expected");
        const QImage shield = picture(tray_shield_xpm), green = picture(tray_green_xpm),
                     red = picture(tray_red_xpm), yellow = picture(tray_yellow_xpm),
                     grey = picture(tray_grey_xpm);
        const QList<QPair<int, QImage>> protectedPictures{{0, shield}, {1, shield}, {2, green}, {3, red},
                                                          {4, yellow}, {5, grey},   {9, grey},  {-1, grey}};
        for (const auto& entry : protectedPictures)
            QTest::addRow("protected, management %d", entry.first)
                << 1 << true << entry.first << entry.second;
        for (int pdx : {0, 1, 2, 4, 9}) {
            QTest::addRow("daemon stopped, management %d", pdx) << 1 << false << pdx << red;
            for (int vg : {0, 2, 3, 7, -1})
                QTest::addRow("scanner %d, management %d", vg, pdx) << vg << true << pdx << red;
        }
    }

    void pictureFollowsTheProtectionState()
    {
        QFETCH(int, vg);
        QFETCH(bool, running);
        QFETCH(int, pdx);
        QFETCH(QImage, expected);
        // Reach the wanted state through values that differ, so every setter acts.
        app.setVGStatus(VGEnabledStatus(vg == 1 ? 0 : 1));
        app.setVGStatus(VGEnabledStatus(vg));
        app.setKVSStatus(!running);
        app.setKVSStatus(running);
        app.setPDXStatus(enumProtectionState(pdx == 3 ? 2 : 3));
        app.setPDXStatus(enumProtectionState(pdx));
        QCOMPARE(shownPicture(app), expected);
    }

    void iconIsChosenBeforeTheStatusTextIsAnnounced()
    {
        app.setVGStatus(VGEnabled);
        app.setKVSStatus(true);
        app.setPDXStatus(ProtectionOnline);
        QImage seen;
        const auto connection
            = connect(&app, &WardletApp::PDXStatusStrChanged, this, [&] { seen = shownPicture(app); });
        app.setPDXStatus(ProtectionOffline);
        disconnect(connection);
        QCOMPARE(seen, picture(tray_yellow_xpm));
    }

    void destroyedIconComesBackWithANewMenu()
    {
        app.setVGStatus(VGEnabled);
        app.setKVSStatus(true);
        app.setPDXStatus(ProtectionOnline);
        QPointer<QSystemTrayIcon> old = app.getTrayIcon();
        QMenu* oldMenu = old->contextMenu();
        delete old;
        QVERIFY(!app.getTrayIcon());
        QTRY_VERIFY_WITH_TIMEOUT(app.getTrayIcon(), 1000);
        QVERIFY(app.getTrayIcon()->contextMenu() != oldMenu);
        QVERIFY(app.getTrayIcon()->isVisible());
        // No channel is up, so the new icon keeps the plain shield.
        QCOMPARE(shownPicture(app), picture(tray_shield_xpm));
    }

    void destroyedIconStaysAwayWhenSwitchedOff()
    {
        delete app.getTrayIcon();
        app.setShowIcon(false);
        QTest::qWait(300);
        QVERIFY(!app.getTrayIcon());
    }

private:
    WardletApp& app;
};

int main(int argc, char** argv)
{
    QTemporaryDir config;
    qputenv("XDG_CONFIG_HOME", config.path().toLocal8Bit());
    qputenv("WARDLET_SOCKET_SUFFIX", ".test-tray-" + QByteArray::number(::getpid()));
    {
        QSettings settings(QSettings::UserScope, QStringLiteral("trevanta.example"),
                           QStringLiteral("wardlet"));
        settings.setValue(QStringLiteral("Wardlet/ShowIcon"), false);
    }
    WardletApp app(argc, argv);
    TestTrayIcon test(app);
    return QTest::qExec(&test, argc, argv);
}

#include "TestTrayIcon.moc"
