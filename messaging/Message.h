#pragma once

#include <vector>

// One frame of the daemon protocol: a 20-byte big-endian header and the body it announces.
class Message final
{
public:
    static constexpr int HeaderSize = 20;
    // The largest length a header may announce at all; each channel sets a lower bound.
    static constexpr int MaxLength = 0x7FFFFFFE;

    // Takes the header fields from 20 bytes; false for a length outside 0..MaxLength. The body
    // is left as it is.
    bool readHeader(const unsigned char* bytes);
    void writeHeader(unsigned char* out) const;

    // Makes the body a copy of bytes; false, leaving the message unchanged, for a bad length.
    bool setData(const void* bytes, int length);
    const unsigned char* data() const { return body.data(); }

    int reserved = 0;
    int serviceWord = 0;
    int serviceId = 0;
    int param = 0;
    int sequence = 0;
    // As the header announces it; the body holds that many bytes once the frame is complete.
    int length = 0;
    std::vector<unsigned char> body;
};
