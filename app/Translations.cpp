#include "Translations.h"

#include "app/Logging.h"

#include <QCoreApplication>
#include <QFile>
#include <QLibraryInfo>
#include <QLocale>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

// No translation comes near this; a larger file is not one.
constexpr off_t MaxTranslationSize = 16 * 1024 * 1024;

QString qtTranslationsDirectory()
{
#if QT_VERSION >= QT_VERSION_CHECK(6, 0, 0)
    return QLibraryInfo::path(QLibraryInfo::TranslationsPath);
#else
    return QLibraryInfo::location(QLibraryInfo::TranslationsPath);
#endif
}

// The file QTranslator would take for name in the current directory (name.qm, name, then the
// same without the last "_" part), read once from the descriptor that was checked: the current
// directory may be shared, and only a file of the user's own or root's that nobody else can
// change is believed. Empty when there is none.
QByteArray trustedLocalTranslation(const QString& name)
{
    const QString stem = name.left(name.lastIndexOf(QLatin1Char('_')));
    for (const QString& candidate :
         {name + QStringLiteral(".qm"), name, stem + QStringLiteral(".qm"), stem}) {
        const int fd = ::open(QFile::encodeName(candidate).constData(), O_RDONLY | O_NOFOLLOW | O_CLOEXEC);
        struct stat info = {};
        if (fd == -1)
            continue;
        if (::fstat(fd, &info) != 0 || !S_ISREG(info.st_mode)) {
            ::close(fd);
            continue;
        }
        QByteArray data;
        if ((info.st_uid == ::getuid() || info.st_uid == 0) && (info.st_mode & (S_IWGRP | S_IWOTH)) == 0
            && info.st_size <= MaxTranslationSize) {
            data.resize(int(info.st_size));
            if (::read(fd, data.data(), size_t(data.size())) != info.st_size)
                data.clear();
        } else {
            qCWarning(lcTranslations,
                      "ignored the translation in the current directory: it is not the user's or "
                      "root's, or others may change it");
        }
        ::close(fd);
        return data;
    }
    return {};
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
    m_localTranslation = trustedLocalTranslation(QStringLiteral("wardlet_") + language);
    const auto* local = reinterpret_cast<const uchar*>(m_localTranslation.constData());
    if ((!m_localTranslation.isEmpty() && m_program.load(local, int(m_localTranslation.size())))
        || m_program.load(locale, QStringLiteral("wardlet"), QStringLiteral("_"), installed))
        QCoreApplication::installTranslator(&m_program);
}
