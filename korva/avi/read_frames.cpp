#include <korva/avi/file.h>

#include <algorithm>
#include <cstring>

namespace avi {

void File::readVideoFrame(char* buffer) { readVideoFrame(buffer, INVALID_FRAME_INDEX); }

const IndexEntry* File::selectVideoFrame(long frame, uint32_t& count) {
    clearError();
    if (videoIndex->empty()) {
        setError(errors::VIDEO_CHUNKS_MISSING);
        return nullptr;
    }
    uint64_t number;
    if (frame == INVALID_FRAME_INDEX) {
        if (isEndOfVideo()) return nullptr;
        number = videoFramesRead;
    } else {
        if (frame >= getVideoTotalFrames()) return nullptr;
        if (frame < 0) {
            setError(errors::VIDEO_CHUNKS_MISSING);
            return nullptr;
        }
        number = static_cast<uint64_t>(frame);
    }
    // The total can disagree with the list only when an object is reused for a
    // second file; never index past the list.
    if (number >= videoIndex->size()) {
        setError(errors::VIDEO_CHUNKS_MISSING);
        return nullptr;
    }
    const IndexEntry& entry = (*videoIndex)[number];
    // Uncompressed frames all have the size of the first one. A caller sizes
    // the buffer from this frame's entry and the geometry; a damaged file whose
    // first frame is larger than both would run past such a buffer.
    count = isVideoCompressed() ? entry.getSize() : videoFrameSize;
    if (count > entry.getSize() && count > getRGB24VideoFrameSize() && count > getIndexedVideoFrameSize()) {
        setError(errors::VIDEO_CHUNKS_MISSING);
        return nullptr;
    }
    return &entry;
}

void File::readVideoFrame(char* buffer, long frame) {
    uint32_t count = 0;
    const IndexEntry* entry = selectVideoFrame(frame, count);
    if (entry == nullptr) return;
    if (readAt(buffer, count, entry->getFilePosition()) != count) {
        setError(errors::FREAD_FAILED);
        return;
    }
    if (topDownFrames && !isVideoCompressed()) convertFrameToBottomUp(buffer);
    if (frame == INVALID_FRAME_INDEX) ++videoFramesRead;
}

void File::readRGB24VideoFrame(char* buffer) { readRGB24VideoFrame(buffer, INVALID_FRAME_INDEX); }

void File::readRGB24VideoFrame(char* buffer, long frame) {
    if (isVideoCompressed()) {
        setError(errors::COMPRESSED_VIDEO_UNSUPPORTED);
        return;
    }
    if (readRGB24InStrips(buffer, frame)) return;
    readVideoFrame(buffer, frame);
    if (getErrorCode() != errors::NO_ERROR) return;
    const bool padded = getRgb24PadLength() != 0;
    switch (getVideoBitsPerPixel()) {
    case 2:
    case 4:
    case 8:
        if (padded) indexedToRgb24WPad(buffer);
        else indexedToRgb24(buffer);
        break;
    case 16:
        if (padded) rgb555ToRgb24WPad(buffer);
        else rgb555ToRgb24(buffer);
        break;
    case 32:
        if (padded) rgb32ToRgb24WPad(buffer);
        else rgb32ToRgb24(buffer);
        break;
    default:
        // 24 bits is stored as RGB24 already; other depths come out as stored.
        break;
    }
}

void File::readIndexedVideoFrame(char* buffer, long frame) {
    if (isVideoCompressed()) {
        setError(errors::COMPRESSED_VIDEO_UNSUPPORTED);
        return;
    }
    readVideoFrame(buffer, frame);
    if (getErrorCode() == errors::NO_ERROR && getVideoBitsPerPixel() != 8) setError(errors::VIDEO_NOT_INDEXED);
}

void File::readAudio(char* buffer, unsigned long count) {
    if (isAudioCompressed()) {
        setError(errors::COMPRESSED_AUDIO_UNSUPPORTED);
        return;
    }
    if (isEndOfAudio()) return;
    if (audioIndex->empty()) {
        setError(errors::AUDIO_CHUNKS_MISSING);
        return;
    }
    if (count == 0) return;

    unsigned long remaining = count;
    for (;;) {
        // The entries can run out before the stated total is reached.
        if (audioChunkIndex >= audioIndex->size()) {
            setError(errors::AUDIO_CHUNKS_MISSING);
            return;
        }
        const IndexEntry& entry = (*audioIndex)[audioChunkIndex];
        const uint64_t left = entry.getSize() > audioChunkOffset ? entry.getSize() - audioChunkOffset : 0;
        const uint64_t step = std::min<uint64_t>(left, remaining);
        char* target = buffer + (count - remaining);
        if (readAt(target, step, entry.getFilePosition() + audioChunkOffset) != step) {
            setError(errors::AUDIO_CHUNKS_MISSING);
            return;
        }
        audioBytesRead += step;
        audioChunkOffset += step;
        remaining -= step;
        if (isEndOfAudio()) {
            // The end of the audio pads the request with zero bytes.
            std::memset(buffer + (count - remaining), 0, remaining);
            return;
        }
        if (audioChunkOffset >= entry.getSize()) {
            audioChunkOffset = 0;
            ++audioChunkIndex;
        }
        if (remaining == 0) return;
    }
}

uint32_t File::getRawVideoFrameSize(long frame) {
    if (frame >= getVideoTotalFrames()) return 0;
    if (videoIndex->empty() || frame < 0 || static_cast<uint64_t>(frame) >= videoIndex->size()) {
        setError(errors::VIDEO_CHUNKS_MISSING);
        return 0;
    }
    return (*videoIndex)[static_cast<uint64_t>(frame)].getSize();
}

void File::resetVideo() { videoFramesRead = 0; }

void File::resetAudio() {
    audioChunkIndex = 0;
    audioBytesRead = 0;
    audioChunkOffset = 0;
}

void File::errorIfWrongNumFrameForRGB24() {
    if (bitmapHeader.biBitCount != 24 || bitmapHeader.biCompression != 0) return;
    const uint32_t bytes = bitmapHeader.biWidth * bitmapHeader.biHeight * (3u * mainHeader.dwTotalFrames);
    if (bytes > riffSize) setError(errors::INVALID_NUM_FRAMES);
}

} // namespace avi
