// Arbitrary configuration files: the install directory is always one non-empty word.
#include "tray/InstallConfig.h"

#include <cctype>
#include <cstdint>
#include <cstdio>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    std::FILE* file = fmemopen(const_cast<uint8_t*>(data), size, "r");
    if (!file)
        return 0;
    const QByteArray directory = InstallConfig::installDirectory(file);
    std::fclose(file);
    if (directory.isEmpty() || directory.size() > InstallConfig::MaxToolPath + 1)
        std::abort();
    for (const char c : directory) {
        if (c == '\0' || std::isspace(static_cast<unsigned char>(c)))
            std::abort();
    }
    return 0;
}
