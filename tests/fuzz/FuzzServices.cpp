// Arbitrary bodies for both status services: nothing may be read past a body's end.
#include "messaging/ManagementService.h"
#include "messaging/Message.h"
#include "messaging/ScanDaemonService.h"

#include <cstdint>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    if (size == 0)
        return 0;
    Message message;
    // An exact-size body, so the sanitizer sees any read beyond it.
    message.setData(data + 1, int(size - 1));
    message.body.shrink_to_fit();
    if (data[0] & 1) {
        ScanDaemonService service;
        service.handleMessage(message);
    } else {
        ManagementService service;
        service.handleMessage(message);
    }
    return 0;
}
