#include "Alert.h"

#include "BodyReader.h"

#include <clocale>
#include <cstring>
#include <ctime>
#include <langinfo.h>

namespace {

// The daemon writes times in the user's locale and zone, so both are read again for every ~T.
void appendTime(time_t time, QString& out)
{
    if (time == 0)
        return;
    const tm* local = localtime(&time);
    setlocale(LC_ALL, "");
    if (!local)
        return;
    const char* layout = nl_langinfo(D_T_FMT);
    char text[128] = {};
    strftime(text, sizeof text, layout, local);
    out += QString::fromUtf8(text, int(strnlen(text, sizeof text)));
}

// Appends what ~letter stands for; false when the letter is no escape and the tilde is plain text.
bool appendEscape(const Alert& alert, QChar letter, QString& out)
{
    switch (letter.unicode()) {
    case 'A':
    case 'a':
        out += alert.fieldA;
        return true;
    case 'C':
    case 'c':
        out += alert.fieldC;
        return true;
    case 'E':
    case 'e':
        out += alert.fieldE;
        return true;
    case 'F':
    case 'f':
        out += alert.fieldF;
        return true;
    case 'L':
    case 'l':
        out += alert.fieldL;
        return true;
    case 'N':
    case 'n':
    case 'U':
    case 'u':
        out += alert.fieldN;
        return true;
    case 'P':
    case 'p':
        out += alert.fieldP;
        return true;
    case 'S':
    case 's':
        out += alert.fieldS;
        return true;
    case 'V':
    case 'v':
        out += alert.fieldV;
        return true;
    case 'T':
    case 't':
        appendTime(alert.time, out);
        return true;
    default:
        return false;
    }
}

// Exact ASCII match in either case; Unicode case variants of a letter are plain text.
bool isLetter(QChar c, char upper)
{
    return c == QLatin1Char(upper) || c == QLatin1Char(char(upper - 'A' + 'a'));
}

} // namespace

QString Alert::text() const
{
    QString out = QStringLiteral("");
    const qsizetype n = format.size();
    qsizetype i = 0;
    // Set only by \r, so that the \r\n a template author writes out of habit gives a single line end.
    bool lineEnded = false;
    // Each step adds at most one field, so stopping once past the bound keeps a template full
    // of escapes from multiplying the fields' size.
    while (i < n - 1 && out.size() <= MaxTextLength) {
        const QChar c = format.at(i);
        const QChar d = format.at(i + 1);
        bool endsLine = false;
        if (c == QLatin1Char('~') && appendEscape(*this, d, out)) {
            i += 2;
        } else if (c == QLatin1Char('\\') && isLetter(d, 'T')) {
            out += QLatin1Char('\t');
            i += 2;
        } else if (c == QLatin1Char('\\') && isLetter(d, 'R')) {
            out += QLatin1String("\r\n");
            endsLine = true;
            i += 2;
        } else if (c == QLatin1Char('\\') && isLetter(d, 'N')) {
            if (!lineEnded)
                out += QLatin1String("\r\n");
            i += 2;
        } else {
            out += c;
            ++i;
        }
        lineEnded = endsLine;
    }
    // A last NUL or non-Latin-1 unit is dropped, as the templates the daemon sends already allow for.
    if (i == n - 1) {
        const QChar last = format.at(i);
        if (last.unicode() >= 0x01 && last.unicode() <= 0xFF)
            out += last;
    }
    if (out.size() > MaxTextLength) {
        out.truncate(MaxTextLength - 1);
        out += QChar(0x2026);
    }
    return out;
}

Alert Alert::fromRecord(const unsigned char* data, int length)
{
    Alert alert;
    BodyReader in(data, length);
    if (!in.has(4))
        return alert;
    alert.time = time_t(in.i32());
    QString* const fields[] = {&alert.fieldL, &alert.fieldE, &alert.fieldV, &alert.fieldP, &alert.fieldC,
                               &alert.fieldS, &alert.fieldN, &alert.fieldA, &alert.fieldF, &alert.format};
    for (QString* field : fields) {
        const BodyReader::Text result = in.countedText(*field);
        if (result == BodyReader::Text::Missing || result == BodyReader::Text::Overrun)
            break;
    }
    return alert;
}
