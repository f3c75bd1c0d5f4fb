// 1920x1080 planes into a packed frame or into three 8-bit planes, all in one
// run: 8-bit planes into RGB24 against the scaler of FFmpeg doing the nearest
// conversion (gbrp to bgr24); floating planes against the memory bound, a
// memcpy of as many bytes as their planes hold from buffers that the cache
// cannot hold; column order against row order; integer planes against the
// 8-bit planes.

#include "ratio_reporter.h"
#include "picture_bench.h"

#include <korva/korva.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

namespace {

using namespace korvabench;

// Planes of the type holding a random picture, as the input kernel makes them.
PlaneBuffer makePlanes(VideoDataType type) {
    const std::vector<uint8_t> frame = noiseBytes(rgbFrameBytes(WIDTH, HEIGHT));
    PlaneBuffer planes(type);
    MM_GetVideoInputFcn(FOURCC_RGB, FOURCC_RGB, type, false)(frame.data(), planes.plane(0), planes.plane(1),
                                                              planes.plane(2), WIDTH, HEIGHT, 0);
    return planes;
}

// What a family makes from its planes: a frame, or three 8-bit planes.
enum class Target { RGB24, YUY2, BYTE_PLANES };

struct Family {
    const char* name;
    FourCCType planes;
    Target target;
    int planeCount; // that the kernel reads
};

const Family RGB = {"rgb24", FOURCC_RGB, Target::RGB24, 3};
const Family GREY_RGB = {"intensity rgb24", FOURCC_GREY, Target::RGB24, 1};
const Family YCBCR_RGB = {"ycbcr rgb24", FOURCC_YUY2, Target::RGB24, 3};
const Family RGB_YUY2 = {"rgb yuy2", FOURCC_RGB, Target::YUY2, 3};
const Family GREY_YUY2 = {"intensity yuy2", FOURCC_GREY, Target::YUY2, 1};
const Family YCBCR_YUY2 = {"ycbcr yuy2", FOURCC_YUY2, Target::YUY2, 3};
const Family COPY = {"convert copy", FOURCC_RGB, Target::BYTE_PLANES, 3};
const Family GREY_COPY = {"intensity convert copy", FOURCC_GREY, Target::BYTE_PLANES, 1};

void kernel(benchmark::State& state, Family family, VideoDataType type, int columnOrder) {
    PlaneBuffer planes = makePlanes(type);
    // The row walk of the RGB to YUY2 family writes a group for every pixel.
    const std::size_t outBytes = family.target == Target::RGB24 ? rgbFrameBytes(WIDTH, HEIGHT)
                                 : family.target == Target::YUY2 ? 2 * yuy2FrameBytes(WIDTH, HEIGHT)
                                                                 : 3 * std::size_t(PIXELS);
    std::vector<uint8_t> out(outBytes, 1);
    if (family.target == Target::BYTE_PLANES) {
        const MMVideoConvertCopyFcn copy = family.planes == FOURCC_GREY
                                               ? MM_GetIntensityToRGB24ChannelsConvertCopyFcn(type)
                                               : MM_GetRGBToRGB24ChannelsConvertCopyFcn(type);
        for (auto _ : state) {
            copy(planes.plane(0), planes.plane(1), planes.plane(2), out.data(), WIDTH, HEIGHT);
            benchmark::ClobberMemory();
        }
    } else {
        const MMVideoOutputFcn output =
            MM_GetVideoOutputFcn(family.planes, family.target == Target::RGB24 ? FOURCC_RGB : FOURCC_YUY2, type);
        for (auto _ : state) {
            output(planes.plane(0), planes.plane(1), planes.plane(2), out.data(), WIDTH, HEIGHT, columnOrder);
            benchmark::ClobberMemory();
        }
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(family.planeCount * planes.planeBytes));
}

// The memory bound: a memcpy of `bytes` from buffers together larger than
// any cache of the machine, each used once a round, into as many others.
void memoryBound(benchmark::State& state, std::size_t bytes) {
    const std::size_t sets = (std::size_t(256) << 20) / bytes + 1;
    // Noise, not a constant: the host may merge pages of equal content, and
    // a store into a merged page faults.
    std::vector<std::vector<uint8_t>> from(sets, noiseBytes(bytes)), to(sets, noiseBytes(bytes));
    std::size_t next = 0;
    for (auto _ : state) {
        std::memcpy(to[next].data(), from[next].data(), bytes);
        benchmark::ClobberMemory();
        next = (next + 1) % sets;
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(bytes));
}

// The scaler's planes are green, blue, red; its frame is top-down, which
// costs nothing either way.
void scaler(benchmark::State& state) {
    PlaneBuffer planes = makePlanes(VIDEO_UINT8);
    std::vector<uint8_t> frame(rgbFrameBytes(WIDTH, HEIGHT), 1);
    const uint8_t* const source[3] = {planes.plane(1), planes.plane(2), planes.plane(0)};
    const int sourceStride[3] = {WIDTH, WIDTH, WIDTH};
    uint8_t* const target[1] = {frame.data()};
    const int targetStride[1] = {rgbRowBytes(WIDTH)};
    runScaler(state, WIDTH, HEIGHT, AV_PIX_FMT_GBRP, source, sourceStride, AV_PIX_FMT_BGR24, target,
                          targetStride);
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(frame.size()));
}

