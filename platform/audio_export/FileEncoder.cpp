#include "platform/audio_export/FileEncoder.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/audio_fifo.h>
#include <libavutil/channel_layout.h>
#include <libswresample/swresample.h>
}

namespace platform {

namespace fs = std::filesystem;

namespace {

struct FormatChoice {
    const char* muxer;
    AVCodecID codec;
    AVSampleFormat sampleFormat;
    int bitsPerRawSample; // 0: the sample format's own
    std::int64_t bitRate; // 0: none to set
};

FormatChoice choiceFor(ExportFormat format) {
    switch (format) {
    case ExportFormat::WavFloat:
        return {"wav", AV_CODEC_ID_PCM_F32LE, AV_SAMPLE_FMT_FLT, 0, 0};
    case ExportFormat::Wav16:
        return {"wav", AV_CODEC_ID_PCM_S16LE, AV_SAMPLE_FMT_S16, 0, 0};
    case ExportFormat::Flac:
        return {"flac", AV_CODEC_ID_FLAC, AV_SAMPLE_FMT_S32, 24, 0};
    case ExportFormat::Mp3:
        return {"mp3", AV_CODEC_ID_MP3, AV_SAMPLE_FMT_FLTP, 0, 256000};
    }
    return {"wav", AV_CODEC_ID_PCM_F32LE, AV_SAMPLE_FMT_FLT, 0, 0};
}

std::string ffmpegText(int status) {
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(status, text, sizeof text);
    return text;
}

// Frames per encoder call when the encoder takes any number.
constexpr int kAnyFrameSize = 4096;

} // namespace

struct FileEncoder::State {
    std::string target, temporary;
    const AVCodec* encoder = nullptr;
    AVFormatContext* format = nullptr;
    AVCodecContext* codec = nullptr;
    AVStream* stream = nullptr;
    SwrContext* converter = nullptr;
    AVAudioFifo* fifo = nullptr; // converted frames waiting for a whole encoder frame
    AVFrame* frame = nullptr;
    AVPacket* packet = nullptr;
    int frameSize = kAnyFrameSize;
    bool padLastFrame = false;
    std::int64_t nextPts = 0;
    std::vector<std::uint8_t*> planes;
    std::vector<std::uint8_t> converted;

