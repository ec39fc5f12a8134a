#include "platform/log/Log.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <unistd.h>

namespace platform {

void log(const char* format, ...) {
    char line[1024];
    va_list args;
    va_start(args, format);
    int length = std::vsnprintf(line, sizeof line - 1, format, args);
    va_end(args);
    if (length < 0)
        return;
    auto size = std::min<std::size_t>(static_cast<std::size_t>(length), sizeof line - 2);
    if (size == 0 || line[size - 1] != '\n')
        line[size++] = '\n';
    // One write call keeps lines from different threads whole.
    [[maybe_unused]] auto written = ::write(STDERR_FILENO, line, size);
}

} // namespace platform
