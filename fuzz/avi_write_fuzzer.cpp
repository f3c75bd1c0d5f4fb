// Fuzz entry point for the AVI writer: the input is a sequence of calls
// (setNumSuperIndexEntries with small counts, the Info calls, setColormap,
// frames of any size, audio chunks) in any order, then close, and then the
// written file is read back whole. Whatever the calls, nothing may crash. When
// the calls kept the documented order and the writer reported nothing, a file
// that opens without a code must give back every frame and every audio byte
// written.

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include <korva/avi/file.h>

#include "avi_write_ops.h"
#include "fuzz_bytes.h"
#include "fuzz_check.h"
#include "memory_file.h"
#include "read_everything.h"

namespace {

// Bounds that keep one input in the milliseconds.
const unsigned MAX_CALLS = 200;
const size_t MAX_BYTES = size_t(2) << 20;

// What the harness knows of the writer from its own calls, as a caller knows
// it: the buffer sizes, what went into the file, and whether the calls kept
// the documented order, the only order in which the file is meant to read
// back.
struct Session {
    uint64_t superIndexEntries = 4096;
    bool video = false, audio = false, wrote = false, orderly = true;
    unsigned bits = 0;
    bool compressed = false;
    uint32_t frameSize = 0;
    uint32_t audioDataSize = 0, audioChunkBytes = 0, audioBits = 0, channels = 0;
    size_t colormapEntries = 0;
    std::vector<std::vector<char>> frames;
    std::vector<char> audioBytes; // the real bytes of each chunk, without the pad byte
    size_t audioChunks = 0, bytesWritten = 0;
};

double chooseRate(FuzzBytes& in) {
    static const double rates[] = {25.0, 29.97, 44100.0, 8000.0, 0.5, 0.0, -25.0, 1e12,
                                   std::numeric_limits<double>::quiet_NaN(), std::numeric_limits<double>::infinity()};
    return in.flag() ? in.pick(rates) : in.real();
}

// Frames differ from one another, so that reading the wrong one shows.
std::vector<char> pattern(size_t size, size_t number) {
    std::vector<char> bytes(size);
    for (size_t i = 0; i < size; ++i) bytes[i] = char(i * 7 + number * 131 + (i >> 8));
    return bytes;
}

void setVideoInfo(avi::File& f, Session& s, FuzzBytes& in) {
    static const char* const fourccs[] = {"", "MJPG", "DIB ", "abc", "abcde"};
    static const unsigned depths[] = {24, 24, 8, 2, 4, 16, 32, 0, 1, 12, 33};
    const unsigned width = in.below(41), height = in.below(41);
    const double rate = chooseRate(in);
    const unsigned form = in.below(3);
    const std::string fourcc = form == 0 ? "" : in.pick(fourccs);
    const unsigned bits = form == 2 ? in.pick(depths) : 24;
    if (form == 0)
        f.setVideoInfo(width, height, rate);
    else if (form == 1)
        f.setVideoInfo(width, height, rate, fourcc);
    else
        f.setVideoInfo(width, height, rate, fourcc, bits);
    if (bits != 2 && bits != 4 && bits != 8 && bits != 16 && bits != 24 && bits != 32) return; // reported
    if (s.video || s.wrote) s.orderly = false;
    s.video = true;
    s.bits = bits;
    s.compressed = fourcc.size() == 4;
    // Rows padded to four bytes; the other depths have no frame size.
    s.frameSize = bits == 24 ? height * ((3 * width + 3) / 4 * 4) : bits == 8 ? height * ((width + 3) / 4 * 4) : 0;
}

void setAudioInfo(avi::File& f, Session& s, FuzzBytes& in) {
    static const unsigned depths[] = {8, 16, 16, 24, 32, 0, 4, 12};
    const double rate = chooseRate(in);
    const unsigned bits = in.pick(depths), channels = in.below(9), chunk = in.below(700);
    f.setAudioInfo(rate, bits, channels, chunk);
    // Less than a byte a sample frame must not reach close.
    if (s.audio || s.wrote || (bits * channels) >> 3 == 0) s.orderly = false;
    s.audio = true;
    s.audioBits = bits;
    s.channels = channels;
    s.audioDataSize = chunk;
    s.audioChunkBytes = (chunk + 1) & ~1u;
}

void setColormap(avi::File& f, Session& s, FuzzBytes& in) {
    static const size_t counts[] = {0, 1, 2, 16, 255, 256, 257};
    const size_t count = in.flag() ? in.pick(counts) : in.below(258);
    std::vector<avi::tagRGBQUAD> colours(count);
    for (size_t i = 0; i < count; ++i) colours[i] = {uint8_t(i), uint8_t(i * 3), uint8_t(255 - i), 0};
    f.setColormap(colours);
    if (s.colormapEntries == 0 && count <= 256) s.colormapEntries = count; // otherwise refused, with a code
}

void writeFrame(avi::File& f, Session& s, FuzzBytes& in, bool sized) {
    static const uint32_t bounds[] = {8, 300, 5000};
    const uint32_t size = sized ? in.below(in.pick(bounds)) : s.frameSize;
    std::vector<char> frame = pattern(size, s.frames.size());
    if (sized)
        f.writeVideoFrame(frame.data(), size);
    else
        f.writeVideoFrame(frame.data());
    if (!s.video) s.orderly = false;
    s.wrote = true;
    s.bytesWritten += size;
    s.frames.push_back(std::move(frame));
}

void writeAudio(avi::File& f, Session& s) {
    // The buffer holds the even chunk size; its last byte pads an odd one.
    std::vector<char> chunk = pattern(s.audioChunkBytes, 1000 + s.audioChunks);
    f.writeAudio(chunk.data());
    if (!s.audio) s.orderly = false;
    s.wrote = true;
    s.bytesWritten += chunk.size();
    s.audioBytes.insert(s.audioBytes.end(), chunk.begin(), chunk.begin() + s.audioDataSize);
    ++s.audioChunks;
}

void write(avi::File& f, Session& s, FuzzBytes& in) {
    for (unsigned call = 0; call < MAX_CALLS && !in.empty() && s.bytesWritten < MAX_BYTES; ++call) {
        switch (WriteOp(in.below(unsigned(WriteOp::Count)))) {
        case WriteOp::SuperIndexEntries:
            s.superIndexEntries = in.below(8);
            f.setNumSuperIndexEntries(s.superIndexEntries);
            if (s.video || s.audio || s.wrote) s.orderly = false;
            break;
        case WriteOp::VideoInfo: setVideoInfo(f, s, in); break;
        case WriteOp::AudioInfo: setAudioInfo(f, s, in); break;
        case WriteOp::Colormap: setColormap(f, s, in); break;
        case WriteOp::Frame: writeFrame(f, s, in, false); break;
        case WriteOp::SizedFrame: writeFrame(f, s, in, true); break;
        case WriteOp::Audio: writeAudio(f, s); break;
        case WriteOp::Count: break;
        }
    }
}

// The header reserves room for the super index entries and not for a colormap;
// with few entries a colormap runs the header over the room, or leaves a gap
// too small for the chunk that would fill it, and neither is detected. One
// RIFF chunk uses one entry a stream.
bool headerFits(const Session& s) {
    const int64_t streams = int64_t(s.video) + int64_t(s.audio);
    const int64_t colormapBytes = s.video && s.bits == 8 ? int64_t(4 * s.colormapEntries) : 0;
    const int64_t room = 16 * (int64_t(s.superIndexEntries) - 1) * streams + (streams == 1 ? 8 : 0) - colormapBytes;
    return room == 0 || room >= 8;
}

void readBackVideo(avi::File& r, const Session& s) {
    fuzzCheck(r.hasVideo(), "configured video reads back");
    fuzzCheck(r.getVideoTotalFrames() == int64_t(s.frames.size()), "every frame is counted");
    size_t largest = std::max<size_t>(r.getRGB24VideoFrameSize(), r.getIndexedVideoFrameSize());
    for (const auto& frame : s.frames) largest = std::max(largest, frame.size());
    std::unique_ptr<char[]> buffer(new char[largest]);
    for (size_t n = 0; n < s.frames.size(); ++n) {
        const std::vector<char>& frame = s.frames[n];
        fuzzCheck(r.getRawVideoFrameSize(long(n)) == frame.size(), "the index keeps each frame's size");
        r.readVideoFrame(buffer.get(), long(n));
        // Uncompressed frames are all read with the first one's size; only
        // those of that size are meant to come back whole.
        if (s.compressed || frame.size() == s.frames[0].size()) {
            fuzzCheck(r.getErrorCode() == avi::errors::NO_ERROR, "a written frame reads without a code");
            fuzzCheck(std::memcmp(buffer.get(), frame.data(), frame.size()) == 0, "a frame reads back as written");
        }
        r.clearError();
        r.readRGB24VideoFrame(buffer.get(), long(n));
        r.readIndexedVideoFrame(buffer.get(), long(n));
        r.clearError();
    }
}

void readBackAudio(avi::File& r, const Session& s) {
    fuzzCheck(r.hasAudio(), "configured audio reads back");
    // The total counts whole sample frames of the first RIFF chunk, in the
    // stream header's 32-bit fields.
    const uint32_t sampleSize = (s.audioBits * s.channels) >> 3;
    const uint32_t length = uint32_t(s.audioChunks * s.audioDataSize) / sampleSize;
    const uint32_t total = s.channels * length * (s.audioBits / 8);
    fuzzCheck(r.getAudioTotalBytes() == total, "the audio total follows the chunks written");
    fuzzCheck(total <= s.audioBytes.size(), "the total is no more than was written");
    // Reads of at most 999 bytes that end on the total: the end is seen only
    // where a read lands on it exactly, and one that steps over it runs out
    // of chunks, with a code.
    std::vector<char> read(total);
    for (size_t at = 0; at < total;) {
        const size_t count = std::min<size_t>(999, total - at);
        r.readAudio(read.data() + at, count);
        fuzzCheck(r.getErrorCode() == avi::errors::NO_ERROR, "written audio reads without a code");
        at += count;
    }
    fuzzCheck(r.isEndOfAudio(), "audio reads to its end");
    fuzzCheck(total == 0 || std::memcmp(read.data(), s.audioBytes.data(), total) == 0, "audio reads back as written");
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static MemoryFile output;
    FuzzBytes in(data, size);
    Session s;
    avi::File f;
    fuzzCheck(f.open(output.path(), "w"), "the output opens for writing");
    write(f, s, in);
    f.close();

    // Whatever the file holds, reading it must not fault.
    readEverything(output.path());

    const bool checkable = s.orderly && f.getErrorCode() == avi::errors::NO_ERROR && headerFits(s);
    avi::File r;
    if (!checkable || !r.open(output.path(), "rb") || r.getErrorCode() != avi::errors::NO_ERROR) return 0;
    if (s.video) readBackVideo(r, s);
    if (s.audio) readBackAudio(r, s);
    return 0;
}
