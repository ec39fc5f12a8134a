#include "platform/audio_export/AudioEncoder.h"

#include "platform/audio_export/FileEncoder.h"

#include <algorithm>
#include <cctype>
#include <filesystem>

namespace platform {

namespace {

// Blocks the caller may be ahead of the encoding: enough to ride out an encoder's uneven
// pace, few enough that a cancelled export stops at once.
constexpr std::size_t kMaxQueuedBlocks = 16;

} // namespace

std::optional<ExportFormat> exportFormatForPath(const std::string& path, bool wav16) {
    std::string extension = std::filesystem::path(path).extension().string();
    std::transform(extension.begin(), extension.end(), extension.begin(),
                   [](unsigned char c) { return char(std::tolower(c)); });
    if (extension == ".wav")
        return wav16 ? ExportFormat::Wav16 : ExportFormat::WavFloat;
    if (extension == ".flac")
        return ExportFormat::Flac;
    if (extension == ".mp3")
        return ExportFormat::Mp3;
    return std::nullopt;
}

AudioEncoder::AudioEncoder() = default;

AudioEncoder::~AudioEncoder() {
    stopThread(true);
}

bool AudioEncoder::open(const std::string& path, ExportFormat format, int sampleRate) {
    stopThread(true);
    file_ = std::make_unique<FileEncoder>();
    if (!file_->open(path, format, sampleRate)) {
        error_ = file_->error();
        file_.reset();
        return false;
    }
    error_.clear();
    closing_ = failed_ = false;
    thread_ = std::thread([this] { encodeBlocks(); });
    return true;
}

bool AudioEncoder::write(const float* interleaved, std::size_t frames) {
    std::unique_lock lock(mutex_);
    changed_.wait(lock, [this] { return queued_.size() < kMaxQueuedBlocks || failed_; });
    if (failed_ || !file_) {
        lock.unlock();
        stopThread(true);
        return false;
    }
    std::vector<float> block;
    if (!spare_.empty()) {
        block = std::move(spare_.back());
        spare_.pop_back();
    }
    block.assign(interleaved, interleaved + 2 * frames);
    queued_.push_back(std::move(block));
    changed_.notify_all();
    return true;
}

void AudioEncoder::encodeBlocks() {
    std::unique_lock lock(mutex_);
    for (;;) {
        changed_.wait(lock, [this] { return !queued_.empty() || closing_; });
        if (queued_.empty())
            return;
        std::vector<float> block = std::move(queued_.front());
        queued_.pop_front();
        lock.unlock();
        const bool written = file_->write(block.data(), block.size() / 2);
        lock.lock();
        spare_.push_back(std::move(block));
        if (!written) {
            failed_ = true;
            queued_.clear();
        }
        changed_.notify_all();
    }
}

void AudioEncoder::stopThread(bool dropQueued) {
    if (!thread_.joinable())
        return;
    {
        std::lock_guard lock(mutex_);
        if (dropQueued)
            queued_.clear();
        closing_ = true;
    }
    changed_.notify_all();
    thread_.join();
    if (file_ && !file_->error().empty())
        error_ = file_->error();
}

bool AudioEncoder::finish() {
    stopThread(false);
    if (!file_)
        return false;
    if (failed_) {
        file_->abandon();
        return false;
    }
    const bool finished = file_->finish();
    error_ = file_->error();
    return finished;
}

void AudioEncoder::abandon() {
    stopThread(true);
    if (file_)
        file_->abandon();
}

} // namespace platform
