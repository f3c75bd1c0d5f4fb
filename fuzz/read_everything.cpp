// Reads an AVI file the way a player does, everything in it, with buffers sized
// exactly as a careful caller sizes them from the getters, so that any write
// past them is the reader's fault and shows under AddressSanitizer.

#include "read_everything.h"

#include <algorithm>
#include <cstdint>
#include <memory>
#include <string>

#include <korva/avi/file.h>

namespace {

// Bounds that keep one input in the milliseconds. A frame buffer larger than
// this is one no caller would allocate for a file of a few kilobytes.
const uint64_t MAX_BUFFER_BYTES = uint64_t(64) << 20;
const int64_t MAX_FRAMES = 64;
const uint64_t MAX_AUDIO_BYTES = 256 * 1024;
const unsigned MAX_AUDIO_READS = 512;
// Odd sizes, so that reads end inside samples and inside chunks.
const unsigned long AUDIO_READ_SIZES[] = {1, 7, 333, 4099};

// Every getter once; their results feed nothing but must not fault.
void touchGetters(avi::File& file) {
    volatile uint64_t sink = 0;
    sink = sink + file.hasVideo() + file.hasAudio() + file.getVideoWidth() + file.getVideoHeight() +
           file.getVideoBitsPerPixel() + file.getVideoFourCC().size() + file.getVideoStreamRate() +
           file.getVideoStreamScale() + static_cast<uint64_t>(file.getVideoFrameRate() > 0) +
           static_cast<uint64_t>(file.getVideoTotalFrames()) + file.getVideoFramesRead() + file.isEndOfVideo() +
           file.getAudioSampleRate() + file.getAudioBitsPerSample() + file.getAudioNumberOfChannels() +
           file.getAudioChunkSize() + file.getAudioBytesRead() + file.getAudioTotalBytes() + file.isEndOfAudio() +
           file.isAudioCompressed() + file.isVideoCompressed() + file.getColormap().size() +
           std::string(file.getErrorMsg()).size() + file.getErrorCode();
}

void readVideo(avi::File& file) {
    const int64_t total = file.getVideoTotalFrames();
    const int64_t frames = std::min(total, MAX_FRAMES);
    // One buffer for every frame and form: the largest size the getters name,
    // for every frame read below; the reads in sequence go two frames on.
    uint64_t size = std::max<uint64_t>(file.getRGB24VideoFrameSize(), file.getIndexedVideoFrameSize());
    for (int64_t n = 0; n < frames + 2; ++n) size = std::max<uint64_t>(size, file.getRawVideoFrameSize(long(n)));
    file.clearError();
    if (size > MAX_BUFFER_BYTES) return;
    // Exactly `size` bytes: the sanitizer's redzone starts right behind.
    std::unique_ptr<char[]> buffer(new char[size]);

    for (int64_t n = 0; n < frames; ++n) {
        file.readVideoFrame(buffer.get(), long(n));
        file.clearError();
        file.readRGB24VideoFrame(buffer.get(), long(n));
        file.clearError();
        file.readIndexedVideoFrame(buffer.get(), long(n));
        file.clearError();
    }
    // The ends of the numbering: past the last frame, and the numbers below -1
    // that a signed comparison lets through.
    file.readVideoFrame(buffer.get(), long(total));
    file.readVideoFrame(buffer.get(), -2);
    file.clearError();
    (void)file.getRawVideoFrameSize(-1);
    (void)file.getRawVideoFrameSize(long(total));
    file.clearError();

    // In sequence, one read past the end each time.
    file.resetVideo();
    for (int64_t n = 0; n <= frames && !file.isEndOfVideo(); ++n) file.readVideoFrame(buffer.get());
    file.readVideoFrame(buffer.get());
    file.clearError();
    file.resetVideo();
    for (int64_t n = 0; n <= frames && !file.isEndOfVideo(); ++n) {
        file.readRGB24VideoFrame(buffer.get());
        file.clearError();
    }
    file.readRGB24VideoFrame(buffer.get());
    file.clearError();
    file.resetVideo();
}

void readAudio(avi::File& file) {
    std::unique_ptr<char[]> buffer(new char[4099]);
    uint64_t delivered = 0;
    file.clearError();
    file.readAudio(buffer.get(), 0);
    for (unsigned i = 0; i < MAX_AUDIO_READS && delivered < MAX_AUDIO_BYTES; ++i) {
        const unsigned long count = AUDIO_READ_SIZES[i % 4];
        const bool atEnd = file.isEndOfAudio();
        file.readAudio(buffer.get(), count);
        delivered += count;
        if (atEnd || file.getErrorCode() != avi::errors::NO_ERROR) break;
    }
    file.clearError();
    file.resetAudio();
    file.readAudio(buffer.get(), 4099);
    file.clearError();
}

} // namespace

void readEverything(const char* path) {
    avi::File file;
    if (file.open(path, "rb")) {
        touchGetters(file);
        if (file.hasVideo()) readVideo(file);
        readAudio(file);
        touchGetters(file);
    }
    file.close();

    avi::File info;
    if (info.openToGetInformation(path)) touchGetters(info);
}
