#pragma once

#include <QString>
#include <QtEndian>

// Walks a message body front to back without ever reading past its end.
class BodyReader final
{
public:
    BodyReader(const unsigned char* data, int length)
        : m_at(data)
        , m_left(length)
    { }

    int left() const { return m_left; }
    const char* position() const { return reinterpret_cast<const char*>(m_at); }
    bool has(int count) const { return count <= m_left; }

    // Callers check has(4) first.
    qint32 i32()
    {
        const qint32 value = qFromBigEndian<qint32>(m_at);
        skip(4);
        return value;
    }
    quint32 u32() { return quint32(i32()); }

    void skip(int count)
    {
        m_at += count;
        m_left -= count;
    }

    // The scan daemon's texts: a count that includes a trailing terminator, then the bytes.
    // Reads the count; then, when the text fits, the text without its terminator.
    enum class Text
    {
        Read,
        Empty, // a count below 1: nothing follows
        Overrun, // the count runs past the body: nothing after it can be trusted
        Missing, // not even a count is left
    };
    Text countedText(QString& text)
    {
        if (!has(4))
            return Text::Missing;
        const qint32 count = i32();
        if (count < 1)
            return Text::Empty;
        if (count > m_left)
            return Text::Overrun;
        text = QString::fromUtf8(position(), count - 1);
        skip(count);
        return Text::Read;
    }

private:
    const unsigned char* m_at;
    int m_left;
};
