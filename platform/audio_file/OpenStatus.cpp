#include "platform/audio_file/OpenStatus.h"

#include <cerrno>
#include <sys/stat.h>
#include <unistd.h>

namespace platform {

namespace {

int hexValue(char c) {
    if (c >= '0' && c <= '9')
        return c - '0';
    if (c >= 'a' && c <= 'f')
        return c - 'a' + 10;
    if (c >= 'A' && c <= 'F')
        return c - 'A' + 10;
    return -1;
}

} // namespace

std::string pathFromLocation(const std::string& location) {
    const std::string scheme = "file://";
    if (location.compare(0, scheme.size(), scheme) != 0)
        return location;
    std::string rest = location.substr(scheme.size());
    // "file://localhost/x" and "file:///x" name the same file; any other host is remote.
    const auto slash = rest.find('/');
    if (slash == std::string::npos)
        return {};
    const std::string host = rest.substr(0, slash);
    if (!host.empty() && host != "localhost")
        return {};
    rest = rest.substr(slash);
    std::string path;
    for (std::size_t i = 0; i < rest.size(); ++i) {
        if (rest[i] == '%' && i + 2 < rest.size() && hexValue(rest[i + 1]) >= 0 &&
            hexValue(rest[i + 2]) >= 0) {
            path += static_cast<char>(hexValue(rest[i + 1]) * 16 + hexValue(rest[i + 2]));
            i += 2;
        } else {
            path += rest[i];
        }
    }
    return path;
}

OSStatus statusOfPath(const std::string& path) {
    if (path.empty())
        return kFileNotFoundError;
    struct stat info {};
    if (::stat(path.c_str(), &info) != 0)
        return errno == EACCES ? kAudioFilePermissionsError : kFileNotFoundError;
    // A directory, and anything that is not a plain file: a named pipe or a device would
    // block the reader, or never end.
    if (!S_ISREG(info.st_mode))
        return kAudioFileUnsupportedFileTypeError;
    if (::access(path.c_str(), R_OK) != 0)
        return kAudioFilePermissionsError;
    return noErr;
}

} // namespace platform
