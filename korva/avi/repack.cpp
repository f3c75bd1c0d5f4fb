#include <korva/avi/file.h>

#include <algorithm>
#include <cstring>

#include <korva/avi/repack_kernels.h>
#include <korva/avi/riff.h>

// Stored frames become bottom-up RGB24 inside the caller's buffer. A conversion
// that grows the data runs from the end of the buffer down, one that shrinks it
// from the start up, so that no source byte is overwritten before it is read.
//
// The fast paths are used only where the walk's order cannot matter (the output
// of a pixel never lands on the source of a pixel still to come), so they give
// the walk's bytes exactly.

namespace avi {

namespace {

const uint64_t BLOCK_PIXELS = 1024;

using Lut = uint8_t[256][3];

// Blue, green, red of a colormap entry; indexes past the colormap are black.
void buildColormapLut(const std::vector<tagRGBQUAD>& colormap, Lut& lut) {
    std::memset(lut, 0, sizeof(Lut));
    const size_t entries = std::min<size_t>(colormap.size(), 256);
    for (size_t i = 0; i < entries; ++i) {
        lut[i][0] = colormap[i].rgbBlue;
        lut[i][1] = colormap[i].rgbGreen;
        lut[i][2] = colormap[i].rgbRed;
    }
}

void indexedRun(const uint8_t* __restrict src, uint8_t* __restrict out, uint64_t pixels, const Lut& lut) {
    for (uint64_t i = 0; i < pixels; ++i) {
        const uint8_t* colour = lut[src[i]];
        out[3 * i] = colour[0];
        out[3 * i + 1] = colour[1];
        out[3 * i + 2] = colour[2];
    }
}

// Indexes at src + j to colours at out + 3*j, from the last pixel down in
// blocks copied aside first. In one buffer this needs out >= src, which keeps
// every write above every unread index.
void indexedDownInBlocks(const uint8_t* src, uint8_t* out, uint64_t pixels, const Lut& lut) {
    alignas(16) uint8_t block[BLOCK_PIXELS];
    for (uint64_t end = pixels; end > 0;) {
        const uint64_t begin = end > BLOCK_PIXELS ? end - BLOCK_PIXELS : 0;
        std::memcpy(block, src + begin, end - begin);
        indexedRun(block, out + 3 * begin, end - begin, lut);
        end = begin;
    }
}

} // namespace

// --- Sizes -------------------------------------------------------------------------

uint32_t File::getIndexedPadLength() {
    const uint32_t rest = getVideoWidth() % 4u;
    return rest != 0 ? 4u - rest : 0u;
}

uint32_t File::getRgb24PadLength() {
    const uint32_t rest = (3u * getVideoWidth()) % 4u;
    return rest != 0 ? 4u - rest : 0u;
}

uint32_t File::getRgb555PadLength() { return (getVideoWidth() & 1u) ? 2u : 0u; }

uint32_t File::getRGB24VideoFrameSize() {
    const uint32_t w = getVideoWidth();
    const uint32_t h = getVideoHeight();
    const uint16_t depth = getVideoBitsPerPixel();
    const uint32_t computed = 3u * w * h + h * getRgb24PadLength();
    if (fileMode == 0) {
        if (depth == 2 || depth == 4 || depth == 8 || depth == 16) return computed;
        if (depth == 24 || depth == 32) return videoFrameSize;
        return 0;
    }
    return depth == 24 ? computed : 0;
}

uint32_t File::getIndexedVideoFrameSize() {
    if (getVideoBitsPerPixel() != 8) return 0;
    const uint32_t w = getVideoWidth();
    const uint32_t h = getVideoHeight();
    return w * h + h * getIndexedPadLength();
}

uint64_t File::frameBufferExtent() { return std::max<uint64_t>(videoFrameSize, getRGB24VideoFrameSize()); }

// --- 16-bit 5-5-5 -------------------------------------------------------------------

void File::rgb555ToRgb24(char* buffer) {
    uint8_t* frame = reinterpret_cast<uint8_t*>(buffer);
    const uint64_t outSize = getRGB24VideoFrameSize();
    const uint64_t pixels = std::min<uint64_t>(videoFrameSize / 2, outSize / 3);
    if (pixels == 0) return;
    const uint64_t srcBase = videoFrameSize - 2 * pixels;
    const uint64_t outBase = outSize - 3 * pixels;
    // A frame larger than its geometry keeps the walk's exact pixel order.
    if (outBase >= srcBase) repack::rgb555Run(frame + srcBase, frame + outBase, pixels);
    else repack::rgb555RunPlain(frame + srcBase, frame + outBase, pixels);
}

void File::rgb555ToRgb24WPad(char* buffer) {
    uint8_t* frame = reinterpret_cast<uint8_t*>(buffer);
    const uint64_t w = getVideoWidth();
    const uint64_t h = getVideoHeight();
    const uint64_t outPad = getRgb24PadLength();
    const uint64_t outRow = 3 * w + outPad;
    if (h * outRow != getRGB24VideoFrameSize()) return; // geometry past 4 GiB
    // The source row stride counts the pad in pixels, not bytes: an odd width
    // steps 2 bytes further per row than its stored rows. The last rows of such
    // a frame come from behind the stored frame; bytes beyond the buffer read 0.
    const uint64_t srcStride = 2 * (w + getRgb555PadLength());
    const uint64_t extent = frameBufferExtent();
    // In row order from the last pixel to the first, exactly as stored rows
    // would be walked, since with this stride outputs may overtake sources.
    for (uint64_t r = h; r-- > 0;) {
        for (uint64_t c = w; c-- > 0;) {
            const uint64_t at = r * srcStride + 2 * c;
            const uint16_t word = at + 1 < extent ? readLE16(frame + at) : at < extent ? frame[at] : 0;
            repack::rgb555Pixel(word, frame + r * outRow + 3 * c);
        }
    }
}

// --- 32-bit ----------------------------------------------------------------------------

void File::rgb32ToRgb24(char* buffer) {
    uint8_t* frame = reinterpret_cast<uint8_t*>(buffer);
    const uint64_t whole = videoFrameSize / 4;
    repack::rgb32Run(frame, frame, whole);
    // A stored size that is no multiple of 4 leaves a partial last pixel; its
    // bytes past the buffer are not read.
    if (videoFrameSize % 4 != 0) {
        const uint64_t extent = frameBufferExtent();
        for (uint64_t k = 0; k < 3 && 4 * whole + k < extent; ++k) frame[3 * whole + k] = frame[4 * whole + k];
    }
}

void File::rgb32ToRgb24WPad(char* buffer) {
    uint8_t* frame = reinterpret_cast<uint8_t*>(buffer);
    const uint64_t w = getVideoWidth();
    const uint64_t h = getVideoHeight();
    const uint64_t outRow = 3 * w + getRgb24PadLength();
    const uint64_t extent = frameBufferExtent();
    for (uint64_t r = 0; r < h && 4 * w * (r + 1) <= extent; ++r) repack::rgb32Run(frame + 4 * w * r, frame + outRow * r, w);
}

// --- Colour indexes ----------------------------------------------------------------------

void File::indexedToRgb24(char* buffer) {
    uint8_t* frame = reinterpret_cast<uint8_t*>(buffer);
    Lut lut;
    buildColormapLut(colormap, lut);
    const uint64_t outSize = getRGB24VideoFrameSize();
    const uint64_t pixels = std::min<uint64_t>(videoFrameSize, outSize / 3);
    if (pixels == 0) return;
    const uint64_t srcBase = videoFrameSize - pixels;
    const uint64_t outBase = outSize - 3 * pixels;
    if (outBase >= srcBase) {
        indexedDownInBlocks(frame + srcBase, frame + outBase, pixels, lut);
        return;
    }
    for (uint64_t j = pixels; j-- > 0;) {
        const uint8_t* colour = lut[frame[srcBase + j]];
        uint8_t* out = frame + outBase + 3 * j;
        out[2] = colour[2];
        out[1] = colour[1];
        out[0] = colour[0];
    }
}

void File::indexedToRgb24WPad(char* buffer) {
    uint8_t* frame = reinterpret_cast<uint8_t*>(buffer);
    const uint64_t w = getVideoWidth();
    const uint64_t h = getVideoHeight();
    const uint64_t outRow = 3 * w + getRgb24PadLength();
    const uint64_t srcRow = w + getIndexedPadLength();
    if (h * outRow != getRGB24VideoFrameSize()) return; // geometry past 4 GiB
    Lut lut;
    buildColormapLut(colormap, lut);
    // Every source row lies at or below its output row, so rows may be done
    // whole, from the last row up.
    for (uint64_t r = h; r-- > 0;) indexedDownInBlocks(frame + r * srcRow, frame + r * outRow, w, lut);
}

// --- Read and repack by strips ------------------------------------------------------------

bool File::readRGB24InStrips(char* buffer, long frame) {
    const uint16_t depth = getVideoBitsPerPixel();
    if ((depth != 16 && depth != 32) || topDownFrames || getRgb24PadLength() != 0) return false;
    const uint64_t stored = videoFrameSize;
    const uint64_t outSize = getRGB24VideoFrameSize();
    // Only frames whose size matches their geometry; any other takes the
    // plain way with its exact walk.
    if (depth == 16 ? (stored % 2 != 0 || outSize != stored / 2 * 3) : stored % 4 != 0) return false;
    if (stored < 2 * STRIP_BYTES || stripBuffer == nullptr) return false;
    uint32_t count = 0;
    const IndexEntry* entry = selectVideoFrame(frame, count);
    // Nothing to read, or a frame cut short by the end of the file: the plain
    // way says so, or converts the buffer as it is, exactly as always.
    if (entry == nullptr) return getErrorCode() != errors::NO_ERROR;
    const uint64_t position = entry->getFilePosition();
    if (count != stored || position > fileSize || stored > fileSize - position) return false;
    uint8_t* bytes = reinterpret_cast<uint8_t*>(buffer);
    for (uint64_t begin = 0; begin < stored; begin += STRIP_BYTES) {
        const uint64_t length = std::min<uint64_t>(stored - begin, STRIP_BYTES);
        if (depth == 16) {
            // The frame grows by half: each strip lands in the scratch strip,
            // hot in cache, and is converted from there to its place.
            if (readAt(stripBuffer, length, position + begin) != length) {
                setError(errors::FREAD_FAILED);
                return true;
            }
            repack::rgb555Run(stripBuffer, bytes + begin / 2 * 3, length / 2);
        } else {
            // The same for a frame that shrinks by a quarter. The walk in place
            // leaves the stored bytes in the last quarter, so they are put there.
            if (readAt(stripBuffer, length, position + begin) != length) {
                setError(errors::FREAD_FAILED);
                return true;
            }
            repack::rgb32Run(stripBuffer, bytes + begin / 4 * 3, length / 4);
            const uint64_t keepFrom = std::max(begin, stored / 4 * 3);
            if (keepFrom < begin + length) {
                std::memcpy(bytes + keepFrom, stripBuffer + (keepFrom - begin), begin + length - keepFrom);
            }
        }
    }
    if (frame == INVALID_FRAME_INDEX) ++videoFramesRead;
    return true;
}

// --- Row order ------------------------------------------------------------------------------

void File::convertFrameToBottomUp(char* frame) {
    const uint32_t h = getVideoHeight();
    if (rowBuffer == nullptr || h == 0) return;
    const uint32_t rowSize = videoFrameSize / h;
    if (rowSize == 0 || rowSize > rowBufferSize) return;
    for (uint32_t i = 0; i < h / 2; ++i) {
        char* top = frame + uint64_t(i) * rowSize;
        char* bottom = frame + uint64_t(h - 1 - i) * rowSize;
        std::memcpy(rowBuffer, top, rowSize);
        std::memcpy(top, bottom, rowSize);
        std::memcpy(bottom, rowBuffer, rowSize);
    }
}

} // namespace avi
