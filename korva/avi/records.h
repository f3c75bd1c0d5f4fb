#ifndef KORVA_AVI_RECORDS_H
#define KORVA_AVI_RECORDS_H

#include <cstdint>

namespace avi {

// One chunk of a stream: its data lies at base + offset and holds size bytes.
struct IndexEntry {
    IndexEntry(uint32_t offset, uint32_t size, uint64_t base) : offset(offset), size(size), base(base) {}
    uint32_t getOffset() const { return offset; }
    uint32_t getSize() const { return size; }
    uint64_t getBase() const { return base; }
    uint64_t getFilePosition() const { return base + offset; }

    uint32_t offset;
    uint32_t size;
    uint64_t base;
};

// One entry of an OpenDML super index: where a standard index chunk lies.
struct SuperIndexEntry {
    SuperIndexEntry(uint64_t offset, uint32_t size, uint32_t duration)
        : offset(offset), size(size), duration(duration) {}
    uint64_t getOffset() const { return offset; }
    uint32_t getSize() const { return size; }
    uint32_t getDuration() const { return duration; }

    uint64_t offset;
    uint32_t size;
    uint32_t duration;
};

struct tagRGBQUAD {
    uint8_t rgbBlue;
    uint8_t rgbGreen;
    uint8_t rgbRed;
    uint8_t rgbReserved;
};

// The 12-byte head shared by OpenDML super and standard indexes, as on disk.
#pragma pack(push, 1)
struct aviindex_chunk {
    uint16_t wLongsPerEntry;
    uint8_t bIndexSubType;
    uint8_t bIndexType;
    uint32_t nEntriesInUse;
    uint32_t dwChunkId;
};
#pragma pack(pop)
static_assert(sizeof(aviindex_chunk) == 12, "aviindex_chunk must match its on-disk size");

enum : uint8_t {
    AVI_INDEX_OF_INDEXES = 0x00,
    AVI_INDEX_OF_CHUNKS = 0x01,
    AVI_INDEX_IS_DATA = 0x80,
    AVI_INDEX_SUB_DEFAULT = 0x00,
    AVI_INDEX_SUB_2FIELD = 0x01
};

enum : uint32_t {
    AVIF_HASINDEX = 0x10,
    AVIF_MUSTUSEINDEX = 0x20,
    AVIF_ISINTERLEAVED = 0x100,
    AVIF_TRUSTCKTYPE = 0x800,
    AVIF_WASCAPTUREFILE = 0x10000,
    AVIF_COPYRIGHTED = 0x20000,
    AVISF_DISABLED = 0x1
};

// "avih" payload.
struct MainAVIHeader {
    uint32_t dwMicroSecPerFrame;
    uint32_t dwMaxBytesPerSec;
    uint32_t dwPaddingGranularity;
    uint32_t dwFlags;
    uint32_t dwTotalFrames;
    uint32_t dwInitialFrames;
    uint32_t dwStreams;
    uint32_t dwSuggestedBufferSize;
    uint32_t dwWidth;
    uint32_t dwHeight;
    uint32_t dwReserved[4];
};

// In-memory form of a "strh" payload, one per stream number.
struct AVIStreamHeader {
    char fccType[5];
    char fccHandler[5];
    uint32_t dwFlags;
    uint32_t dwPriorityLanguage;
    uint32_t dwInitialFrames;
    uint32_t dwScale;
    uint32_t dwRate;
    uint32_t dwStart;
    uint32_t dwLength;
    uint32_t dwSuggestedBufferSize;
    uint32_t dwQuality;
    uint32_t dwSampleSize;
    uint32_t rcFrame[4];
    bool disabled;
    bool videoPaletteChanges;
};

// "strf" payload of an audio stream.
struct WAVEFORMATEX {
    uint16_t wFormatTag;
    uint16_t nChannels;
    uint32_t nSamplesPerSec;
    uint32_t nAvgBytesPerSec;
    uint16_t nBlockAlign;
    uint16_t wBitsPerSample;
    uint16_t cbSize;
};

// "strf" payload of a video stream, ahead of its colormap.
struct BITMAPINFOHEADER {
    uint32_t biSize;
    uint32_t biWidth;
    uint32_t biHeight;
    uint16_t biPlanes;
    uint16_t biBitCount;
    uint32_t biCompression;
    uint32_t biSizeImage;
    uint32_t biXPelsPerMeter;
    uint32_t biYPelsPerMeter;
    uint32_t biClrUsed;
    uint32_t biClrImportant;
};

} // namespace avi

#endif
