#pragma once

#include <cstdint>

class Message;
class SimChannel;

// Logs every frame the tray sends, one line each: the requests a channel knows by name with
// what they carry, anything else by id and length, and header fields the tray should not set.
class RequestLogger final
{
public:
    // Returns the id of the request when the channel knows it, else 0.
    static uint32_t log(const SimChannel& channel, const Message& message);
};
