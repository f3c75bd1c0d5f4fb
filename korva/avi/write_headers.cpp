#include <korva/avi/file.h>

#include <cmath>
#include <cstdio>
#include <cstring>

#include <boost/numeric/conversion/cast.hpp>

#include <korva/avi/riff.h>

// The header of a written file is not known until its last chunk is written.
// Configuration therefore fixes the header's length, the writer skips that many
// bytes of the empty file and streams chunks behind the hole, and close goes
// back to offset 0 and writes the whole header once.

namespace avi {

namespace {

const uint32_t VIDEO_STRL_BASE = 116;  // "strl", strh chunk (8 + 56), strf head, BITMAPINFOHEADER
const uint32_t AUDIO_STRL_BASE = 204;  // "strl", strh chunk (8 + 56), strf head, 128-byte format block
const uint32_t HDRL_FIXED = 84;        // "hdrl", avih chunk (8 + 56), two strl list heads
const uint32_t AUDIO_FORMAT_BLOCK = 128;
const uint32_t STREAM_HEADER_BYTES = 56;
const uint32_t MAIN_HEADER_BYTES = 56;
const uint32_t BITMAP_HEADER_BYTES = 40;
const uint32_t WAVE_HEADER_BYTES = 18;

// The low 32 bits of a truncation to 64 bits. Values that have no 64-bit
// truncation (infinities, NaN, beyond 2^63) give 0 rather than undefined results.
uint32_t truncatedLow32(double value) {
    if (!(std::fabs(value) < 9.2e18)) return 0;
    return static_cast<uint32_t>(static_cast<uint64_t>(static_cast<int64_t>(value)));
}

void put(char*& at, const char* bytes, size_t count) {
    std::memcpy(at, bytes, count);
    at += count;
}

void put32(char*& at, uint32_t v) { put(at, toLE32(v), 4); }
void put16(char*& at, uint16_t v) { put(at, toLE16(v), 2); }

// The fields both kinds of stream header write as zero, and the two codes.
// Scale, rate, length, buffer size and sample size are the caller's.
void clearStreamHeader(AVIStreamHeader& s, const char* type, const char* handler) {
    std::memcpy(s.fccType, type, 5);
    std::memcpy(s.fccHandler, handler, 5);
    s.dwFlags = 0;
    s.dwPriorityLanguage = 0;
    s.dwInitialFrames = 0;
    s.dwStart = 0;
    s.dwQuality = 0;
    std::memset(s.rcFrame, 0, sizeof s.rcFrame);
}

} // namespace

// --- Configuration -----------------------------------------------------------------

void File::setNumSuperIndexEntries(uint64_t entries) { numSuperIndexEntries = entries; }

void File::setVideoInfo(unsigned width, unsigned height, double frameRate) {
    setVideoInfo(width, height, frameRate, std::string());
}

void File::setVideoInfo(unsigned width, unsigned height, double frameRate, const std::string& fourcc) {
    setVideoInfo(width, height, frameRate, fourcc, DEFAULT_BITS_PER_PIXEL);
}

void File::setVideoInfo(unsigned width, unsigned height, double frameRate, const std::string& fourcc,
                        unsigned bitsPerPixel) {
    videoStreamIndex = audioPresent ? 1 : 0;
    mainHeader.dwWidth = width;
    mainHeader.dwHeight = height;
    bitmapHeader.biWidth = width;
    bitmapHeader.biHeight = height;
    switch (bitsPerPixel) {
    case 2:
    case 4:
    case 16:
    case 32:
        bitmapHeader.biBitCount = static_cast<uint16_t>(bitsPerPixel);
        videoFrameSize = 0;
        break;
    case 24:
        bitmapHeader.biBitCount = 24;
        videoFrameSize = getRGB24VideoFrameSize();
        break;
    case 8:
        bitmapHeader.biBitCount = 8;
        videoFrameSize = getIndexedVideoFrameSize();
        break;
    default:
        setError(errors::INVALID_BITS_PER_PIXEL);
        return;
    }
    mainHeader.dwMicroSecPerFrame = truncatedLow32(1000000.0 / frameRate);
    streamHeaders[videoStreamIndex].dwRate = truncatedLow32(1000000.0 * frameRate);
    videoPresent = true;
    videoIndex->reserve(1000);
    if (fourcc.size() == 4) {
        std::memcpy(&bitmapHeader.biCompression, fourcc.data(), 4);
        std::snprintf(videoChunkId, sizeof videoChunkId, "0%ddc", static_cast<int>(videoStreamIndex));
    } else {
        bitmapHeader.biCompression = 0;
        std::snprintf(videoChunkId, sizeof videoChunkId, "0%ddb", static_cast<int>(videoStreamIndex));
    }
    initWriter();
}

void File::setAudioInfo(double sampleRate, unsigned bitsPerSample, unsigned channels, unsigned chunkBytes) {
    audioChunkDataSize = chunkBytes;
    audioChunkSize = (chunkBytes + 1u) & ~1u;
    audioStreamIndex = videoPresent ? 1 : 0;
    audioPresent = true;
    std::snprintf(audioChunkId, sizeof audioChunkId, "0%dwb", static_cast<int>(audioStreamIndex));
    audioIndex->reserve(1000);
    waveHeader.wBitsPerSample = static_cast<uint16_t>(bitsPerSample);
    waveHeader.nChannels = static_cast<uint16_t>(channels);
    AVIStreamHeader& stream = streamHeaders[audioStreamIndex];
    stream.dwSampleSize = (bitsPerSample * channels) >> 3;
    // dwRate / dwScale carries a fractional rate to the resolution of the pair.
    stream.dwScale = truncatedLow32(4294967295.0 / sampleRate);
    stream.dwRate = truncatedLow32(static_cast<double>(stream.dwScale) * sampleRate);
    waveHeader.nSamplesPerSec = truncatedLow32(sampleRate + 0.5);
    if (!videoPresent) mainHeader.dwMicroSecPerFrame = truncatedLow32(1000000.0 / sampleRate);
    initWriter();
}

void File::setColormap(const std::vector<tagRGBQUAD>& colors) {
    if (fileMode != 1) {
        setError(errors::COLORMAP_DURING_READ);
        return;
    }
    if (!colormap.empty()) {
        setError(errors::COLORMAP_NOT_EMPTY);
        return;
    }
    if (colors.size() * sizeof(tagRGBQUAD) > 1027) {
        setError(errors::COLORMAP_TOO_LARGE);
        return;
    }
    colormap = colors;
}

void File::initWriter() {
    const uint32_t headerLength = getHeaderLength();
    moviPosition = uint64_t(headerLength) + 28;
    fseeko(fileHandle, static_cast<off_t>(uint64_t(headerLength) + 32), SEEK_SET);
}

void File::resetWriter() {
    audioIndex->clear();
    videoIndex->clear();
    videoSuperIndex->clear();
    audioSuperIndex->clear();
    legacyIndexWritten = false;
    firstRiffEnd = 0;
    firstRiffVideoEntries = 0;
    firstRiffAudioEntries = 0;
    firstRiffMoviBytes = 0;
    extraVideoEntries = 0;
    moviPosition = 0;
    curMoviBytes = 0;
    lastVideoIndexBase = 0;
    lastAudioIndexBase = 0;
    colormap.clear();
}

// --- Lengths ---------------------------------------------------------------------------

uint32_t File::getOpenDMLHeaderLength() { return 16; }

uint32_t File::getStrlLength(uint8_t present, uint32_t baseLength, uint64_t entries) {
    return present * (baseLength + getOpenDMLSuperIndexLength(entries) + 8u);
}

uint32_t File::getHeaderLength() {
    return getStrlLength(videoPresent, VIDEO_STRL_BASE, numSuperIndexEntries) +
           getStrlLength(audioPresent, AUDIO_STRL_BASE, numSuperIndexEntries) + HDRL_FIXED +
           getOpenDMLHeaderLength() + 8u;
}

uint32_t File::getMoviLength() {
    uint32_t length = firstRiffMoviBytes + 4u;
    if (videoPresent) length += 8u + getOpenDMLStandardIndexLength(firstRiffVideoEntries);
    if (audioPresent) length += 8u + getOpenDMLStandardIndexLength(firstRiffAudioEntries);
    return length;
}

// --- Header records -------------------------------------------------------------------------

void File::populateMainHeader() {
    mainHeader.dwMaxBytesPerSec = 0;
    mainHeader.dwPaddingGranularity = 0;
    mainHeader.dwFlags = AVIF_HASINDEX | AVIF_TRUSTCKTYPE;
    mainHeader.dwTotalFrames = videoPresent ? firstRiffVideoEntries + extraVideoEntries : firstRiffAudioEntries;
    mainHeader.dwInitialFrames = 0;
    mainHeader.dwStreams = (videoPresent ? 1u : 0u) + (audioPresent ? 1u : 0u);
    mainHeader.dwSuggestedBufferSize = videoPresent ? videoFrameSize : audioChunkSize;
    if (!videoPresent) {
        mainHeader.dwWidth = 0;
        mainHeader.dwHeight = 0;
    }
    std::memset(mainHeader.dwReserved, 0, sizeof mainHeader.dwReserved);
}

void File::populateVideoStreamHeader() {
    AVIStreamHeader& s = streamHeaders[videoStreamIndex];
    clearStreamHeader(s, "vids", "DIB ");
    s.dwScale = 1000000;
    s.dwLength = firstRiffVideoEntries + extraVideoEntries;
    s.dwSuggestedBufferSize = videoFrameSize;
    s.dwSampleSize = 0;
}

void File::populateAudioStreamHeader() {
    AVIStreamHeader& s = streamHeaders[audioStreamIndex];
    clearStreamHeader(s, "auds", "    ");
    // Only the first RIFF chunk's audio is counted here, while the video total
    // covers every RIFF chunk.
    s.dwLength = s.dwSampleSize != 0 ? (firstRiffAudioEntries * audioChunkDataSize) / s.dwSampleSize : 0;
    s.dwSuggestedBufferSize = audioChunkDataSize;
}

void File::populateBitmapHeader() {
    bitmapHeader.biSize = BITMAP_HEADER_BYTES;
    bitmapHeader.biWidth = mainHeader.dwWidth;
    bitmapHeader.biHeight = mainHeader.dwHeight;
    bitmapHeader.biPlanes = 1;
    bitmapHeader.biSizeImage = videoFrameSize;
    bitmapHeader.biXPelsPerMeter = 0;
    bitmapHeader.biYPelsPerMeter = 0;
    bitmapHeader.biClrUsed = static_cast<uint32_t>(colormap.size());
    bitmapHeader.biClrImportant = 0;
}

void File::populateWaveHeader() {
    waveHeader.wFormatTag = 1;
    waveHeader.nBlockAlign = static_cast<uint16_t>(streamHeaders[audioStreamIndex].dwSampleSize);
    waveHeader.nAvgBytesPerSec = uint32_t(waveHeader.nBlockAlign) * waveHeader.nSamplesPerSec;
    waveHeader.cbSize = 0;
}

void File::copyMainHeader2Buf(char* buffer) {
    const uint32_t* words = &mainHeader.dwMicroSecPerFrame;
    for (uint32_t i = 0; i < MAIN_HEADER_BYTES / 4; ++i) put32(buffer, words[i]);
}

void File::copyStreamHeader2Buf(char* buffer, unsigned int stream) {
    const AVIStreamHeader& s = streamHeaders[stream % MAX_STREAMS];
    put(buffer, s.fccType, 4);
    put(buffer, s.fccHandler, 4);
    put32(buffer, s.dwFlags);
    put32(buffer, s.dwPriorityLanguage);
    put32(buffer, s.dwInitialFrames);
    put32(buffer, s.dwScale);
    put32(buffer, s.dwRate);
    put32(buffer, s.dwStart);
    put32(buffer, s.dwLength);
    put32(buffer, s.dwSuggestedBufferSize);
    put32(buffer, s.dwQuality);
    put32(buffer, s.dwSampleSize);
    for (int i = 0; i < 4; ++i) put16(buffer, static_cast<uint16_t>(s.rcFrame[i]));
}

void File::copyBitmapHeader2Buf(char* buffer) {
    const BITMAPINFOHEADER& b = bitmapHeader;
    put32(buffer, b.biSize);
    put32(buffer, b.biWidth);
    put32(buffer, b.biHeight);
    put16(buffer, b.biPlanes);
    put16(buffer, b.biBitCount);
    put32(buffer, b.biCompression);
    put32(buffer, b.biSizeImage);
    put32(buffer, b.biXPelsPerMeter);
    put32(buffer, b.biYPelsPerMeter);
    put32(buffer, b.biClrUsed);
    put32(buffer, b.biClrImportant);
}

void File::copyWaveHeader2Buf(char* buffer) {
    const WAVEFORMATEX& w = waveHeader;
    put16(buffer, w.wFormatTag);
    put16(buffer, w.nChannels);
    put32(buffer, w.nSamplesPerSec);
    put32(buffer, w.nAvgBytesPerSec);
    put16(buffer, w.nBlockAlign);
    put16(buffer, w.wBitsPerSample);
    put16(buffer, w.cbSize);
}

// --- The header on disk -------------------------------------------------------------------------

void File::writeHeader() {
    fseeko(fileHandle, 0, SEEK_SET);
    const uint32_t headerLength = getHeaderLength();
    writeList("RIFF", firstRiffEnd - 8u, "AVI ");
    writeList("LIST", headerLength, "hdrl");
    writeChunk("avih", MAIN_HEADER_BYTES);
    populateMainHeader();
    char record[MAIN_HEADER_BYTES];
    copyMainHeader2Buf(record);
    if (!writeBytes(record, MAIN_HEADER_BYTES)) return;

    if (videoPresent && audioPresent) {
        if (videoStreamIndex == 0) {
            writeVideoStreamHeader();
            writeAudioStreamHeader();
        } else {
            writeAudioStreamHeader();
            writeVideoStreamHeader();
        }
    } else if (videoPresent) {
        writeVideoStreamHeader();
    } else {
        writeAudioStreamHeader();
    }
    writeOpenDMLHeader();

    // The room reserved for super index entries that were not used becomes one
    // JUNK chunk; its payload is the hole the writer skipped and stays unwritten.
    const uint32_t written = static_cast<uint32_t>(filePosition()) - 20u;
    if (written < headerLength) {
        const uint32_t room = headerLength - written;
        writeChunk("JUNK", room - 8u);
        fseeko(fileHandle, static_cast<off_t>(uint32_t(room - 8u)), SEEK_CUR);
    }
    writeList("LIST", getMoviLength(), "movi");
}

void File::writeVideoStreamHeader() {
    const uint32_t colormapBytes = static_cast<uint32_t>(colormap.size() * sizeof(tagRGBQUAD));
    const bool indexed = bitmapHeader.biBitCount == 8;
    if (indexed && colormapBytes == 0) {
        setError(errors::COLORMAP_REQUIRED);
        return;
    }
    const uint32_t base = VIDEO_STRL_BASE + (indexed ? colormapBytes : 0u);
    writeList("LIST", getStrlLength(videoPresent, base, videoSuperIndex->size()), "strl");
    writeChunk("strh", STREAM_HEADER_BYTES);
    populateVideoStreamHeader();
    char record[STREAM_HEADER_BYTES];
    copyStreamHeader2Buf(record, videoStreamIndex);
    if (!writeBytes(record, STREAM_HEADER_BYTES)) return;
    writeChunk("strf", BITMAP_HEADER_BYTES + (indexed ? colormapBytes : 0u));
    populateBitmapHeader();
    copyBitmapHeader2Buf(record);
    if (!writeBytes(record, BITMAP_HEADER_BYTES)) return;
    if (indexed && !writeBytes(colormap.data(), colormapBytes)) return;
    writeOpenDMLSuperIndex(videoChunkId, *videoSuperIndex);
}

void File::writeAudioStreamHeader() {
    writeList("LIST", getStrlLength(audioPresent, AUDIO_STRL_BASE, audioSuperIndex->size()), "strl");
    writeChunk("strh", STREAM_HEADER_BYTES);
    populateAudioStreamHeader();
    char record[AUDIO_FORMAT_BLOCK] = {};
    copyStreamHeader2Buf(record, audioStreamIndex);
    if (!writeBytes(record, STREAM_HEADER_BYTES)) return;
    writeChunk("strf", AUDIO_FORMAT_BLOCK);
    populateWaveHeader();
    std::memset(record, 0, sizeof record);
    copyWaveHeader2Buf(record);
    static_assert(WAVE_HEADER_BYTES <= AUDIO_FORMAT_BLOCK, "format fits its block");
    if (!writeBytes(record, AUDIO_FORMAT_BLOCK)) return;
    writeOpenDMLSuperIndex(audioChunkId, *audioSuperIndex);
}

void File::writeOpenDMLHeader() {
    writeList("LIST", getOpenDMLHeaderLength(), "odml");
    writeChunk("dmlh", 4);
    const uint32_t frames = videoPresent ? firstRiffVideoEntries + extraVideoEntries : 0u;
    writeBytes(toLE32(frames), 4);
}

} // namespace avi
