#include "app/Translations.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

#include <sys/stat.h>
#include <unistd.h>

class TestTranslations final : public QObject
{
    Q_OBJECT

private slots:
    // A translation in the current directory is taken only from a file that no other user can
    // have written: the directory may be a shared one such as /tmp.
    void localFileMustBeTrusted_data()
    {
        QTest::addColumn<QString>("name");
        QTest::addColumn<int>("mode");
        QTest::addColumn<uint>("owner");
        QTest::addColumn<bool>("taken");
        const uint me = ::getuid();
        // The test runs under the C locale, whose language is called "C".
        QTest::newRow("own, read-only for others") << "wardlet_C.qm" << 0644 << me << true;
        QTest::newRow("without .qm") << "wardlet_C" << 0644 << me << true;
        QTest::newRow("another user's") << "wardlet_C.qm" << 0644 << 65534u << false;
        QTest::newRow("writable by the group") << "wardlet_C.qm" << 0664 << me << false;
        QTest::newRow("writable by anyone") << "wardlet_C.qm" << 0646 << me << false;
        QTest::newRow("a link to a good file") << "link" << 0644 << me << false;
    }

    void localFileMustBeTrusted()
    {
        QFETCH(QString, name);
        QFETCH(int, mode);
        QFETCH(uint, owner);
        QFETCH(bool, taken);
        QTemporaryDir dir;
        const QString good = dir.filePath("good.qm");
        QVERIFY(QFile::copy(QStringLiteral(TRANSLATIONS_DIR "/wardlet_de.qm"), good));
        QCOMPARE(::chmod(QFile::encodeName(good).constData(), mode_t(mode)), 0);
        QCOMPARE(::chown(QFile::encodeName(good).constData(), owner, gid_t(-1)), 0);
        if (name == "link")
            QVERIFY(QFile::link(good, dir.filePath("wardlet_C.qm")));
        else
            QVERIFY(QFile::rename(good, dir.filePath(name)));
        QVERIFY(QDir::setCurrent(dir.path()));
        {
            const Translations translations;
            QCOMPARE(QCoreApplication::translate("MainView", "Program:"), taken ? "Programm:" : "Program:");
        }
        QCOMPARE(QCoreApplication::translate("MainView", "Program:"), QStringLiteral("Program:"));
    }
};

QTEST_GUILESS_MAIN(TestTranslations)
#include "TestTranslations.moc"
