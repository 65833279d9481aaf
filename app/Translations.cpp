#include "Translations.h"

#include <QCoreApplication>
#include <QLibraryInfo>
#include <QLocale>

namespace {

QString qtTranslationsDirectory()
{
#if QT_VERSION >= QT_VERSION_CHECK(6, 0, 0)
    return QLibraryInfo::path(QLibraryInfo::TranslationsPath);
#else
    return QLibraryInfo::location(QLibraryInfo::TranslationsPath);
#endif
}

} // namespace

Translations::Translations()
{
    const QLocale locale;
    if (m_qt.load(locale, QStringLiteral("qt"), QStringLiteral("_"), qtTranslationsDirectory()))
        QCoreApplication::installTranslator(&m_qt);

    // A file in the current directory named after the language in English ("wardlet_German")
    // comes first, so a translator can try a translation without installing it; then the
    // installed one for the user's locale, where "de_AT" finds "wardlet_de".
    const QString language = QLocale::languageToString(locale.language());
    const QString installed
        = QCoreApplication::applicationDirPath() + QStringLiteral("/../share/wardlet/translations");
    if (m_program.load(QStringLiteral("wardlet_") + language, QStringLiteral("."))
        || m_program.load(locale, QStringLiteral("wardlet"), QStringLiteral("_"), installed))
        QCoreApplication::installTranslator(&m_program);
}

Translations::~Translations()
{
    QCoreApplication::removeTranslator(&m_program);
    QCoreApplication::removeTranslator(&m_qt);
}
