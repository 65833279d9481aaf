#include "messaging/ManagementService.h"
#include "messaging/Message.h"
#include "SignalLog.h"
#include "Wire.h"

#include <QtTest>

using Wire::words;

namespace {

QStringList events(const QByteArray& body)
{
    ManagementService service;
    SignalLog log;
    log.watch(&service, &ManagementService::serverReported, "server");
    log.watch(&service, &ManagementService::stateReported, "state");
    log.watch(&service, &ManagementService::connectedTimeReported, "time");
    log.watch(&service, &ManagementService::groupReported, "group");
    log.watch(&service, &ManagementService::locationReported, "location");
    log.watch(&service, &ManagementService::policyNumberReported, "policy");
    Message message;
    message.setData(body.constData(), int(body.size()));
    service.handleMessage(message);
    return log.take();
}

} // namespace

class TestManagementService final : public QObject
{
    Q_OBJECT

private slots:
    void reports_data()
    {
        QTest::addColumn<QByteArray>("body");
        QTest::addColumn<QStringList>("events");

        const QByteArray server = words({8}) + "10.0.0.1";
        QTest::newRow("self-managed") << words({32, 0, 1, 1300000000}) + server << QStringList{"state=1"};
        QTest::newRow("offline") << words({32, 1, 0, 1300000000}) + server << QStringList{"state=4"};
        QTest::newRow("online") << words({32, 1, 1, 1300000000}) + server
                                << QStringList{"server=10.0.0.1", "time=1300000000", "state=2"};
        QTest::newRow("server text past the end") << words({32, 1, 1, 5, 9}) + "10.0.0.1" << QStringList();
        QTest::newRow("server record cut short") << words({32, 1, 1, 5}) << QStringList();
        QTest::newRow("connected time")
            << words({34, 1, 0, 1300000000}) + server << QStringList{"time=1300000000"};
        QTest::newRow("connected time, self-managed")
            << words({34, 0, 1, 1300000000}) + server << QStringList{"time=0"};
        QTest::newRow("connected time, no server")
            << words({34, 1, 1, 1300000000, 0}) << QStringList{"time=0"};
        // The policy number is Latin-1, counted with its terminating zero; a group keeps every byte.
        QTest::newRow("policy number")
            << words({24, 1, 4}) + QByteArray("AB\xe9\0", 4) << QStringList{"policy=AB\u00e9"};
        QTest::newRow("group") << words({26, 1, 8}) + QByteArray("Z\xc3\xbcrich\0", 8)
                               << QStringList{QStringLiteral("group=Z\u00fcrich") + QChar(0)};
        QTest::newRow("location in UTF-8")
            << words({28, 1, 3}) + "\xe2\x82\xac" << QStringList{"location=\u20ac"};
        QTest::newRow("location absent") << words({28, 0, 99}) << QStringList{"location="};
        QTest::newRow("group text past the end") << words({26, 1, 9}) + "abc" << QStringList();
        QTest::newRow("group, negative count") << words({26, 1, quint32(-1)}) + "abc" << QStringList();
        QTest::newRow("group cut short") << words({26, 1}) << QStringList();
        QTest::newRow("unknown id") << words({33, 1, 1, 1, 0}) << QStringList();
    }

    void reports()
    {
        QFETCH(QByteArray, body);
        QFETCH(QStringList, events);
        QCOMPARE(::events(body), events);
    }
};

QTEST_GUILESS_MAIN(TestManagementService)
#include "TestManagementService.moc"
