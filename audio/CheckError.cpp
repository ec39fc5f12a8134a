#include "audio/CheckError.h"

#include "platform/log/Log.h"

#include <cctype>
#include <cstdio>
#include <cstdlib>

std::string statusText(platform::OSStatus error) {
    char text[20] = {};
    const auto bits = static_cast<std::uint32_t>(error);
    text[1] = static_cast<char>(bits >> 24);
    text[2] = static_cast<char>(bits >> 16);
    text[3] = static_cast<char>(bits >> 8);
    text[4] = static_cast<char>(bits);
    bool printable = true;
    for (int i = 1; i <= 4; ++i)
        printable = printable && std::isprint(static_cast<unsigned char>(text[i]));
    if (printable) {
        text[0] = text[5] = '\'';
        text[6] = '\0';
    } else {
        std::snprintf(text, sizeof text, "%d", static_cast<int>(error));
    }
    return text;
}

void CheckError(platform::OSStatus error, const char* operation) {
    if (error == platform::noErr)
        return;
    platform::log("%d", static_cast<int>(error));
    platform::log("Error: %s (%s)\n", operation, statusText(error).c_str());
    // _Exit: no static destructors and no waiting for other threads, which may be the
    // ones holding a lock or running the audio.
    std::_Exit(1);
}
