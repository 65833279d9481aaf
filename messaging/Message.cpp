#include "Message.h"

#include "BigEndian.h"

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
    message->reserved = bytes[0] * 256 + bytes[1];
    message->serviceWord = bytes[2] * 256 + bytes[3];
    message->serviceId = BigEndian::readI32(bytes + 4);
    message->param = BigEndian::readI32(bytes + 8);
    message->sequence = BigEndian::readI32(bytes + 12);
    const int length = BigEndian::readI32(bytes + 16);
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

int Message::setData(const void* bytes, int newLength)
{
    if (!validLength(newLength))
        return 0;
    if (newLength > length) {
        bool ok = false;
        unsigned char* body = allocateBody(newLength, ok);
        if (!ok)
            return 0;
        delete[] data;
        data = body;
    } else if (newLength == 0) {
        delete[] data;
        data = nullptr;
    }
    if (newLength > 0)
        std::memcpy(data, bytes, size_t(newLength));
    length = newLength;
    return 1;
}

int Message::resize(int newLength)
{
    if (!validLength(newLength))
        return 0;
    bool ok = false;
    unsigned char* body = allocateBody(newLength, ok);
    if (!ok)
        return 0;
    delete[] data;
    data = body;
    length = newLength;
    return 1;
}

void Message::writeHeader(unsigned char* out) const
{
    BigEndian::writeU16(out, uint32_t(reserved));
    BigEndian::writeU16(out + 2, uint32_t(serviceWord));
    BigEndian::writeU32(out + 4, uint32_t(serviceId));
    BigEndian::writeU32(out + 8, uint32_t(param));
    BigEndian::writeU32(out + 12, uint32_t(sequence));
    BigEndian::writeU32(out + 16, uint32_t(length));
}
