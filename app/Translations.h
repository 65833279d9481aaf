#pragma once

#include <QTranslator>

// Qt's own texts and the program's, in the user's language. Installed on construction, so
// everything built afterwards is translated from the start.
class Translations final
{
public:
    Translations();
    ~Translations();
    Translations(const Translations&) = delete;
    Translations& operator=(const Translations&) = delete;

private:
    QTranslator m_qt;
    QTranslator m_program;
};
