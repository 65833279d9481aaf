#pragma once

#include <cstdint>

// Every integer on the daemon wire is big-endian, whatever the host.
namespace BigEndian {

inline uint32_t readU32(const unsigned char* p)
{
    return (uint32_t(p[0]) << 24) | (uint32_t(p[1]) << 16) | (uint32_t(p[2]) << 8) | uint32_t(p[3]);
}

inline int32_t readI32(const unsigned char* p)
{
    return int32_t(readU32(p));
}

inline void writeU32(unsigned char* p, uint32_t value)
{
    p[0] = (unsigned char)(value >> 24);
    p[1] = (unsigned char)(value >> 16);
    p[2] = (unsigned char)(value >> 8);
    p[3] = (unsigned char)value;
}

inline void writeU16(unsigned char* p, uint32_t value)
{
    p[0] = (unsigned char)(value >> 8);
    p[1] = (unsigned char)value;
}

} // namespace BigEndian
