#ifndef KORVA_TESTS_VIDEO_YCBCR_REFERENCE_H
#define KORVA_TESTS_VIDEO_YCBCR_REFERENCE_H

// The YCbCr colour maps and the packed families' walks, written plainly from
// their rules, on eight-bit values: a plane is a vector of ints, -1 where a
// walk wrote nothing. The tests raise or reduce them to each element type.

#include <korva/core/media_types.h>

#include <algorithm>
#include <cstdint>
#include <vector>

namespace korvaref {

using Plane = std::vector<int>;

inline int clamp8(int v) { return std::min(255, std::max(0, v)); }

inline int lumaOf(int r, int g, int b) { return ((65 * r + 129 * g + 25 * b + 128) >> 8) + 16; }
inline int cbOf(int r, int g, int b) { return ((-38 * r - 74 * g + 112 * b + 128) >> 8) + 128; }
inline int crOf(int r, int g, int b) { return ((112 * r - 94 * g - 18 * b + 128) >> 8) + 128; }

struct RGB { int r, g, b; };
inline RGB rgbOf(int y, int cb, int cr) {
    const int c = (y - 16) * 19077 + 8192, d = cb - 128, e = cr - 128;
    return {clamp8((c + 26149 * e) >> 14), clamp8((c - 6419 * d - 13320 * e) >> 14), clamp8((c + 33050 * d) >> 14)};
}

inline int lumaOfIntensity(int i) { return ((i * 219 + 128) >> 8) + 16; }
inline int intensityOfLuma(int y) { return int(double(std::min(235, std::max(16, y)) - 16) * 1.1643835616438356); }

inline long pairsOf(long w) { return w / 2; }
inline long groupsOf(long w) { return ((w - 1) >> 1) + 1; }

// Packed frames into planes.
inline void yuy2ToRGB(const uint8_t* f, Plane* p, long w, long h, int flag) {
    auto put = [&](long at, RGB c) { p[0][at] = c.r, p[1][at] = c.g, p[2][at] = c.b; };
    const long n = w * h;
    for (long g = 0; flag == 0 && n >= 1 && g <= (n - 1) >> 1; ++g) {
        put(2 * g, rgbOf(f[4 * g], f[4 * g + 1], f[4 * g + 3]));
        put(2 * g + 1, rgbOf(f[4 * g + 2], f[4 * g + 1], f[4 * g + 3]));
    }
    const uint8_t* q = f;
    for (long y = 0; flag != 0 && y < h; ++y)
        for (long i = 0; i < groupsOf(w); ++i, q += 4) {
            put(2 * i * h + y, rgbOf(q[0], q[1], q[3]));
            put((2 * i + 1) * h + y, rgbOf(q[2], q[1], q[3]));
        }
}

inline void rgbToYCbCr(const uint8_t* f, Plane* p, long w, long h, int flag) {
    const long s = rgbRowBytes(w), wh = pairsOf(w);
    for (long r = 0; r < h; ++r) {
        const long y = h - 1 - r;
        for (long i = 0; i < wh; ++i) {
            const uint8_t* q = f + r * s + 6 * i;
            const long y0 = flag ? 2 * i * h + y : y * 2 * wh + 2 * i, y1 = flag ? y0 + h : y0 + 1;
            const long c = flag ? i * h + y : y * wh + i;
            p[0][y0] = clamp8(lumaOf(q[2], q[1], q[0]));
            p[0][y1] = clamp8(lumaOf(q[5], q[4], q[3]));
            p[1][c] = clamp8(cbOf(q[2], q[1], q[0]));
            p[2][c] = clamp8(crOf(q[2], q[1], q[0]));
        }
    }
}

inline void rgbPlanesToYCbCr(const uint8_t* f, Plane* p, long w, long h, int flag) {
    const long n = w * h;
    for (long y = 0; w >= 1 && y < h; ++y)
        for (long i = 0; i < groupsOf(w); ++i) {
            auto source = [&](long x) { return flag == 1 ? x * h + y : y * w + x; };
            const long s0 = source(2 * i), s1 = source(2 * i + 1);
            p[0][2 * i * h + y] = clamp8(lumaOf(f[s0], f[n + s0], f[2 * n + s0]));
            p[0][(2 * i + 1) * h + y] = clamp8(lumaOf(f[s1], f[n + s1], f[2 * n + s1]));
            p[1][i * h + y] = clamp8(cbOf(f[s0], f[n + s0], f[2 * n + s0]));
            p[2][i * h + y] = clamp8(crOf(f[s0], f[n + s0], f[2 * n + s0]));
        }
}

inline void yuy2ToYCbCr(const uint8_t* f, Plane* p, long w, long h, int flag) {
    for (long i = 0; flag == 0 && i < w * h; i += 2) {
        p[0][i] = f[2 * i], p[1][i >> 1] = f[2 * i + 1];
        p[0][i + 1] = f[2 * i + 2], p[2][i >> 1] = f[2 * i + 3];
    }
    for (long y = 0; flag == 1 && y < h; ++y)
        for (long x = 0; x < w; ++x) {
            const long o = y * 2 * w + 2 * x;
            p[0][x * h + y] = f[o];
            p[o % 4 == 0 ? 1 : 2][(x >> 1) * h + y] = f[o + 1];
        }
}

inline void yuy2ToIntensity(const uint8_t* f, Plane* p, long w, long h, int flag) {
    for (long i = 0; flag == 0 && i < w * h; ++i) p[0][i] = intensityOfLuma(f[2 * i]);
    for (long y = 0; flag == 1 && y < h; ++y)
        for (long x = 0; x < w; ++x) p[0][x * h + y] = intensityOfLuma(f[y * 2 * w + 2 * x]);
}

// Planes, already reduced to eight bits, into packed frames.
inline void ycbcrToRGB(const Plane* p, uint8_t* f, long w, long h, int flag) {
    const long s = rgbRowBytes(w), wh = pairsOf(w);
    for (long r = 0; r < h; ++r) {
        const long y = h - 1 - r;
        for (long i = 0; i < wh; ++i) {
            const long y0 = flag ? 2 * i * h + y : y * w + 2 * i, y1 = flag ? y0 + h : y0 + 1;
            const long c = flag ? i * h + y : y * wh + i;
            const RGB a = rgbOf(p[0][y0], p[1][c], p[2][c]), b = rgbOf(p[0][y1], p[1][c], p[2][c]);
            uint8_t* q = f + r * s + 6 * i;
            q[0] = uint8_t(a.b), q[1] = uint8_t(a.g), q[2] = uint8_t(a.r), q[3] = uint8_t(b.b), q[4] = uint8_t(b.g);
            q[5] = uint8_t(b.r);
        }
    }
}

// Frame row r from the top of memory is picture line h - 1 - r, blue first; the filler is left alone.
inline void rgbToRGB(const Plane* p, uint8_t* f, long w, long h, int flag) {
    for (long r = 0; r < h; ++r)
        for (long x = 0, y = h - 1 - r; x < w; ++x) {
            const long k = flag == 0 ? y * w + x : x * h + y;
            uint8_t* q = f + r * ((3 * w + 3) / 4 * 4) + 3 * x;
            q[0] = uint8_t(p[2][k]), q[1] = uint8_t(p[1][k]), q[2] = uint8_t(p[0][k]);
        }
}

// Plane 0 serves as all three colours.
inline void intensityToRGB(const Plane* p, uint8_t* f, long w, long h, int flag) {
    const Plane grey[3] = {p[0], p[0], p[0]};
    rgbToRGB(grey, f, w, h, flag);
}

inline void rgbToYUY2(const Plane* p, uint8_t* f, long w, long h, int flag) {
    auto put = [&](long a, long b) {
        *f++ = uint8_t(lumaOf(p[0][a], p[1][a], p[2][a])), *f++ = uint8_t(cbOf(p[0][a], p[1][a], p[2][a]));
        *f++ = uint8_t(lumaOf(p[0][b], p[1][b], p[2][b])), *f++ = uint8_t(crOf(p[0][a], p[1][a], p[2][a]));
    };
    for (long y = 0; y < h; ++y) {
        if (flag == 1)
            for (long i = 0; i < pairsOf(w); ++i) put(2 * i * h + y, (2 * i + 1) * h + y);
        else
            for (long k = 0; k < 2 * pairsOf(w); ++k) put(y * w + k, y * w + k + 1);
        const long last = flag == 1 ? (w - 1) * h + y : y * w + w - 1;
        if (w % 2) put(last, last);
    }
}

inline void intensityToYUY2(const Plane* p, uint8_t* f, long w, long h, int flag) {
    auto put = [&](int a, int b) { *f++ = uint8_t(a), *f++ = 128, *f++ = uint8_t(b), *f++ = 128; };
    long at = 0;
    for (long y = 0; y < h; ++y) {
        for (long i = 0; i < pairsOf(w); ++i)
            if (flag == 0) put(lumaOfIntensity(p[0][at]), lumaOfIntensity(lumaOfIntensity(p[0][at + 1]))), at += 2;
            else put(lumaOfIntensity(p[0][2 * i * h + y]), lumaOfIntensity(p[0][(2 * i + 1) * h + y]));
        if (w % 2) {
            const int last = lumaOfIntensity(p[0][flag == 0 ? at + (w - 1) + y * w : (w - 1) * h + y]);
            put(last, last);
        }
    }
}

inline void ycbcrToYUY2(const Plane* p, uint8_t* f, long w, long h, int flag) {
    auto put = [&](long y0, long y1, long c) {
        *f++ = uint8_t(p[0][y0]), *f++ = uint8_t(p[1][c]), *f++ = uint8_t(p[0][y1]), *f++ = uint8_t(p[2][c]);
    };
    for (long g = 0; flag == 0 && w * h >= 1 && g <= (w * h - 1) >> 1; ++g) put(2 * g, 2 * g + 1, g);
    for (long y = 0; flag != 0 && y < h; ++y)
        for (long i = 0; i < groupsOf(w); ++i) put(2 * i * h + y, (2 * i + 1) * h + y, i * h + y);
}

} // namespace korvaref

#endif
