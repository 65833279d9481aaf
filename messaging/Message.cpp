#include "Message.h"

#include <QtEndian>

#include <cstring>
#include <new>

namespace {

bool validLength(int length)
{
    return length >= 0 && length <= Message::MaxLength;
}

// Null for length 0, and null with ok false when the allocation fails.
unsigned char* allocateBody(int length, bool& ok)
{
    ok = true;
    if (length == 0)
        return nullptr;
    auto* body = new (std::nothrow) unsigned char[length];
    ok = body != nullptr;
    return body;
}

} // namespace

Message::~Message()
{
    delete[] data;
}

Message* Message::fromHeader(const unsigned char* bytes, int& count)
{
    const int available = count;
    count = 0;
    if (available < HeaderSize)
        return nullptr;
    auto* message = new (std::nothrow) Message;
    if (!message)
        return nullptr;
    message->reserved = qFromBigEndian<quint16>(bytes);
    message->serviceWord = qFromBigEndian<quint16>(bytes + 2);
    message->serviceId = qFromBigEndian<qint32>(bytes + 4);
    message->param = qFromBigEndian<qint32>(bytes + 8);
    message->sequence = qFromBigEndian<qint32>(bytes + 12);
    const int length = qFromBigEndian<qint32>(bytes + 16);
    bool ok = false;
    if (validLength(length))
        message->data = allocateBody(length, ok);
    if (!ok) {
        delete message;
        return nullptr;
    }
    message->length = length;
    count = HeaderSize;
    return message;
}

bool Message::setData(const void* bytes, int newLength)
{
    if (!validLength(newLength))
        return false;
    if (newLength > length) {
        bool ok = false;
        unsigned char* body = allocateBody(newLength, ok);
        if (!ok)
            return false;
        delete[] data;
        data = body;
    } else if (newLength == 0) {
        delete[] data;
        data = nullptr;
    }
    if (newLength > 0)
        std::memcpy(data, bytes, size_t(newLength));
    length = newLength;
    return true;
}

void Message::writeHeader(unsigned char* out) const
{
    qToBigEndian<quint16>(quint16(reserved), out);
    qToBigEndian<quint16>(quint16(serviceWord), out + 2);
    qToBigEndian<qint32>(serviceId, out + 4);
    qToBigEndian<qint32>(param, out + 8);
    qToBigEndian<qint32>(sequence, out + 12);
    qToBigEndian<qint32>(length, out + 16);
}
