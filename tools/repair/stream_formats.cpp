#include "stream_formats.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <korva/avi/file.h>

namespace korva::repair {

namespace {

uint32_t le32(const uint8_t* p) { return uint32_t(p[0]) | uint32_t(p[1]) << 8 | uint32_t(p[2]) << 16 | uint32_t(p[3]) << 24; }

// Whether the video stream's bitmap header has a negative height: the reader
// hides the sign once it has turned the frames over, so it is read here.
bool videoStoredTopDown(const std::string& path) {
    std::FILE* stream = std::fopen(path.c_str(), "rb");
    if (stream == nullptr) return false;
    std::vector<uint8_t> head(1 << 20);
    head.resize(std::fread(head.data(), 1, head.size(), stream));
    std::fclose(stream);
    // strl lists hold "strh" (its first four bytes the stream type) and then
    // "strf"; take the strf behind the first "vids".
    bool video = false;
    for (size_t at = 12; at + 8 <= head.size();) {
        const uint8_t* chunk = head.data() + at;
        const uint32_t size = le32(chunk + 4);
        if (std::memcmp(chunk, "LIST", 4) == 0) {
            if (at + 12 > head.size() || std::memcmp(chunk + 8, "movi", 4) == 0) break;
            at += 12;
            continue;
        }
        if (std::memcmp(chunk, "strh", 4) == 0 && at + 12 <= head.size()) video = std::memcmp(chunk + 8, "vids", 4) == 0;
        if (std::memcmp(chunk, "strf", 4) == 0 && video && at + 20 <= head.size()) {
            return int32_t(le32(chunk + 16)) < 0;
        }
        at += 8 + size + (size & 1);
    }
    return false;
}

} // namespace

StreamFormats formatsFromHeader(const std::string& path) {
    StreamFormats formats;
    avi::File file;
    // A damaged index fails the open after the header has been read; the
    // header's own fields are all that is wanted here.
    file.openToGetInformation(path.c_str());
    const uint16_t depth = file.getVideoBitsPerPixel();
    const bool writableDepth = depth == 2 || depth == 4 || depth == 8 || depth == 16 || depth == 24 || depth == 32;
    // Only what the writer can write again: a depth it knows and frames that
    // fit a chunk.
    if (file.hasVideo() && file.getVideoWidth() != 0 && file.getVideoHeight() != 0 &&
        (writableDepth || file.isVideoCompressed())) {
        VideoFormat video;
        video.width = file.getVideoWidth();
        video.height = file.getVideoHeight();
        video.bits = file.getVideoBitsPerPixel();
        const double fps = file.getVideoFrameRate();
        if (fps > 0 && fps < 1e6) video.fps = fps;
        if (file.isVideoCompressed()) video.fourcc = file.getVideoFourCC();
        video.colormap = file.getColormap();
        video.topDown = videoStoredTopDown(path);
        if (video.compressed() || (video.frameBytes() > 0 && video.frameBytes() <= UINT32_MAX)) formats.video = video;
    }
    const uint16_t bits = file.getAudioBitsPerSample();
    if (file.hasAudio() && !file.isAudioCompressed() && file.getAudioSampleRate() != 0 &&
        file.getAudioNumberOfChannels() != 0 && (bits == 8 || bits == 16 || bits == 24 || bits == 32)) {
        formats.audio = AudioFormat{file.getAudioSampleRate(), file.getAudioBitsPerSample(),
                                    file.getAudioNumberOfChannels()};
    }
    file.close();
    return formats;
}

namespace {

// A whole number from text at `at`, moving `at` past it.
bool readWhole(const std::string& text, size_t& at, unsigned long& value) {
    const char* start = text.c_str() + at;
    char* end = nullptr;
    if (*start < '0' || *start > '9') return false;
    value = std::strtoul(start, &end, 10);
    at += size_t(end - start);
    return true;
}

} // namespace

std::optional<VideoFormat> parseVideoOption(const std::string& text, std::string& why) {
    VideoFormat video;
    size_t at = 0;
    unsigned long width, height, bits = 24;
    const bool parsed = readWhole(text, at, width) && at < text.size() && text[at++] == 'x' &&
                        readWhole(text, at, height) &&
                        (at == text.size() || (text[at++] == ':' && readWhole(text, at, bits) && at == text.size()));
    if (!parsed) {
        why = "--video wants WIDTHxHEIGHT or WIDTHxHEIGHT:BITS, not '" + text + "'";
        return std::nullopt;
    }
    if (width < 1 || width > 65536 || height < 1 || height > 65536) {
        why = "--video: a width and height from 1 to 65536, not '" + text + "'";
        return std::nullopt;
    }
    if (bits != 2 && bits != 4 && bits != 8 && bits != 16 && bits != 24 && bits != 32) {
        why = "--video: bits per pixel of 2, 4, 8, 16, 24 or 32, not " + std::to_string(bits);
        return std::nullopt;
    }
    video.width = uint32_t(width);
    video.height = uint32_t(height);
    video.bits = uint16_t(bits);
    return video;
}

std::optional<AudioFormat> parseAudioOption(const std::string& text, std::string& why) {
    size_t at = 0;
    unsigned long rate, bits, channels;
    const bool parsed = readWhole(text, at, rate) && at < text.size() && text[at++] == ':' &&
                        readWhole(text, at, bits) && at < text.size() && text[at++] == ':' &&
                        readWhole(text, at, channels) && at == text.size();
    if (!parsed) {
        why = "--audio wants RATE:BITS:CHANNELS, not '" + text + "'";
        return std::nullopt;
    }
    if (rate < 1 || rate > 1000000 || (bits != 8 && bits != 16 && bits != 24 && bits != 32) || channels < 1 ||
        channels > 64) {
        why = "--audio: a rate from 1 to 1000000 Hz, 8, 16, 24 or 32 bits and 1 to 64 channels, not '" + text + "'";
        return std::nullopt;
    }
    return AudioFormat{uint32_t(rate), uint16_t(bits), uint16_t(channels)};
}

} // namespace korva::repair
