#include "Alert.h"

#include "BodyReader.h"

#include <algorithm>

namespace {

// The expanded text under construction. It never takes in more than one character past the
// bound, so a template that repeats a long field costs no more memory than the bound itself.
class BoundedText final
{
public:
    bool isFull() const { return room() <= 0; }

    void append(QChar c)
    {
        if (!isFull())
            m_text += c;
    }

    void append(const QChar* text, qsizetype length)
    {
        if (!isFull())
            m_text.append(text, int(std::min(room(), length)));
    }

    void append(const QString& piece) { append(piece.constData(), piece.size()); }

    // What a field supplies is the sender's: a line break, a control character or a change of
    // writing direction inside it would let it forge lines or hide the template's own words.
    // Each character gives at least one, so no more of the field than there is room for is read.
    void appendField(const QString& field)
    {
        const QChar* run = field.constData();
        const QChar* const end = run + std::clamp(room(), qsizetype(0), qsizetype(field.size()));
        for (const QChar* at = run; at != end; ++at) {
            const char16_t u = at->unicode();
            const bool control = u < 0x20 || (u >= 0x7F && u < 0xA0);
            const bool layout
                = (u >= 0x202A && u <= 0x202E) || (u >= 0x2066 && u <= 0x2069) || u == 0x2028 || u == 0x2029;
            if (!control && !layout)
                continue;
            append(run, at - run);
            append(control ? QStringLiteral("\\x%1").arg(int(u), 2, 16, QLatin1Char('0'))
                           : QStringLiteral("\\u%1").arg(int(u), 4, 16, QLatin1Char('0')));
            run = at + 1;
        }
        append(run, end - run);
    }

    QString take()
    {
        if (isFull()) {
            m_text.truncate(Alert::MaxTextLength - 1);
            m_text += QChar(0x2026);
        }
        m_text.squeeze();
        return std::move(m_text);
    }

private:
    qsizetype room() const { return Alert::MaxTextLength + 1 - m_text.size(); }

    QString m_text = QStringLiteral("");
};

const QString* field(const Alert& alert, char16_t letter)
{
    switch (letter) {
    case 'A':
    case 'a':
        return &alert.fieldA;
    case 'C':
    case 'c':
        return &alert.fieldC;
    case 'E':
    case 'e':
        return &alert.fieldE;
    case 'F':
    case 'f':
        return &alert.fieldF;
    case 'L':
    case 'l':
        return &alert.fieldL;
    case 'N':
    case 'n':
    case 'U':
    case 'u':
        return &alert.fieldN;
    case 'P':
    case 'p':
        return &alert.fieldP;
    case 'S':
    case 's':
        return &alert.fieldS;
    case 'V':
    case 'v':
        return &alert.fieldV;
    default:
        return nullptr;
    }
}

// Appends what ~letter stands for; false when the letter is no escape and the tilde is plain text.
bool appendEscape(const Alert& alert, const QString& timeText, QChar letter, BoundedText& out)
{
    const QString* value = letter == QLatin1Char('T') || letter == QLatin1Char('t')
        ? &timeText
        : field(alert, letter.unicode());
    if (value)
        out.appendField(*value);
    return value != nullptr;
}

// Exact ASCII match in either case; Unicode case variants of a letter are plain text.
bool isLetter(QChar c, char upper)
{
    return c == QLatin1Char(upper) || c == QLatin1Char(char(upper - 'A' + 'a'));
}

} // namespace

QString Alert::text(const QString& timeText) const
{
    BoundedText out;
    const qsizetype n = format.size();
    qsizetype i = 0;
    // Set only by \r, so that the \r\n a template author writes out of habit gives a single line end.
    bool lineEnded = false;
    while (i < n - 1 && !out.isFull()) {
        const QChar c = format.at(i);
        const QChar d = format.at(i + 1);
        bool endsLine = false;
        if (c == QLatin1Char('~') && appendEscape(*this, timeText, d, out)) {
            i += 2;
        } else if (c == QLatin1Char('\\') && isLetter(d, 'T')) {
            out.append(QLatin1Char('\t'));
            i += 2;
        } else if (c == QLatin1Char('\\') && isLetter(d, 'R')) {
            out.append(QStringLiteral("\r\n"));
            endsLine = true;
            i += 2;
        } else if (c == QLatin1Char('\\') && isLetter(d, 'N')) {
            if (!lineEnded)
                out.append(QStringLiteral("\r\n"));
            i += 2;
        } else {
            out.append(c);
            ++i;
        }
        lineEnded = endsLine;
    }
    // A last NUL or non-Latin-1 unit is dropped, as the templates the daemon sends already allow for.
    if (i == n - 1) {
        const QChar last = format.at(i);
        if (last.unicode() >= 0x01 && last.unicode() <= 0xFF)
            out.append(last);
    }
    return out.take();
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
