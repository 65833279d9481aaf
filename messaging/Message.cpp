#include "Message.h"

#include <QtEndian>

bool Message::readHeader(const unsigned char* bytes)
{
    const qint32 announced = qFromBigEndian<qint32>(bytes + 16);
    if (announced < 0 || announced > MaxLength)
        return false;
    reserved = qFromBigEndian<quint16>(bytes);
    serviceWord = qFromBigEndian<quint16>(bytes + 2);
    serviceId = qFromBigEndian<qint32>(bytes + 4);
    param = qFromBigEndian<qint32>(bytes + 8);
    sequence = qFromBigEndian<qint32>(bytes + 12);
    length = announced;
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

bool Message::setData(const void* bytes, int newLength)
{
    if (newLength < 0 || newLength > MaxLength)
        return false;
    const auto* first = static_cast<const unsigned char*>(bytes);
    body.assign(first, first + newLength);
    length = newLength;
    return true;
}