struct TypeName {
    VideoDataType type;
    const char* name;
};
const TypeName FLOATING[] = {{VIDEO_DOUBLE, "double"}, {VIDEO_SINGLE, "single"}};
const TypeName INTEGER[] = {{VIDEO_INT8, "int8"},   {VIDEO_INT16, "int16"},   {VIDEO_UINT16, "uint16"},
                            {VIDEO_INT32, "int32"}, {VIDEO_UINT32, "uint32"}, {VIDEO_LOGICAL, "logical"}};
const Family FLOATING_FAMILIES[] = {RGB, COPY, GREY_RGB, GREY_COPY, YCBCR_RGB, RGB_YUY2, GREY_YUY2, YCBCR_YUY2};

std::string nameOf(const Family& family, const char* type, const char* order) {
    return std::string(family.name) + " " + type + " " + order;
}

std::string boundName(std::size_t bytes) { return "memcpy " + std::to_string(bytes >> 10) + " KiB"; }

// The convert copies have no order: their row and column names are one run.
bool hasOrder(const Family& family) { return family.target != Target::BYTE_PLANES; }

} // namespace

int main(int argc, char** argv) {
    if (!korvabench::initialize(argc, argv)) return 2;
    const auto configure = korvabench::pictureSettings;
    configure(benchmark::RegisterBenchmark("scaler gbrp to bgr24", scaler));
    configure(benchmark::RegisterBenchmark(nameOf(RGB, "uint8", "rows").c_str(), kernel, RGB, VIDEO_UINT8, 0));
    configure(benchmark::RegisterBenchmark(nameOf(RGB, "uint8", "columns").c_str(), kernel, RGB, VIDEO_UINT8, 1));
    for (const TypeName& t : INTEGER) {
        configure(benchmark::RegisterBenchmark(nameOf(RGB, t.name, "rows").c_str(), kernel, RGB, t.type, 0));
    }
    std::vector<std::size_t> bounds;
    for (const TypeName& t : FLOATING) {
        for (const Family& family : FLOATING_FAMILIES) {
            const std::size_t bytes = std::size_t(family.planeCount) * PIXELS * videoDataTypeSize[t.type];
            if (std::find(bounds.begin(), bounds.end(), bytes) == bounds.end()) bounds.push_back(bytes);
            configure(benchmark::RegisterBenchmark(nameOf(family, t.name, "rows").c_str(), kernel, family, t.type, 0));
            if (hasOrder(family)) {
                configure(benchmark::RegisterBenchmark(nameOf(family, t.name, "columns").c_str(), kernel, family,
                                                       t.type, 1));
            }
        }
    }
    for (std::size_t bytes : bounds) {
        configure(benchmark::RegisterBenchmark(boundName(bytes).c_str(), memoryBound, bytes));
    }

    korvabench::RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();

    const double peer = reporter.time("scaler gbrp to bgr24");
    const double bytesRows = reporter.time(nameOf(RGB, "uint8", "rows"));
    std::printf("\nRatios (median real times):\n");
    korvabench::printRatio("rgb24 uint8 rows / scaler throughput", peer / bytesRows, 0.5, true);
    korvabench::printRatio("rgb24 uint8 columns / scaler throughput",
                           peer / reporter.time(nameOf(RGB, "uint8", "columns")), 0.5, true);
    for (const TypeName& t : INTEGER) {
        const std::string what = std::string("rgb24 ") + t.name + " rows / uint8 rows throughput";
        korvabench::printRatio(what.c_str(), bytesRows / reporter.time(nameOf(RGB, t.name, "rows")), 0.5, true);
    }
    // The floating planes against a memcpy of their bytes; the colour
    // families work on bytes after the reduction, so they are quoted against
    // the same bound too.
    for (const TypeName& t : FLOATING) {
        for (const Family& family : FLOATING_FAMILIES) {
            const std::size_t bytes = std::size_t(family.planeCount) * PIXELS * videoDataTypeSize[t.type];
            const double bound = reporter.time(boundName(bytes));
            const double rows = reporter.time(nameOf(family, t.name, "rows"));
            korvabench::printRatio((nameOf(family, t.name, "rows") + " / memory bound").c_str(), bound / rows, 0.8,
                                   true);
            if (hasOrder(family)) {
                korvabench::printRatio((nameOf(family, t.name, "columns") + " / rows time").c_str(),
                                       reporter.time(nameOf(family, t.name, "columns")) / rows, 1.5, false);
            }
        }
    }
    return 0;
}
