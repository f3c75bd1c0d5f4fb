#ifndef KORVA_FUZZ_FUZZ_BYTES_H
#define KORVA_FUZZ_FUZZ_BYTES_H

// The fuzz input read as a stream of choices. A choice below n takes one byte
// when n fits in a byte, two when it fits in 16 bits, four otherwise, so that
// a seed can be written by hand a byte a choice. Once the input is used up
// every choice reads 0, which keeps a cut input meaningful: the harness runs
// on with the smallest values.

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <vector>

class FuzzBytes {
public:
    FuzzBytes(const uint8_t* data, size_t size) : at(data), end(data + size) {}

    bool empty() const { return at == end; }

    uint8_t byte() { return at == end ? 0 : *at++; }

    uint32_t word(int bytes) {
        uint32_t value = 0;
        for (int i = 0; i < bytes; ++i) value |= uint32_t(byte()) << (8 * i);
        return value;
    }

    // A value from 0 to n - 1; n must be above 0.
    uint32_t below(uint32_t n) {
        const int bytes = n <= 0x100 ? 1 : n <= 0x10000 ? 2 : 4;
        return word(bytes) % n;
    }

    bool flag() { return byte() & 1; }

    template <typename T, size_t N> const T& pick(const T (&choices)[N]) { return choices[below(N)]; }

    // Eight raw bytes: any double, NaN and the infinities included.
    double real() {
        uint64_t bits = word(4);
        bits |= uint64_t(word(4)) << 32;
        double value;
        std::memcpy(&value, &bits, sizeof value);
        return value;
    }

    // Fills a buffer with the bytes left, over and over, without using them
    // up; a pattern when none are left.
    void fill(uint8_t* to, size_t size) const {
        const size_t left = static_cast<size_t>(end - at);
        for (size_t i = 0; i < size; ++i) to[i] = left ? at[i % left] : uint8_t(i * 31 + 7);
    }

private:
    const uint8_t* at;
    const uint8_t* end;
};

#endif
