#include "app/Translations.h"

#include <QDir>
#include <QFile>
#include <QTemporaryDir>
#include <QtTest>

#include <unistd.h>

class TestTranslations final : public QObject
{
    Q_OBJECT

private slots:
    // A translation in the current directory is taken only from a file that no other user can
    // have written: the directory may be a shared one such as /tmp.
    void localFileMustBeTrusted_data()
    {
        QTest::addColumn<QString>("setUp");
        QTest::addColumn<QString>("caption");
        QTest::newRow("own, read-only for others") << "own"
                                                   << "Programm:";
        QTest::newRow("without .qm") << "bare"
                                     << "Programm:";
        QTest::newRow("another user's") << "foreign"
                                        << "Program:";
        QTest::newRow("writable by the group") << "group-writable"
                                               << "Program:";
        QTest::newRow("writable by anyone") << "world-writable"
                                            << "Program:";
        QTest::newRow("a link to a good file") << "link"
                                               << "Program:";
    }

    void localFileMustBeTrusted()
    {
        QFETCH(QString, setUp);
        QFETCH(QString, caption);
        QTemporaryDir dir;
        const QString german = QStringLiteral(TRANSLATIONS_DIR "/wardlet_de.qm");
        // The test runs under the C locale, whose language is called "C".
        const QString file = dir.filePath(setUp == "bare" ? "wardlet_C" : "wardlet_C.qm");
        if (setUp == "link") {
            QVERIFY(QFile::copy(german, dir.filePath("good.qm")));
            QVERIFY(QFile::link(dir.filePath("good.qm"), file));
        } else {
            QVERIFY(QFile::copy(german, file));
            QFile::Permissions permissions = QFile::ReadOwner | QFile::WriteOwner | QFile::ReadOther;
            if (setUp == "group-writable")
                permissions |= QFile::WriteGroup;
            if (setUp == "world-writable")
                permissions |= QFile::WriteOther;
            QVERIFY(QFile::setPermissions(file, permissions));
            if (setUp == "foreign")
                QCOMPARE(::chown(QFile::encodeName(file).constData(), 65534, 65534), 0);
        }
        const QString previous = QDir::currentPath();
        QVERIFY(QDir::setCurrent(dir.path()));
        {
            const Translations translations;
            QCOMPARE(QCoreApplication::translate("MainView", "Program:"), caption);
        }
        QVERIFY(QDir::setCurrent(previous));
        QCOMPARE(QCoreApplication::translate("MainView", "Program:"), QStringLiteral("Program:"));
    }
};

QTEST_GUILESS_MAIN(TestTranslations)
#include "TestTranslations.moc"
