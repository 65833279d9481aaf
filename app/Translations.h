#pragma once

#include <QByteArray>
#include <QTranslator>

// Qt's own texts and the program's, in the user's language. Installed on construction, so
// everything built afterwards is translated from the start; each translator takes itself out of
// the application when it is destroyed.
class Translations final
{
public:
    Translations();
    Translations(const Translations&) = delete;
    Translations& operator=(const Translations&) = delete;

private:
    // A translation read from the current directory; the translator reads it in place.
    QByteArray m_localTranslation;
    QTranslator m_qt;
    QTranslator m_program;
};
