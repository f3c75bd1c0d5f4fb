#ifndef KORVA_TOOLS_REPAIR_STREAM_FORMATS_H
#define KORVA_TOOLS_REPAIR_STREAM_FORMATS_H

// The formats of the streams a repaired file is written with, from a file's
// own header, from a finished file of the same set-up, or from the command
// line.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include <korva/avi/records.h>

namespace korva::repair {

struct VideoFormat {
    uint32_t width = 0;
    uint32_t height = 0;
    uint16_t bits = 24;
    double fps = 25.0;
    std::string fourcc; // empty when uncompressed
    std::vector<avi::tagRGBQUAD> colormap;
    // Lines stored top line first (a negative height in the header); the
    // writer stores them bottom line first.
    bool topDown = false;

    bool compressed() const { return !fourcc.empty(); }
    // Bytes of a stored frame: lines of bits per pixel, padded to 4 bytes.
    uint64_t frameBytes() const { return (uint64_t(width) * bits + 31) / 32 * 4 * height; }
};

struct AudioFormat {
    uint32_t rate = 0;
    uint16_t bits = 16;
    uint16_t channels = 2;

    uint32_t blockAlign() const { return uint32_t(channels) * ((bits + 7u) / 8u); }
};

struct StreamFormats {
    std::optional<VideoFormat> video;
    std::optional<AudioFormat> audio;

    bool known() const { return video || audio; }
};

// What the header of an AVI file tells, as far as it can be read; nothing
// when the file has no readable header (a hole, a cut, not AVI).
StreamFormats formatsFromHeader(const std::string& path);

// "WIDTHxHEIGHT[:BITS]" and "RATE:BITS:CHANNELS"; an empty optional and a
// reason when the text does not parse or is out of range.
std::optional<VideoFormat> parseVideoOption(const std::string& text, std::string& why);
std::optional<AudioFormat> parseAudioOption(const std::string& text, std::string& why);

} // namespace korva::repair

#endif
