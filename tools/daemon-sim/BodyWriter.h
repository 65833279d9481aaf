#pragma once

#include <QByteArray>
#include <QtEndian>

#include <cstdint>

// Builds a message body front to back: the message id first, then words and texts.
class BodyWriter final
{
public:
    explicit BodyWriter(uint32_t messageId) { u32(messageId); }

    BodyWriter& u32(uint32_t value)
    {
        uchar word[4];
        qToBigEndian<quint32>(value, word);
        m_body.append(reinterpret_cast<const char*>(word), 4);
        return *this;
    }
    BodyWriter& i32(int32_t value) { return u32(uint32_t(value)); }
    // The scan daemon's texts: a count that includes the terminating zero, the bytes, the zero.
    BodyWriter& text(const QByteArray& bytes)
    {
        i32(int32_t(bytes.size() + 1));
        m_body.append(bytes);
        m_body.append('\0');
        return *this;
    }
    BodyWriter& bytes(const QByteArray& bytes)
    {
        m_body.append(bytes);
        return *this;
    }

    const QByteArray& body() const { return m_body; }

private:
    QByteArray m_body;
};
