#include "messaging/Message.h"
#include "messaging/ScanDaemonService.h"
#include "SignalLog.h"
#include "Wire.h"

#include <QtTest>

using Wire::text;
using Wire::words;

namespace {

// Hands one report to the service and returns what it announced, in order.
QStringList events(const QByteArray& body)
{
    ScanDaemonService service;
    SignalLog log;
    log.watch(&service, &ScanDaemonService::scannerStateReported, "scanner");
    log.watch(&service, &ScanDaemonService::runningReported, "running");
    log.watch(&service, &ScanDaemonService::updateAllowedReported, "update");
    log.watch(&service, &ScanDaemonService::showIconReported, "icon");
    log.watch(&service, &ScanDaemonService::productVersionReported, "product");
    log.watch(&service, &ScanDaemonService::engineVersionReported, "engine");
    log.watch(&service, &ScanDaemonService::definitionsVersionReported, "defs");
    log.watch(&service, &ScanDaemonService::scanStatusReported, "scan");
    QObject::connect(
        &service, &ScanDaemonService::definitionsReleaseReported, [&](const DefinitionsRelease& r) {
            log.add(QStringLiteral("release=%1 rev %2")
                        .arg(r.pending ? QStringLiteral("pending") : r.date.toString(Qt::ISODate))
                        .arg(r.revision));
        });
    QObject::connect(&service, &ScanDaemonService::alertReported, [&](const Alert& alert) {
        log.add(QStringLiteral("alert=%1 %2").arg(alert.time).arg(alert.fieldL));
    });
    Message message;
    message.setData(body.constData(), int(body.size()));
    service.handleMessage(message);
    return log.take();
}

} // namespace

class TestScanDaemonService final : public QObject
{
    Q_OBJECT

private slots:
    void reports_data()
    {
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QStringList>("events");

        QTest::newRow("status, all words")
            << words({2, 1, 1, 1, 0})
            << QStringList{"scanner=1", "running=true", "update=true", "icon=false"};
        QTest::newRow("status without the icon word")
            << words({2, 7, 0, 5}) << QStringList{"scanner=7", "running=false", "update=true"};
        QTest::newRow("status, id only")
            << words({2}) << QStringList{"scanner=2", "running=false", "update=false"};
        QTest::newRow("status, half a word")
            << words({2, 1}) + "\0\0\0" << QStringList{"scanner=1", "running=false", "update=false"};
        QTest::newRow("scan status") << words({7, 13}) << QStringList{"scan=13"};
        QTest::newRow("scan status without a code") << words({7}) << QStringList{"scan=0"};
        QTest::newRow("versions and date")
            << words({5}) + text("8.2") + text("5.1") + text("12") + words({14, 3, 2011, quint32(-7)})
            << QStringList{"product=8.2", "engine=5.1", "defs=12", "release=2011-03-14 rev -7"};
        QTest::newRow("versions, waiting for update")
            << words({5}) + text("a") + text("") + text("c") + words({1, 1, 0, 1})
            << QStringList{"product=a", "engine=", "defs=c", "release=pending rev 1"};
        // A year past what a date can hold must not wrap into one long ago.
        QTest::newRow("versions, year too large")
            << words({5}) + text("a") + text("b") + text("c") + words({14, 3, 0xFFFFFFFF, 1})
            << QStringList{"product=a", "engine=b", "defs=c", "release= rev 1"};
        QTest::newRow("versions, impossible date") << words({5}) + text("a") + text("b") + text("c")
                + words({31, 2, 2020, 1}) << QStringList{"product=a", "engine=b", "defs=c", "release= rev 1"};
        // The count runs past the end: the next count is read right behind it.
        QTest::newRow("versions, overlong count")
            << words({5, 100}) + text("e") + words({0}) << QStringList{"engine=e"};
        QTest::newRow("versions, UTF-8")
            << words({5}) + text("\xc3\xa9t\xc3\xa9") << QStringList{"product=\u00e9t\u00e9"};
        QTest::newRow("versions, short date") << words({5}) + text("a") + text("b") + text("c")
                + words({1, 1, 1}) << QStringList{"product=a", "engine=b", "defs=c"};
        QTest::newRow("alert") << words({3, 42}) + text("L") << QStringList{"alert=42 L"};
        QTest::newRow("alert without a record") << words({3}) << QStringList();
        for (const quint32 id : {1, 4, 6, 8, 9, 100})
            QTest::newRow(qPrintable(QStringLiteral("id %1 ignored").arg(id)))
                << words({id, 1, 1, 1, 1}) << QStringList();
        QTest::newRow("body shorter than an id") << QByteArray("\0\0\0", 3) << QStringList();
    }

    void reports()
    {
        QFETCH(QByteArray, body);
        QFETCH(QStringList, events);
        QCOMPARE(::events(body), events);
    }
};

QTEST_GUILESS_MAIN(TestScanDaemonService)
#include "TestScanDaemonService.moc"
