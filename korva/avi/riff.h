#ifndef KORVA_AVI_RIFF_H
#define KORVA_AVI_RIFF_H

// Little-endian number access and chunk-size rules of the RIFF container.
// The machine is little-endian, so a number is its bytes read in place.

#include <cstdint>
#include <cstring>

namespace avi {

inline uint16_t readLE16(const void* p) {
    uint16_t v;
    std::memcpy(&v, p, sizeof v);
    return v;
}

inline uint32_t readLE32(const void* p) {
    uint32_t v;
    std::memcpy(&v, p, sizeof v);
    return v;
}

inline uint64_t readLE64(const void* p) {
    uint64_t v;
    std::memcpy(&v, p, sizeof v);
    return v;
}

// Chunks are padded to even lengths. The rounding is done in 32 bits on purpose,
// so 0xFFFFFFFF becomes 0: callers must not treat the result as a bound.
inline uint32_t evenChunkSize(const void* sizeField) {
    const uint32_t size = readLE32(sizeField);
    return size + (size & 1u);
}

// Serialise a number into a buffer shared by the whole process, followed by a
// zero byte so that a four-character code comes back as a C string.
// Not thread safe: the buffers are shared by every File object.
inline const char* toLE16(uint16_t v) {
    static char buffer[sizeof v + 1];
    std::memcpy(buffer, &v, sizeof v);
    buffer[sizeof v] = 0;
    return buffer;
}

inline const char* toLE32(uint32_t v) {
    static char buffer[sizeof v + 1];
    std::memcpy(buffer, &v, sizeof v);
    buffer[sizeof v] = 0;
    return buffer;
}

inline const char* toLE64(uint64_t v) {
    static char buffer[sizeof v + 1];
    std::memcpy(buffer, &v, sizeof v);
    buffer[sizeof v] = 0;
    return buffer;
}

inline bool isFourCC(const void* p, const char* fourcc) {
    return std::memcmp(p, fourcc, 4) == 0;
}

} // namespace avi

#endif
