#include "messaging/ChannelAddress.h"

#include <QtTest>

class TestChannelAddress : public QObject
{
    Q_OBJECT

private slots:
    void daemonAddressesFillTheWholePath_data()
    {
        QTest::addColumn<int>("channel");
        QTest::addColumn<QByteArray>("name");
        QTest::newRow("scan daemon") << int(ChannelAddress::Kvs) << QByteArray("Calvorin-trayIPC");
        QTest::newRow("management client") << int(ChannelAddress::Pdx) << QByteArray("Calvorin-PdxIPC");
    }

    void daemonAddressesFillTheWholePath()
    {
        QFETCH(int, channel);
        QFETCH(QByteArray, name);
        qunsetenv("WARDLET_SOCKET_SUFFIX");
        QCOMPARE(ChannelAddress::name(channel), name);

        const sockaddr_un address = ChannelAddress::address(name);
        QCOMPARE(int(ChannelAddress::Length), 110);
        QCOMPARE(address.sun_family, sa_family_t(AF_UNIX));
        QByteArray expected(108, '\0');
        expected.replace(1, name.size(), name);
        QCOMPARE(QByteArray(address.sun_path, 108), expected);
    }

    void suffixKeepsTestsApartFromRealDaemons()
    {
        qputenv("WARDLET_SOCKET_SUFFIX", ".t1");
        QCOMPARE(ChannelAddress::name(ChannelAddress::Kvs), QByteArray("Calvorin-trayIPC.t1"));
        qunsetenv("WARDLET_SOCKET_SUFFIX");
    }

    void overlongNamesAreCut()
    {
        const sockaddr_un address = ChannelAddress::address(QByteArray(200, 'x'));
        QCOMPARE(QByteArray(address.sun_path + 1, 107), QByteArray(107, 'x'));
    }
};

QTEST_GUILESS_MAIN(TestChannelAddress)
#include "TestChannelAddress.moc"
