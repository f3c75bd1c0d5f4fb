#ifndef KORVA_VIDEO_BYTE_BLOCKS_H
#define KORVA_VIDEO_BYTE_BLOCKS_H

// Sixteen-byte blocks for the 8-bit kernels that only move bytes: splitting
// packed three-byte pixels into their channels, and transposing 16 x 16
// bytes. Written with the compiler's vector extensions, so that each build of
// a kernel (baseline or wider units) gets the shuffles its unit has.

#include <cstdint>
#include <cstring>

namespace korva::video {

typedef uint8_t Bytes16 __attribute__((vector_size(16)));

inline Bytes16 loadBytes16(const uint8_t* from) {
    Bytes16 v;
    std::memcpy(&v, from, sizeof v);
    return v;
}

inline void storeBytes16(uint8_t* to, Bytes16 v) { std::memcpy(to, &v, sizeof v); }

// Sixteen three-byte pixels (48 bytes) split by byte position: first[i] is
// byte 3i, second[i] byte 3i + 1, third[i] byte 3i + 2.
inline void splitThrees(const uint8_t* pixels, Bytes16& first, Bytes16& second, Bytes16& third) {
    const Bytes16 a = loadBytes16(pixels), b = loadBytes16(pixels + 16), c = loadBytes16(pixels + 32);
    // Bytes of a and b (index 16 up is b) in the first step, then the rest
    // from c (index 16 up) in the second.
    const Bytes16 firstAB = __builtin_shuffle(a, b, Bytes16{0, 3, 6, 9, 12, 15, 18, 21, 24, 27, 30, 0, 0, 0, 0, 0});
    const Bytes16 secondAB = __builtin_shuffle(a, b, Bytes16{1, 4, 7, 10, 13, 16, 19, 22, 25, 28, 31, 0, 0, 0, 0, 0});
    const Bytes16 thirdAB = __builtin_shuffle(a, b, Bytes16{2, 5, 8, 11, 14, 17, 20, 23, 26, 29, 0, 0, 0, 0, 0, 0});
    first = __builtin_shuffle(firstAB, c, Bytes16{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 17, 20, 23, 26, 29});
    second = __builtin_shuffle(secondAB, c, Bytes16{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 18, 21, 24, 27, 30});
    third = __builtin_shuffle(thirdAB, c, Bytes16{0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 16, 19, 22, 25, 28, 31});
}

// Two 16-byte blocks side by side, one in each half.
typedef uint8_t Bytes32 __attribute__((vector_size(32)));

// By reference: a 32-byte vector in a return value would depend on the build.
inline void loadBytes32(Bytes32& to, const uint8_t* from) { std::memcpy(&to, from, sizeof to); }

// Four rounds of pairing row i with row i + 8 element by element, the pairs
// taken from the low and the high halves of each block by the two masks:
// each round moves one bit of the row number into the byte position, so that
// after four byte c of row r of a 16-byte block is byte r of row c.
template <class Vector> void pairRowsFourTimes(Vector (&rows)[16], const Vector& low, const Vector& high) {
#pragma GCC unroll 4
    for (int round = 0; round < 4; ++round) {
        Vector paired[16];
#pragma GCC unroll 8
        for (int i = 0; i < 8; ++i) {
            paired[2 * i] = __builtin_shuffle(rows[i], rows[i + 8], low);
            paired[2 * i + 1] = __builtin_shuffle(rows[i], rows[i + 8], high);
        }
        std::memcpy(rows, paired, sizeof paired);
    }
}

// Transposes 16 x 16 bytes in place: byte c of row r goes to byte r of row c.
inline void transpose16x16(Bytes16 (&rows)[16]) {
    const Bytes16 low = {0, 16, 1, 17, 2, 18, 3, 19, 4, 20, 5, 21, 6, 22, 7, 23};
    const Bytes16 high = {8, 24, 9, 25, 10, 26, 11, 27, 12, 28, 13, 29, 14, 30, 15, 31};
    pairRowsFourTimes(rows, low, high);
}

// Transposes the two 16 x 16 blocks held in the halves of sixteen rows, each
// block on its own.
inline void transposeHalves16x16(Bytes32 (&rows)[16]) {
    const Bytes32 low = {0,  32, 1,  33, 2,  34, 3,  35, 4,  36, 5,  37, 6,  38, 7,  39,
                         16, 48, 17, 49, 18, 50, 19, 51, 20, 52, 21, 53, 22, 54, 23, 55};
    const Bytes32 high = {8,  40, 9,  41, 10, 42, 11, 43, 12, 44, 13, 45, 14, 46, 15, 47,
                          24, 56, 25, 57, 26, 58, 27, 59, 28, 60, 29, 61, 30, 62, 31, 63};
    pairRowsFourTimes(rows, low, high);
}

} // namespace korva::video

#endif
