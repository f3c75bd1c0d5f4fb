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

// Lane i of the result is lane index[i] of a followed by b (b's lanes
// counting on from a's). The two compilers spell the same shuffle apart: GCC
// takes the indexes as a vector of the operands' type, clang as constants.
#if defined(__clang__)
#define KORVA_SHUFFLE(Vector, a, b, ...) __builtin_shufflevector(a, b, __VA_ARGS__)
#else
#define KORVA_SHUFFLE(Vector, a, b, ...) __builtin_shuffle(a, b, Vector{__VA_ARGS__})
#endif

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
    const Bytes16 firstAB = KORVA_SHUFFLE(Bytes16, a, b, 0, 3, 6, 9, 12, 15, 18, 21, 24, 27, 30, 0, 0, 0, 0, 0);
    const Bytes16 secondAB = KORVA_SHUFFLE(Bytes16, a, b, 1, 4, 7, 10, 13, 16, 19, 22, 25, 28, 31, 0, 0, 0, 0, 0);
    const Bytes16 thirdAB = KORVA_SHUFFLE(Bytes16, a, b, 2, 5, 8, 11, 14, 17, 20, 23, 26, 29, 0, 0, 0, 0, 0, 0);
    first = KORVA_SHUFFLE(Bytes16, firstAB, c, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 17, 20, 23, 26, 29);
    second = KORVA_SHUFFLE(Bytes16, secondAB, c, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 18, 21, 24, 27, 30);
    third = KORVA_SHUFFLE(Bytes16, thirdAB, c, 0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 16, 19, 22, 25, 28, 31);
}

// Two 16-byte blocks side by side, one in each half.
typedef uint8_t Bytes32 __attribute__((vector_size(32)));

// By reference: a 32-byte vector in a return value would depend on the build.
inline void loadBytes32(Bytes32& to, const uint8_t* from) { std::memcpy(&to, from, sizeof to); }

// Row a paired with row b element by element, from the low or the high
// halves of each 16-byte block. By reference, as loadBytes32.
inline void pairLow(Bytes16& to, const Bytes16& a, const Bytes16& b) {
    to = KORVA_SHUFFLE(Bytes16, a, b, 0, 16, 1, 17, 2, 18, 3, 19, 4, 20, 5, 21, 6, 22, 7, 23);
}
inline void pairHigh(Bytes16& to, const Bytes16& a, const Bytes16& b) {
    to = KORVA_SHUFFLE(Bytes16, a, b, 8, 24, 9, 25, 10, 26, 11, 27, 12, 28, 13, 29, 14, 30, 15, 31);
}
inline void pairLow(Bytes32& to, const Bytes32& a, const Bytes32& b) {
    to = KORVA_SHUFFLE(Bytes32, a, b,
                       0, 32, 1, 33, 2, 34, 3, 35, 4, 36, 5, 37, 6, 38, 7, 39,
                       16, 48, 17, 49, 18, 50, 19, 51, 20, 52, 21, 53, 22, 54, 23, 55);
}
inline void pairHigh(Bytes32& to, const Bytes32& a, const Bytes32& b) {
    to = KORVA_SHUFFLE(Bytes32, a, b,
                       8, 40, 9, 41, 10, 42, 11, 43, 12, 44, 13, 45, 14, 46, 15, 47,
                       24, 56, 25, 57, 26, 58, 27, 59, 28, 60, 29, 61, 30, 62, 31, 63);
}

// Four rounds of pairing row i with row i + 8: each round moves one bit of
// the row number into the byte position, so that after four byte c of row r
// of a 16-byte block is byte r of row c.
template <class Vector> void pairRowsFourTimes(Vector (&rows)[16]) {
#pragma GCC unroll 4
    for (int round = 0; round < 4; ++round) {
        Vector paired[16];
#pragma GCC unroll 8
        for (int i = 0; i < 8; ++i) {
            pairLow(paired[2 * i], rows[i], rows[i + 8]);
            pairHigh(paired[2 * i + 1], rows[i], rows[i + 8]);
        }
        std::memcpy(rows, paired, sizeof paired);
    }
}

// Transposes 16 x 16 bytes in place: byte c of row r goes to byte r of row c.
inline void transpose16x16(Bytes16 (&rows)[16]) { pairRowsFourTimes(rows); }

// Transposes the two 16 x 16 blocks held in the halves of sixteen rows, each
// block on its own.
inline void transposeHalves16x16(Bytes32 (&rows)[16]) { pairRowsFourTimes(rows); }

} // namespace korva::video

#endif
