// Arbitrary alert records: decoded and expanded, the text must stay within its bound.
#include "messaging/Alert.h"

#include <cstdint>
#include <cstdlib>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    const std::vector<unsigned char> record(data, data + size);
    const Alert alert = Alert::fromRecord(record.data(), int(record.size()));
    if (alert.text(QStringLiteral("Sun Mar 13 16:06:40 2011")).size() > Alert::MaxTextLength)
        std::abort();
    return 0;
}
