#include "CommandLine.h"

bool CommandLine::split(const QString& line, QStringList& words, QString& error)
{
    words.clear();
    QString word;
    bool inWord = false;
    bool quoted = false;
    for (int i = 0; i < line.size(); ++i) {
        const QChar c = line.at(i);
        if (quoted) {
            if (c != QLatin1Char('"')) {
                word += c;
            } else if (i + 1 < line.size() && line.at(i + 1) == QLatin1Char('"')) {
                word += c;
                ++i;
            } else {
                quoted = false;
            }
        } else if (c == QLatin1Char('"')) {
            quoted = true;
            inWord = true;
        } else if (c.isSpace()) {
            if (inWord)
                words.append(word);
            word.clear();
            inWord = false;
        } else if (c == QLatin1Char('#') && !inWord) {
            break;
        } else {
            word += c;
            inWord = true;
        }
    }
    if (quoted) {
        error = QStringLiteral("unterminated quote");
        return false;
    }
    if (inWord)
        words.append(word);
    return true;
}

QString CommandLine::quote(const QString& word)
{
    bool plain = !word.isEmpty() && !word.startsWith(QLatin1Char('#'));
    for (const QChar c : word)
        plain = plain && !c.isSpace() && c != QLatin1Char('"');
    if (plain)
        return word;
    QString quoted = word;
    quoted.replace(QLatin1Char('"'), QStringLiteral("\"\""));
    return QLatin1Char('"') + quoted + QLatin1Char('"');
}