    ~State() {
        av_packet_free(&packet);
        av_frame_free(&frame);
        if (fifo)
            av_audio_fifo_free(fifo);
        swr_free(&converter);
        avcodec_free_context(&codec);
        if (format) {
            if (format->pb)
                avio_closep(&format->pb);
            avformat_free_context(format);
        }
        if (!temporary.empty()) {
            std::error_code ignored;
            fs::remove(temporary, ignored);
        }
    }
};

FileEncoder::FileEncoder() = default;
FileEncoder::~FileEncoder() = default;

bool FileEncoder::fail(const std::string& what, int ffmpegStatus) {
    error_ = ffmpegStatus ? what + ": " + ffmpegText(ffmpegStatus) : what;
    state.reset(); // removes the temporary file
    return false;
}

void FileEncoder::abandon() {
    state.reset();
}

bool FileEncoder::open(const std::string& path, ExportFormat exportFormat, int sampleRate) {
    state = std::make_unique<State>();
    state->target = path;
    if (!makeTemporaryFile(path) || !startCodecAndFile(exportFormat, sampleRate) ||
        !startSamplePath(sampleRate))
        return false;
    error_.clear();
    return true;
}

// The file is written under a hidden temporary name beside the target, renamed at the end.
bool FileEncoder::makeTemporaryFile(const std::string& path) {
    const fs::path target(path);
    const fs::path folder = target.has_parent_path() ? target.parent_path() : fs::path(".");
    // Built by appending: GCC 12 at -O2 takes `"." + name` for an overlapping copy and
    // warns (a false -Wrestrict).
    std::string hidden = ".";
    hidden += target.filename().string();
    hidden += ".partial-XXXXXX";
    std::string pattern = (folder / hidden).string();
    const int descriptor = mkstemp(pattern.data());
    if (descriptor < 0)
        return fail("cannot write in " + folder.string() + ": " + std::strerror(errno));
    // Made private by mkstemp; the finished file gets the permissions any new file would.
    const mode_t mask = ::umask(0);
    ::umask(mask);
    ::fchmod(descriptor, 0666 & ~mask);
    ::close(descriptor);
    state->temporary = pattern;
    return true;
}

bool FileEncoder::startCodecAndFile(ExportFormat exportFormat, int sampleRate) {
    State& s = *state;
    const FormatChoice choice = choiceFor(exportFormat);
    s.encoder = avcodec_find_encoder(choice.codec);
    if (!s.encoder)
        return fail("this system's FFmpeg has no encoder for the format");
    if (int status =
            avformat_alloc_output_context2(&s.format, nullptr, choice.muxer, s.temporary.c_str());
        status < 0)
        return fail("cannot start the file", status);
    s.codec = avcodec_alloc_context3(s.encoder);
    if (!s.codec)
        return fail("out of memory");
    s.codec->sample_rate = sampleRate;
    av_channel_layout_default(&s.codec->ch_layout, 2);
    s.codec->sample_fmt = choice.sampleFormat;
    s.codec->time_base = AVRational{1, sampleRate};
    if (choice.bitsPerRawSample)
        s.codec->bits_per_raw_sample = choice.bitsPerRawSample;
    if (choice.bitRate)
        s.codec->bit_rate = choice.bitRate;
    if (s.format->oformat->flags & AVFMT_GLOBALHEADER)
        s.codec->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    if (int status = avcodec_open2(s.codec, s.encoder, nullptr); status < 0)
        return fail("cannot start the encoder", status);
    s.stream = avformat_new_stream(s.format, nullptr);
    if (!s.stream)
        return fail("out of memory");
    s.stream->time_base = s.codec->time_base;
    if (int status = avcodec_parameters_from_context(s.stream->codecpar, s.codec); status < 0)
        return fail("cannot start the file", status);
    if (int status = avio_open(&s.format->pb, s.temporary.c_str(), AVIO_FLAG_WRITE); status < 0)
        return fail("cannot write " + s.target, status);
    if (int status = avformat_write_header(s.format, nullptr); status < 0)
        return fail("cannot write " + s.target, status);
    return true;
}

// Float frames in, the codec's sample format out, in frames of the size the codec takes.
bool FileEncoder::startSamplePath(int sampleRate) {
    State& s = *state;
    const bool anySize = s.encoder->capabilities & AV_CODEC_CAP_VARIABLE_FRAME_SIZE;
    s.frameSize = s.codec->frame_size > 0 && !anySize ? s.codec->frame_size : kAnyFrameSize;
    s.padLastFrame = s.codec->frame_size > 0 && !anySize &&
                     !(s.encoder->capabilities & AV_CODEC_CAP_SMALL_LAST_FRAME);
    if (int status =
            swr_alloc_set_opts2(&s.converter, &s.codec->ch_layout, s.codec->sample_fmt, sampleRate,
                                &s.codec->ch_layout, AV_SAMPLE_FMT_FLT, sampleRate, 0, nullptr);
        status < 0 || swr_init(s.converter) < 0)
        return fail("cannot convert the samples", status);
    s.fifo = av_audio_fifo_alloc(s.codec->sample_fmt, 2, s.frameSize);
    s.frame = av_frame_alloc();
    s.packet = av_packet_alloc();
    if (!s.fifo || !s.frame || !s.packet)
        return fail("out of memory");
    return true;
}

bool FileEncoder::write(const float* interleaved, std::size_t frames) {
    if (!state)
        return false;
    State& s = *state;
    const int planes = av_sample_fmt_is_planar(s.codec->sample_fmt) ? 2 : 1;
    const int bytes = av_samples_get_buffer_size(nullptr, 2, int(frames), s.codec->sample_fmt, 1);
    s.converted.resize(std::size_t(std::max(bytes, 0)));
    s.planes.assign(std::size_t(planes), nullptr);
    if (av_samples_fill_arrays(s.planes.data(), nullptr, s.converted.data(), 2, int(frames),
                               s.codec->sample_fmt, 1) < 0)
        return fail("cannot convert the samples");
    const auto* input = reinterpret_cast<const std::uint8_t*>(interleaved);
    const int count = swr_convert(s.converter, s.planes.data(), int(frames), &input, int(frames));
    if (count < 0)
        return fail("cannot convert the samples", count);
    if (av_audio_fifo_write(s.fifo, reinterpret_cast<void**>(s.planes.data()), count) < count)
        return fail("out of memory");
    return encodeAvailable(false);
}

// Encodes every whole encoder frame waiting (all that waits, when flushing) and writes the
// packets that come out.
bool FileEncoder::encodeAvailable(bool flushing) {
    State& s = *state;
    while (av_audio_fifo_size(s.fifo) >= s.frameSize ||
           (flushing && av_audio_fifo_size(s.fifo) > 0)) {
        const int available = std::min(av_audio_fifo_size(s.fifo), s.frameSize);
        av_frame_unref(s.frame);
        s.frame->nb_samples = s.padLastFrame ? s.frameSize : available;
        s.frame->format = s.codec->sample_fmt;
        s.frame->sample_rate = s.codec->sample_rate;
        av_channel_layout_copy(&s.frame->ch_layout, &s.codec->ch_layout);
        if (int status = av_frame_get_buffer(s.frame, 0); status < 0)
            return fail("out of memory", status);
        if (s.padLastFrame)
            av_samples_set_silence(s.frame->data, 0, s.frameSize, 2, s.codec->sample_fmt);
        av_audio_fifo_read(s.fifo, reinterpret_cast<void**>(s.frame->data), available);
        s.frame->pts = s.nextPts;
        s.nextPts += s.frame->nb_samples;
        if (!sendAndWrite(s.frame))
            return false;
    }
    if (s.format->pb && s.format->pb->error < 0)
        return fail("cannot write " + s.target, s.format->pb->error);
    return true;
}

// Hands `frame` to the encoder and writes every packet that comes out.
bool FileEncoder::sendAndWrite(const AVFrame* frame) {
    State& s = *state;
    if (int status = avcodec_send_frame(s.codec, frame); status < 0)
        return fail("cannot encode", status);
    for (;;) {
        const int received = avcodec_receive_packet(s.codec, s.packet);
        if (received == AVERROR(EAGAIN) || received == AVERROR_EOF)
            return true;
        if (received < 0)
            return fail("cannot encode", received);
        av_packet_rescale_ts(s.packet, s.codec->time_base, s.stream->time_base);
        s.packet->stream_index = s.stream->index;
        if (int status = av_interleaved_write_frame(s.format, s.packet); status < 0)
            return fail("cannot write " + s.target, status);
    }
}

bool FileEncoder::finish() {
    if (!state)
        return false;
    State& s = *state;
    if (!encodeAvailable(true))
        return false;
    if (!sendAndWrite(nullptr)) // no frame: the encoder gives what it still holds
        return false;
    if (int status = av_write_trailer(s.format); status < 0)
        return fail("cannot write " + s.target, status);
    avio_flush(s.format->pb);
    const int ioError = s.format->pb->error;
    if (int status = avio_closep(&s.format->pb); status < 0 || ioError < 0)
        return fail("cannot write " + s.target, status < 0 ? status : ioError);
    std::error_code renamed;
    fs::rename(s.temporary, s.target, renamed);
    if (renamed)
        return fail("cannot write " + s.target + ": " + renamed.message());
    s.temporary.clear(); // it is the target now
    state.reset();
    return true;
}

} // namespace platform
