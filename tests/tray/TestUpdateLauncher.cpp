#include "DaemonPeer.h"
#include "tray/WardletApp.h"
#include "ui/MainView.h"

#include <QMessageBox>
#include <QPushButton>
#include <QSignalSpy>
#include <QTemporaryDir>
#include <QTimer>
#include <QtTest>

#include <csignal>
#include <memory>
#include <unistd.h>

namespace {

// Answers the modal warning boxes as a user would, noting what they said and what the
// management daemon had received by then.
class BoxWatcher : public QObject
{
public:
    struct Box
    {
        QString title;
        QString text;
        int pdxFramesWhileOpen;
        QString buttonWhileOpen;
    };

    BoxWatcher(DaemonPeer& pdx, QPushButton* button)
        : pdx(pdx)
        , button(button)
    {
        connect(&timer, &QTimer::timeout, this, [this] {
            auto* box = qobject_cast<QMessageBox*>(QApplication::activeModalWidget());
            if (!box)
                return;
            boxes.append(
                {box->windowTitle(), box->text(), int(this->pdx.frames().size()), this->button->text()});
            box->button(QMessageBox::Ok)->click();
        });
        timer.start(20);
    }

    QList<Box> boxes;

private:
    DaemonPeer& pdx;
    QPushButton* button;
    QTimer timer;
};

QList<quint32> messageIds(DaemonPeer& peer)
{
    QList<quint32> ids;
    for (const DaemonPeer::Frame& frame : peer.frames())
        ids << frame.messageId();
    return ids;
}

} // namespace

class TestUpdateLauncher : public QObject
{
    Q_OBJECT

public:
    explicit TestUpdateLauncher(WardletApp& app)
        : app(app)
    { }

private slots:
    void initTestCase()
    {
        qputenv("WARDLET_CONFIG_FILE", dir.filePath(QStringLiteral("Calvorin.conf")).toLocal8Bit());
        writeFile(QStringLiteral("Calvorin.conf"), "InstallDir = " + dir.path().toLocal8Bit() + "/install\n");
        QDir(dir.path()).mkpath(QStringLiteral("install/calvorin_antivirus"));

        kvs.reset(new DaemonPeer(ChannelAddress::Kvs));
        pdx.reset(new DaemonPeer(ChannelAddress::Pdx));
        app.initialize();
        app.begin();
        QVERIFY(kvs->waitForConnection());
        QVERIFY(pdx->waitForConnection());
        QVERIFY(kvs->waitForFrames(3));
        QVERIFY(pdx->waitForFrames(5));

        for (QWidget* widget : QApplication::topLevelWidgets()) {
            if (auto* view = qobject_cast<MainView*>(widget))
                button = view->findChild<QPushButton*>(QStringLiteral("updateButton"));
        }
        QVERIFY(button);
    }

    void init()
    {
        kvs->clearReceived();
        pdx->clearReceived();
        QFile::remove(dir.filePath(QStringLiteral("go")));
        app.setNRAllowed(true);
        QVERIFY(button->isEnabled());
    }

    void successTellsBothDaemons()
    {
        installTool("#!/bin/sh\nwhile [ ! -e '" + dir.path().toLocal8Bit()
                    + "/go' ]; do sleep 0.02; done\nexit 0\n");
        QSignalSpy allowed(&app, &WardletApp::NRAllowedChanged);
        BoxWatcher boxes(*pdx, button);
        button->click();
        QVERIFY(!button->isEnabled());
        QTRY_COMPARE(button->text(), QStringLiteral("&Novarel is running"));
        QVERIFY(!button->isEnabled());

        writeFile(QStringLiteral("go"), "");
        QVERIFY(pdx->waitForFrames(1));
        QCOMPARE(pdx->frames().first().messageId(), 45u);
        QCOMPARE(pdx->frames().first().body.toHex(), QByteArray("0000002d00000000"));
        QVERIFY(kvs->waitForFrames(1));
        QCOMPARE(kvs->frames().first().body.toHex(), QByteArray("00000009"));
        QCOMPARE(pdx->frames().first().sequence, kvs->frames().first().sequence + 1);
        QCOMPARE(button->text(), QStringLiteral("&Novarel"));
        QVERIFY(button->isEnabled());
        QCOMPARE(boxes.boxes.size(), 0);
        QCOMPARE(flags(allowed), (QList<bool>{false, true}));
    }

