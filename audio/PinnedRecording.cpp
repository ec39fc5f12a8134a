#include "audio/PinnedRecording.h"

#include <fcntl.h>
#include <string_view>
#include <unistd.h>

namespace {

std::string localPath(const std::string& location) {
    constexpr std::string_view kScheme = "file://";
    // A file URL is decoded by the file layer; only plain paths are held here.
    return location.rfind(kScheme, 0) == 0 ? std::string() : location;
}

} // namespace

PinnedRecording::PinnedRecording(std::string path) : path_(std::move(path)), readerPath_(path_) {
#ifdef __linux__
    const std::string local = localPath(path_);
    if (local.empty())
        return;
    descriptor_ = ::open(local.c_str(), O_RDONLY | O_CLOEXEC);
    // Opening /proc/self/fd/N opens the file anew, with a read position of its own, so
    // readers never disturb one another.
    if (descriptor_ >= 0)
        readerPath_ = "/proc/self/fd/" + std::to_string(descriptor_);
#endif
}

PinnedRecording::~PinnedRecording() {
    if (descriptor_ >= 0)
        ::close(descriptor_);
}
