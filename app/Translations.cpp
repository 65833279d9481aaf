#include "Translations.h"

#include <QCoreApplication>
#include <QLocale>

namespace {

// Files are named after the English name of the system language ("qt_German", "wardlet_C")
// and looked for in the current directory. A missing file is no error: the texts stay English.
void install(QTranslator& translator, const QString& prefix)
{
    const QString language = QLocale::languageToString(QLocale::system().language());
    static_cast<void>(translator.load(prefix + language, QStringLiteral(".")));
    QCoreApplication::installTranslator(&translator);
}

} // namespace

Translations::Translations()
{
    install(m_qt, QStringLiteral("qt_"));
    install(m_program, QStringLiteral("wardlet_"));
}

Translations::~Translations()
{
    QCoreApplication::removeTranslator(&m_program);
    QCoreApplication::removeTranslator(&m_qt);
}
