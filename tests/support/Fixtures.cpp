#include "tests/support/Fixtures.h"

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <functional>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>

namespace fs = std::filesystem;

namespace test_support {

namespace {

std::atomic<int> temporaryCount{0};

std::string hexHash(std::string_view text) {
    char buffer[17];
    std::snprintf(buffer, sizeof buffer, "%016zx", std::hash<std::string_view>{}(text));
    return buffer;
}

std::string_view bytesOf(const std::vector<float>& samples) {
    return {reinterpret_cast<const char*>(samples.data()), samples.size() * sizeof(float)};
}

std::string uniqueName() {
    return std::to_string(::getpid()) + "-" + std::to_string(++temporaryCount);
}

std::string channelLayout(int channels) {
    switch (channels) {
    case 1:
        return "mono";
    case 2:
        return "stereo";
    case 6:
        return "5.1";
    default:
        return std::to_string(channels) + "c";
    }
}

} // namespace

std::string readFile(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    return {(std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>()};
}

void writeFile(const fs::path& path, std::string_view bytes) {
    const fs::path temporary = path.parent_path() / (".write-" + uniqueName());
    {
        std::ofstream out(temporary, std::ios::binary | std::ios::trunc);
        out.write(bytes.data(), std::streamsize(bytes.size()));
        if (!out)
            throw std::runtime_error("cannot write " + path.string());
    }
    fs::rename(temporary, path);
}

ScratchFolder::ScratchFolder()
    : path_(fs::temp_directory_path() / ("studyloop-test-" + uniqueName())) {
    fs::remove_all(path_);
    fs::create_directories(path_);
}

ScratchFolder::~ScratchFolder() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
}

int run(const std::string& commandLine) {
    const int status = std::system(commandLine.c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

std::string capture(const std::string& commandLine) {
    FILE* pipe = popen(commandLine.c_str(), "r");
    if (!pipe)
        return {};
    std::string output;
    char buffer[256];
    while (std::size_t count = std::fread(buffer, 1, sizeof buffer, pipe))
        output.append(buffer, count);
    if (pclose(pipe) != 0)
        return {};
    while (!output.empty() && (output.back() == '\n' || output.back() == '\r'))
        output.pop_back();
    return output;
}

std::string shellQuote(const std::string& text) {
    std::string quoted = "'";
    for (char c : text) {
        if (c == '\'')
            quoted += "'\\''";
        else
            quoted += c;
    }
    return quoted + "'";
}

const std::vector<Encoding>& allEncodings() {
    static const std::vector<Encoding> encodings = {
        {"wav16", ".wav", {"-c:a", "pcm_s16le"}, true, 0},
        {"wav24", ".wav", {"-c:a", "pcm_s24le"}, true, 0},
        {"wavf32", ".wav", {"-c:a", "pcm_f32le"}, true, 0},
        {"wavs32", ".wav", {"-c:a", "pcm_s32le"}, true, 0},
        {"wavf64", ".wav", {"-c:a", "pcm_f64le"}, true, 0},
        {"aiff", ".aiff", {"-c:a", "pcm_s16be"}, true, 0},
        {"flac", ".flac", {"-c:a", "flac"}, true, 0},
        {"alac", ".m4a", {"-c:a", "alac"}, true, 0},
        {"mp3cbr", ".mp3", {"-c:a", "libmp3lame", "-b:a", "192k"}, false, 0},
        {"mp3vbr", ".mp3", {"-c:a", "libmp3lame", "-q:a", "2"}, false, 0},
        {"aac", ".m4a", {"-c:a", "aac", "-b:a", "192k"}, false, 0},
        {"vorbis", ".ogg", {"-c:a", "libvorbis", "-q:a", "6"}, false, 0},
        {"opus", ".opus", {"-c:a", "libopus", "-b:a", "192k"}, false, 48000},
        {"webmopus", ".webm", {"-c:a", "libopus", "-b:a", "192k"}, false, 48000},
        {"mkvflac", ".mka", {"-c:a", "flac"}, true, 0},
        {"mkvpcm", ".mka", {"-c:a", "pcm_s24le"}, true, 0},
    };
    return encodings;
}

void PrintTo(const Encoding& format, std::ostream* out) {
    *out << format.name;
}

const Encoding& encoding(std::string_view name) {
    for (const auto& candidate : allEncodings())
        if (candidate.name == name)
            return candidate;
    throw std::invalid_argument("no encoding " + std::string(name));
}

fs::path fixtureDirectory() {
    const char* override = std::getenv("STUDYLOOP_FIXTURE_DIR");
    fs::path directory =
        override && *override ? fs::path(override) : fs::path(STUDYLOOP_FIXTURE_DIR);
    fs::create_directories(directory);
    return directory;
}

fs::path makeFixture(const Signal& signal, const Encoding& format, std::string_view label) {
    std::string arguments;
    for (const auto& argument : format.ffmpegArguments)
        arguments += " " + shellQuote(argument);
    const std::string key = format.name + "|" + std::to_string(signal.sampleRate) + "|" +
                            std::to_string(signal.channels) + "|" + arguments + "|" +
                            hexHash(bytesOf(signal.samples));
    const fs::path directory = fixtureDirectory();
    const fs::path target =
        directory / (std::string(label) + "-" + std::to_string(signal.sampleRate) + "-" +
                     std::to_string(signal.channels) + "-" + format.name + "-" + hexHash(key) +
                     format.extension);
    if (fs::exists(target))
        return target;

    // Written under names of this process's own first: tests running in parallel may make
    // the same fixture at once, and must never read or encode each other's half-written file.
    const std::string unique = uniqueName();
    const fs::path raw = directory / (".raw-" + unique + ".f32");
    const fs::path partial = directory / (".partial-" + unique + "-" + target.filename().string());
    writeFile(raw, bytesOf(signal.samples));
    const std::string command =
        std::string(STUDYLOOP_FFMPEG) + " -nostdin -hide_banner -loglevel error -y -f f32le -ar " +
        std::to_string(signal.sampleRate) + " -ac " + std::to_string(signal.channels) +
        " -channel_layout " + channelLayout(signal.channels) + " -i " + shellQuote(raw.string()) +
        arguments + " -f " +
        (format.extension == ".m4a"    ? std::string("mp4")
         : format.extension == ".opus" ? std::string("ogg")
         : format.extension == ".mka"  ? std::string("matroska")
                                       : format.extension.substr(1)) +
        " " + shellQuote(partial.string());
    const int status = run(command);
    fs::remove(raw);
    if (status != 0)
        throw std::runtime_error("ffmpeg failed (" + std::to_string(status) + "): " + command);
    fs::rename(partial, target);
    return target;
}

namespace {

// The CRC of an Ogg page: polynomial 0x04c11db7, most significant bit first, no inversion.
std::uint32_t oggChecksum(std::string_view page) {
    std::uint32_t crc = 0;
    for (unsigned char byte : page) {
        crc ^= std::uint32_t(byte) << 24;
        for (int bit = 0; bit < 8; ++bit)
            crc = (crc & 0x80000000u) ? (crc << 1) ^ 0x04c11db7u : crc << 1;
    }
    return crc;
}

} // namespace

std::vector<float> decodeWithOggdec(const fs::path& file) {
    const fs::path output = fixtureDirectory() / (".oggdec-" + uniqueName() + ".wav");
    if (run(std::string(STUDYLOOP_OGGDEC) + " -Q -o " + shellQuote(output.string()) + " " +
            shellQuote(file.string())) != 0)
        throw std::runtime_error("oggdec could not decode " + file.string());
    std::vector<float> samples = decodeWithFfmpeg(output);
    fs::remove(output);
    return samples;
}

fs::path withRepaginatedOggStart(const fs::path& file, int trimmedFrames, int packetsOnHeaderPage) {
    const std::string bytes = readFile(file);
    // Pages: "OggS", version, flags, granule position (8 bytes at 6), serial, sequence (at
    // 18), checksum (4 bytes at 22), segment count (at 26), the segment sizes, the data.
    struct Page {
        std::string header, lacing, body;
        std::int64_t granule() const {
            std::int64_t value;
            std::memcpy(&value, header.data() + 6, 8);
            return value;
        }
        void setGranule(std::int64_t value) { std::memcpy(header.data() + 6, &value, 8); }
    };
    std::vector<Page> pages;
    for (std::size_t at = 0; at + 27 <= bytes.size();) {
        if (bytes.compare(at, 4, "OggS") != 0)
            throw std::runtime_error("not an Ogg page in " + file.string());
        Page page{bytes.substr(at, 27), bytes.substr(at + 27, std::uint8_t(bytes[at + 26])), {}};
        std::size_t size = 0;
        for (const char lacing : page.lacing)
            size += std::uint8_t(lacing);
        page.body = bytes.substr(at + 27 + page.lacing.size(), size);
        at += 27 + page.lacing.size() + size;
        pages.push_back(std::move(page));
    }
    // The header pages have granule position 0; the first audio page follows them.
    const auto audio = std::find_if(pages.begin(), pages.end(),
                                    [](const Page& page) { return page.granule() > 0; });
    if (audio == pages.begin() || audio == pages.end())
        throw std::runtime_error("no audio page after the headers in " + file.string());
    Page& headers = audio[-1];
    std::size_t segments = 0, size = 0;
    for (int packets = 0; packets < packetsOnHeaderPage && segments < audio->lacing.size();)
        packets += std::uint8_t(audio->lacing[segments++]) < 255;
    for (std::size_t i = 0; i < segments; ++i)
        size += std::uint8_t(audio->lacing[i]);
    headers.lacing += audio->lacing.substr(0, segments);
    headers.body += audio->body.substr(0, size);
    audio->lacing.erase(0, segments);
    audio->body.erase(0, size);
    if (audio->lacing.empty()) { // the whole page moved, and its granule position with it
        headers.setGranule(audio->granule());
        pages.erase(audio);
    }
    std::string out;
    for (std::uint32_t sequence = 0; Page & page : pages) {
        if (page.granule() > 0) // audio pages, as in a file cut to the sample
            page.setGranule(page.granule() - trimmedFrames);
        std::memcpy(page.header.data() + 18, &sequence, 4);
        ++sequence;
        page.header[26] = char(page.lacing.size());
        std::memset(page.header.data() + 22, 0, 4);
        const std::string whole = page.header + page.lacing + page.body;
        const std::uint32_t crc = oggChecksum(whole);
        out += whole.substr(0, 22) + std::string(reinterpret_cast<const char*>(&crc), 4) +
               whole.substr(26);
    }
    const fs::path made =
        fixtureDirectory() / ("start-" + std::to_string(trimmedFrames) + "-" +
                              std::to_string(packetsOnHeaderPage) + "-" + file.filename().string());
    writeFile(made, out);
    return made;
}

std::vector<float> decodeWithFfmpeg(const fs::path& file) {
    const fs::path output = fixtureDirectory() / (".ref-" + uniqueName() + ".f32");
    const std::string command =
        std::string(STUDYLOOP_FFMPEG) + " -nostdin -hide_banner -loglevel error -y -i " +
        shellQuote(file.string()) + " -f f32le -ac 2 " + shellQuote(output.string());
    if (run(command) != 0)
        throw std::runtime_error("ffmpeg could not decode " + file.string());
    const std::string bytes = readFile(output);
    std::vector<float> samples(bytes.size() / sizeof(float));
    std::memcpy(samples.data(), bytes.data(), samples.size() * sizeof(float));
    fs::remove(output);
    return samples;
}

fs::path missingFile() {
    return fixtureDirectory() / "does-not-exist.wav";
}

fs::path emptyFile() {
    const fs::path path = fixtureDirectory() / "empty.wav";
    writeFile(path, "");
    return path;
}

fs::path textFileNamedMp3() {
    const fs::path path = fixtureDirectory() / "notes.mp3";
    writeFile(path, "These are my practice notes, not a recording.\nBar 12: slow down.\n");
    return path;
}

fs::path wavCutOffHalfway() {
    const fs::path whole = makeFixture(makeRamp(20000, 2, 44100), encoding("wav16"), "whole");
    const fs::path path = fixtureDirectory() / "cut-off-halfway.wav";
    const std::string bytes = readFile(whole);
    writeFile(path, std::string_view(bytes).substr(0, bytes.size() / 2));
    return path;
}

fs::path directoryPath() {
    const fs::path path = fixtureDirectory() / "a-directory.wav";
    fs::create_directories(path);
    return path;
}

} // namespace test_support