    // Otherwise a daemon would not see the tray go away while the tool runs.
    void toolHoldsNoDaemonSocket()
    {
        const QByteArray listing = dir.path().toLocal8Bit() + "/fds";
        installTool("#!/bin/sh\nls -l /proc/$$/fd > '" + listing + "'\n");
        button->click();
        QVERIFY(pdx->waitForFrames(1));
        QFile file(QString::fromLocal8Bit(listing));
        QVERIFY(file.open(QIODevice::ReadOnly));
        const QByteArray descriptors = file.readAll();
        QVERIFY(descriptors.contains("pipe:"));
        QVERIFY2(!descriptors.contains("socket:"), descriptors.constData());
    }

    void failureWarnsBeforeTheManagementDaemonHears_data()
    {
        QTest::addColumn<QByteArray>("script");
        QTest::newRow("exit code 3") << QByteArray("#!/bin/sh\nexit 3\n");
        QTest::newRow("crash") << QByteArray("#!/bin/sh\nkill -SEGV $$\n");
    }

    void failureWarnsBeforeTheManagementDaemonHears()
    {
        QFETCH(QByteArray, script);
        installTool(script);
        QSignalSpy allowed(&app, &WardletApp::NRAllowedChanged);
        BoxWatcher boxes(*pdx, button);
        button->click();
        QVERIFY(pdx->waitForFrames(1));
        QCOMPARE(boxes.boxes.size(), 1);
        QCOMPARE(boxes.boxes.first().title, QStringLiteral("Warning"));
        QCOMPARE(boxes.boxes.first().text, QStringLiteral("Novarel failed"));
        QCOMPARE(boxes.boxes.first().pdxFramesWhileOpen, 0);
        QCOMPARE(boxes.boxes.first().buttonWhileOpen, QStringLiteral("&Novarel"));
        QCOMPARE(pdx->frames().first().body.toHex(), QByteArray("0000002d00000001"));
        QCOMPARE(messageIds(*kvs), QList<quint32>());
        QCOMPARE(flags(allowed), (QList<bool>{false, true}));
        QVERIFY(button->isEnabled());
    }

    void toolThatCannotStartSendsNothing_data()
    {
        QTest::addColumn<bool>("present");
        QTest::newRow("missing") << false;
        QTest::newRow("not executable") << true;
    }

    void toolThatCannotStartSendsNothing()
    {
        QFETCH(bool, present);
        const QString tool = dir.filePath(QStringLiteral("install/calvorin_antivirus/qelnrwrap"));
        QFile::remove(tool);
        if (present)
            writeFile(QStringLiteral("install/calvorin_antivirus/qelnrwrap"), "#!/bin/sh\nexit 0\n");
        QSignalSpy allowed(&app, &WardletApp::NRAllowedChanged);
        BoxWatcher boxes(*pdx, button);
        button->click();
        QTRY_COMPARE(boxes.boxes.size(), 1);
        QCOMPARE(boxes.boxes.first().text, QStringLiteral("Failed to launch Novarel"));
        QCOMPARE(boxes.boxes.first().buttonWhileOpen, QStringLiteral("&Novarel"));
        QTRY_COMPARE(flags(allowed), (QList<bool>{false, true}));
        QVERIFY(button->isEnabled());
        QCOMPARE(button->text(), QStringLiteral("&Novarel"));
        QCOMPARE(messageIds(*kvs), QList<quint32>());
        QCOMPARE(messageIds(*pdx), QList<quint32>());
    }

    void overlongInstallDirectoryIsRefused()
    {
        writeFile(QStringLiteral("Calvorin.conf"), "InstallDir=/" + QByteArray(5000, 'x') + "\n");
        const int processes = app.findChildren<QProcess*>().size();
        BoxWatcher boxes(*pdx, button);
        button->click();
        QTRY_COMPARE(boxes.boxes.size(), 1);
        QCOMPARE(boxes.boxes.first().text, QStringLiteral("Failed to launch Novarel"));
        QCOMPARE(app.findChildren<QProcess*>().size(), processes + 1);
        QCOMPARE(app.findChildren<QProcess*>().last()->state(), QProcess::NotRunning);
        QVERIFY(button->isEnabled());
        writeFile(QStringLiteral("Calvorin.conf"), "InstallDir = " + dir.path().toLocal8Bit() + "/install\n");
    }

