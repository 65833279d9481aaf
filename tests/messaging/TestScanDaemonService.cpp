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
                        .arg(r.pending               ? QStringLiteral("pending")
                                 : !r.date.isValid() ? QStringLiteral("none")
                                                     : r.date.toString(QStringLiteral("yyyy-MM-dd")))
                        .arg(r.revision));
        });
    QObject::connect(&service, &ScanDaemonService::alertReported, [&](const Alert& a) {
        log.add("alert="
                + QStringList{QString::number(a.time), a.fieldL, a.fieldE, a.fieldV, a.fieldP, a.fieldC,
                              a.fieldS, a.fieldN, a.fieldA, a.fieldF, a.format}
                      .join('|'));
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
        QTest::newRow("status, id and half a word")
            << words({2}) + QByteArray(3, '\1') << QStringList{"scanner=2", "running=false", "update=false"};
        QTest::newRow("scan status") << words({7, 13}) << QStringList{"scan=13"};
        QTest::newRow("scan status without a code") << words({7}) << QStringList{"scan=0"};
        QTest::newRow("versions and date")
            << words({5}) + text("8.2\xc3\xa9") + text("5.1") + text("12") + words({14, 3, 2011, quint32(-7)})
            << QStringList{"product=8.2\u00e9", "engine=5.1", "defs=12", "release=2011-03-14 rev -7"};
        QTest::newRow("versions, waiting for update")
            << words({5}) + text("a") + text("") + text("c") + words({1, 1, 0, 1})
            << QStringList{"product=a", "engine=", "defs=c", "release=pending rev 1"};
        const QByteArray versions = words({5}) + text("a") + text("b") + text("c");
        // A year past what a date can hold must not wrap into one long ago.
        QTest::newRow("versions, year too large")
            << versions + words({14, 3, 0xFFFFFFFF, 1})
            << QStringList{"product=a", "engine=b", "defs=c", "release=none rev 1"};
        // The count runs past the end: the next count is read right behind it.
        QTest::newRow("versions, overlong count")
            << words({5, 100}) + text("e") + words({0}) << QStringList{"engine=e"};
        QTest::newRow("versions, short date")
            << versions + words({1, 1, 1}) << QStringList{"product=a", "engine=b", "defs=c"};
        // An alert record: a time, then L E V P C S N A F and the template.
        QByteArray alert = words({3, quint32(-5)});
        for (const char* field : {"l", "e", "v", "p", "c", "s", "n", "a", "f", "~F"})
            alert += text(field);
        QTest::newRow("alert") << alert << QStringList{"alert=-5|l|e|v|p|c|s|n|a|f|~F"};
        QTest::newRow("alert, time only") << words({3, 7}) << QStringList{"alert=7||||||||||"};
        QTest::newRow("alert, half a time")
            << words({3}) + QByteArray("\0\0\7", 3) << QStringList{"alert=0||||||||||"};
        QTest::newRow("alert, UTF-8, empty and absent texts") << words({3, 1}) + text("\xc3\xa9") + text("")
                + words({0, quint32(-3)}) + text("v") << QStringList{"alert=1|\u00e9||||v|||||"};
        // Nothing after a count that overruns the record can be trusted.
        QTest::newRow("alert, overrun")
            << words({3, 1}) + text("l") + words({50}) + text("x") << QStringList{"alert=1|l|||||||||"};
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
