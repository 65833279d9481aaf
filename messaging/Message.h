#pragma once

// One frame of the daemon protocol: a 20-byte big-endian header and the body it announces.
class Message final
{
public:
    static constexpr int HeaderSize = 20;
    static constexpr int MaxLength = 0x7FFFFFFE;

    Message() = default;
    ~Message();
    Message(const Message&) = delete;
    Message& operator=(const Message&) = delete;

    // Parses a header. count holds the bytes available on entry; it is 20 on success, else 0.
    // Returns null for a short header, a length outside 0..MaxLength or a failed allocation.
    static Message* fromHeader(const unsigned char* bytes, int& count);

    // Makes the body a copy of bytes. False, leaving the message unchanged, on a bad length or no memory.
    bool setData(const void* bytes, int length);

    void writeHeader(unsigned char* out) const;

    int reserved = 0;
    int serviceWord = 0;
    int serviceId = 0;
    int param = 0;
    int sequence = 0;
    int length = 0;
    unsigned char* data = nullptr;
};
