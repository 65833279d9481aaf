#include "tray/InstallConfig.h"

#include <QTemporaryDir>
#include <QtTest>

class TestInstallConfig : public QObject
{
    Q_OBJECT

private slots:
    void installDirectory_data()
    {
        QTest::addColumn<QByteArray>("contents");
        QTest::addColumn<QByteArray>("directory");
        QTest::newRow("key and value")
            << QByteArray("InstallDir=/srv/av\nOther=/x\n") << QByteArray("/srv/av");
        QTest::newRow("any key name") << QByteArray("whatever = /srv/av") << QByteArray("/srv/av");
        QTest::newRow("blanks around the word") << QByteArray("dir= /opt/x y\n") << QByteArray("/opt/x");
        QTest::newRow("tabs and newlines skipped")
            << QByteArray("dir=\t\n  /opt/t\n") << QByteArray("/opt/t");
        QTest::newRow("comment holding =")
            << QByteArray("# path=/from/comment\ndir=/real\n") << QByteArray("/from/comment");
        QTest::newRow("no =") << QByteArray("InstallDir /srv/av\n") << QByteArray("/opt/Calvorin");
        QTest::newRow("= at the very end") << QByteArray("InstallDir=") << QByteArray("/opt/Calvorin");
        QTest::newRow("only blanks after =")
            << QByteArray("InstallDir=  \n\t") << QByteArray("/opt/Calvorin");
        QTest::newRow("empty file") << QByteArray() << QByteArray("/opt/Calvorin");
    }

    void installDirectory()
    {
        QFETCH(QByteArray, contents);
        QFETCH(QByteArray, directory);
        const QByteArray path = writeConfig(contents);
        QCOMPARE(InstallConfig::installDirectory(path.constData()), directory);
        QCOMPARE(InstallConfig::updateTool(path.constData()), directory + "/calvorin_antivirus/qelnrwrap");
    }

    void missingFileMeansDefault()
    {
        QCOMPARE(InstallConfig::updateTool(QByteArray(dir.path().toLocal8Bit() + "/absent.conf").constData()),
                 QByteArray("/opt/Calvorin/calvorin_antivirus/qelnrwrap"));
    }

    void overlongWordIsRefused()
    {
        const QByteArray fits = "/" + QByteArray(4095 - 30, 'a');
        QCOMPARE(InstallConfig::updateTool(writeConfig("d=" + fits).constData()).size(), 4095);
        const QByteArray tooLong = fits + "a";
        QCOMPARE(InstallConfig::installDirectory(writeConfig("d=" + tooLong).constData()), tooLong);
        QVERIFY(InstallConfig::updateTool(writeConfig("d=" + tooLong).constData()).isEmpty());
        QVERIFY(InstallConfig::updateTool(writeConfig("d=" + QByteArray(100000, 'b')).constData()).isEmpty());
    }

    void productionPathUnlessOverridden()
    {
        qunsetenv("WARDLET_CONFIG_FILE");
        QCOMPARE(InstallConfig::configPath(), QByteArray("/etc/Calvorin.conf"));
        qputenv("WARDLET_CONFIG_FILE", "/tmp/x.conf");
        QCOMPARE(InstallConfig::configPath(), QByteArray("/tmp/x.conf"));
        qunsetenv("WARDLET_CONFIG_FILE");
    }

private:
    QByteArray writeConfig(const QByteArray& contents)
    {
        QFile file(dir.filePath(QStringLiteral("Calvorin.conf")));
        if (!file.open(QIODevice::WriteOnly | QIODevice::Truncate) || file.write(contents) != contents.size())
            qFatal("cannot write the test configuration");
        return file.fileName().toLocal8Bit();
    }

    QTemporaryDir dir;
};

QTEST_GUILESS_MAIN(TestInstallConfig)
#include "TestInstallConfig.moc"