    void onlyOneRunAtATimeAndOnlyWhenAllowed()
    {
        installTool("#!/bin/sh\nwhile [ ! -e '" + dir.path().toLocal8Bit()
                    + "/go' ]; do sleep 0.02; done\nexit 0\n");
        app.setNRAllowed(false);
        const int processes = app.findChildren<QProcess*>().size();
        app.requestNR();
        QCOMPARE(app.findChildren<QProcess*>().size(), processes);

        app.setNRAllowed(true);
        app.requestNR();
        app.requestNR();
        QTRY_COMPARE(button->text(), QStringLiteral("&Novarel is running"));
        app.requestNR();
        QCOMPARE(app.findChildren<QProcess*>().size(), processes + 1);
        // The daemon's permission while a run is on leaves the button disabled.
        QSignalSpy allowed(&app, &WardletApp::NRAllowedChanged);
        app.setNRAllowed(true);
        QCOMPARE(flags(allowed), QList<bool>{false});

        writeFile(QStringLiteral("go"), "");
        QTRY_COMPARE(button->text(), QStringLiteral("&Novarel"));
        QFile::remove(dir.filePath(QStringLiteral("go")));
        app.requestNR();
        QCOMPARE(app.findChildren<QProcess*>().size(), processes + 2);
        writeFile(QStringLiteral("go"), "");
        QTRY_COMPARE(button->text(), QStringLiteral("&Novarel"));
        QVERIFY(pdx->waitForFrames(2));
    }

    void resultWaitsForTheScanDaemonButNotForTheManagementClient()
    {
        installTool("#!/bin/sh\nwhile [ ! -e '" + dir.path().toLocal8Bit()
                    + "/go' ]; do sleep 0.02; done\nexit 0\n");
        button->click();
        QTRY_COMPARE(button->text(), QStringLiteral("&Novarel is running"));
        kvs->stopListening();
        kvs->dropConnection();
        pdx->stopListening();
        pdx->dropConnection();
        QTRY_COMPARE(app.getVGStatusStr(), QStringLiteral("Malfunctioning"));
        QTRY_COMPARE(app.getPDXStatusStr(), QStringLiteral("Disabled"));

        writeFile(QStringLiteral("go"), "");
        QTRY_COMPARE(button->text(), QStringLiteral("&Novarel"));
        QVERIFY(kvs->listen());
        QVERIFY(pdx->listen());
        QVERIFY(kvs->waitForConnection());
        QVERIFY(pdx->waitForConnection());
        QVERIFY(kvs->waitForFrames(4));
        QCOMPARE(messageIds(*kvs).mid(0, 4), (QList<quint32>{9, 1, 4, 6}));
        QVERIFY(pdx->waitForFrames(5));
        QVERIFY(!messageIds(*pdx).contains(45u));
    }

private:
    static QList<bool> flags(const QSignalSpy& spy)
    {
        QList<bool> values;
        for (const QList<QVariant>& call : spy)
            values << call.first().toBool();
        return values;
    }

    void writeFile(const QString& name, const QByteArray& contents)
    {
        QFile file(dir.filePath(name));
        QVERIFY(file.open(QIODevice::WriteOnly | QIODevice::Truncate));
        QCOMPARE(file.write(contents), qint64(contents.size()));
    }

    void installTool(const QByteArray& script)
    {
        const QString name = QStringLiteral("install/calvorin_antivirus/qelnrwrap");
        writeFile(name, script);
        QFile::setPermissions(dir.filePath(name), QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner);
    }

    WardletApp& app;
    QTemporaryDir dir;
    std::unique_ptr<DaemonPeer> kvs;
    std::unique_ptr<DaemonPeer> pdx;
    QPushButton* button = nullptr;
};

int main(int argc, char** argv)
{
    QTemporaryDir config;
    qputenv("XDG_CONFIG_HOME", config.path().toLocal8Bit());
    qputenv("WARDLET_SOCKET_SUFFIX", ".test-update-" + QByteArray::number(::getpid()));
    std::signal(SIGPIPE, SIG_IGN);
    WardletApp app(argc, argv);
    TestUpdateLauncher test(app);
    return QTest::qExec(&test, argc, argv);
}

#include "TestUpdateLauncher.moc"
