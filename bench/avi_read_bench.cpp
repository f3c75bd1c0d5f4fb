// Read throughput of avi::File on uncompressed 1920x1080 files indexed by
// "idx1", one each at 24, 16 and 32 bits per pixel and about 500 MB, read from
// the page cache. The baseline is a plain pread loop over the same frame bytes
// into one buffer: reading a frame cannot be cheaper than that, so
// readVideoFrame should come close to it, and readRGB24VideoFrame should add no
// more than half again for its in-place repacking.
//
// Every benchmark counts the stored frame bytes of the whole file per
// iteration, so the bytes per second of different benchmarks on the same file
// compare directly. The ratios against the targets are printed at the end.
//
// The files are written once into $KORVA_BENCH_DIR (default /tmp/korva-bench),
// streamed frame by frame, and reused by later runs while their sizes match.
//
// Usage: avi_read_bench [--benchmark_filter=...] [other Google Benchmark flags]

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <map>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include <benchmark/benchmark.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <korva/avi/file.h>

#include "ratio_reporter.h"
#include "support/avi_builder.h"

using namespace korvatest;

namespace {

const int32_t WIDTH = 1920;
const int32_t HEIGHT = 1080;
const uint64_t TARGET_FILE_BYTES = 500'000'000;

struct BenchFile {
    uint16_t bits = 0;
    std::string path;
    size_t frameSize = 0; // stored bytes of one frame
    size_t frames = 0;
    std::vector<uint64_t> framePositions;
    uint64_t fileSize = 0;
    std::string label() const { return std::to_string(bits) + "bit"; }
};

std::string benchDirectory() {
    const char* dir = std::getenv("KORVA_BENCH_DIR");
    return dir && *dir ? dir : "/tmp/korva-bench";
}

[[noreturn]] void fail(const std::string& what) {
    throw std::runtime_error(what + ": " + std::strerror(errno));
}

// One video stream of `frames` frames in one "movi" list, then "idx1": the
// layout of every header and index byte, with the frame data left out so that
// it can be streamed.
struct Layout {
    Bytes head; // RIFF head, "hdrl", "movi" list head
    Bytes idx1; // the whole "idx1" chunk
};

Layout layout(BenchFile& file) {
    MainHeaderFields main;
    main.totalFrames = uint32_t(file.frames);
    main.width = uint32_t(WIDTH);
    main.height = uint32_t(HEIGHT);
    StreamHeaderFields stream;
    stream.length = uint32_t(file.frames);
    const Bytes hdrl = list("hdrl", cat({chunk("avih", avihPayload(main)),
                                         list("strl", cat({chunk("strh", strhPayload(stream)),
                                                           chunk("strf", bitmapInfoPayload(WIDTH, HEIGHT, file.bits, 0))}))}));
    const uint64_t chunkBytes = 8 + uint64_t(file.frameSize); // frame sizes here are even: no pad byte
    const uint64_t moviSize = 4 + file.frames * chunkBytes;
    const uint64_t idx1Size = 8 + 16 * uint64_t(file.frames);
    const uint64_t riffSize = 4 + hdrl.size() + 8 + moviSize + idx1Size;
    if (riffSize > 0xFFFFFFFFu || file.frameSize % 2) throw std::logic_error("benchmark file does not fit one RIFF");

    Layout out;
    out.head = cat({fourcc("RIFF"), le32(uint32_t(riffSize)), fourcc("AVI "), hdrl, fourcc("LIST"),
                    le32(uint32_t(moviSize)), fourcc("movi")});
    const uint64_t moviPosition = out.head.size() - 4; // "idx1" offsets count from the "movi" code
    std::vector<LegacyEntry> entries;
    file.framePositions.clear();
    for (size_t i = 0; i < file.frames; ++i) {
        const uint64_t chunkHead = out.head.size() + i * chunkBytes;
        entries.push_back({"00db", 0x10, uint32_t(chunkHead - moviPosition), uint32_t(file.frameSize)});
        file.framePositions.push_back(chunkHead + 8);
    }
    out.idx1 = chunk("idx1", idx1Payload(entries));
    file.fileSize = 8 + riffSize;
    return out;
}

void writeAll(FILE* out, const void* data, size_t size, const std::string& path) {
    if (size != 0 && std::fwrite(data, 1, size, out) != size) fail("cannot write " + path);
}

// Writes the file unless one of the right size is there from an earlier run.
// It is written under a temporary name first, so a run that is cut short
// leaves nothing that looks finished.
void ensureFile(BenchFile& file) {
    const Layout bytes = layout(file);
    struct stat info;
    if (stat(file.path.c_str(), &info) == 0 && uint64_t(info.st_size) == file.fileSize) return;

    std::fprintf(stderr, "writing %s (%llu bytes)\n", file.path.c_str(), (unsigned long long)file.fileSize);
    const std::string partial = file.path + ".partial";
    FILE* out = std::fopen(partial.c_str(), "wb");
    if (out == nullptr) fail("cannot create " + partial);
    // A few distinct frames, repeated: the content does not matter to the
    // reader, the size does.
    std::vector<Bytes> frames;
    for (uint32_t seed = 1; seed <= 4; ++seed) frames.push_back(patternBytes(file.frameSize, seed));
    writeAll(out, bytes.head.data(), bytes.head.size(), partial);
    for (size_t i = 0; i < file.frames; ++i) {
        const Bytes head = cat({fourcc("00db"), le32(uint32_t(file.frameSize))});
        writeAll(out, head.data(), head.size(), partial);
        writeAll(out, frames[i % frames.size()].data(), file.frameSize, partial);
    }
    writeAll(out, bytes.idx1.data(), bytes.idx1.size(), partial);
    if (std::fclose(out) != 0) fail("cannot write " + partial);
    if (std::rename(partial.c_str(), file.path.c_str()) != 0) fail("cannot rename " + partial);
}

// Reads the whole file once so that every benchmark reads from the page cache.
void warmPageCache(const BenchFile& file) {
    const int fd = open(file.path.c_str(), O_RDONLY);
    if (fd < 0) fail("cannot open " + file.path);
    std::vector<char> block(16 << 20);
    for (uint64_t at = 0;;) {
        const ssize_t got = pread(fd, block.data(), block.size(), off_t(at));
        if (got <= 0) break;
        at += uint64_t(got);
    }
    close(fd);
}

BenchFile makeFile(uint16_t bits) {
    BenchFile file;
    file.bits = bits;
    file.frameSize = size_t(WIDTH) * HEIGHT * (bits / 8); // rows of 1920 pixels need no padding
    file.frames = size_t((TARGET_FILE_BYTES + file.frameSize - 1) / file.frameSize);
    file.path = benchDirectory() + "/frames-" + std::to_string(WIDTH) + "x" + std::to_string(HEIGHT) + "-" +
                std::to_string(bits) + "bit-" + std::to_string(file.frames) + ".avi";
    ensureFile(file);
    warmPageCache(file);
    return file;
}

// One buffer for all files, as large as a stored 32-bit frame (which is also
// larger than any RGB24 frame), touched once so that no page fault lands
// inside a measurement.
std::vector<char> frameBuffer() {
    std::vector<char> buffer(size_t(WIDTH) * HEIGHT * 4);
    std::memset(buffer.data(), 1, buffer.size());
    return buffer;
}

void setBytes(benchmark::State& state, const BenchFile& file) {
    state.SetBytesProcessed(int64_t(state.iterations()) * int64_t(file.frames) * int64_t(file.frameSize));
    state.counters["frames/s"] =
        benchmark::Counter(double(file.frames), benchmark::Counter::kIsIterationInvariantRate);
}

void preadFrames(benchmark::State& state, const BenchFile* file) {
    const int fd = open(file->path.c_str(), O_RDONLY);
    if (fd < 0) {
        state.SkipWithError("cannot open the file");
        return;
    }
    std::vector<char> buffer = frameBuffer();
    for (auto _ : state) {
        for (uint64_t position : file->framePositions) {
            size_t done = 0;
            while (done < file->frameSize) {
                const ssize_t got = pread(fd, buffer.data() + done, file->frameSize - done, off_t(position + done));
                if (got <= 0) break;
                done += size_t(got);
            }
            if (done != file->frameSize) {
                state.SkipWithError("short read");
                break;
            }
        }
        benchmark::DoNotOptimize(buffer.data());
        benchmark::ClobberMemory();
    }
    close(fd);
    setBytes(state, *file);
}

template <void (avi::File::*Read)(char*, long)>
void readFrames(benchmark::State& state, const BenchFile* file) {
    avi::File avi;
    if (!avi.open(file->path.c_str(), "rb") || avi.getErrorCode() != avi::errors::NO_ERROR ||
        avi.getVideoTotalFrames() != int64_t(file->frames)) {
        state.SkipWithError("the file does not open cleanly");
        return;
    }
    std::vector<char> buffer = frameBuffer();
    if (buffer.size() < std::max(avi.getRawVideoFrameSize(0), avi.getRGB24VideoFrameSize())) {
        state.SkipWithError("frame buffer too small");
        return;
    }
    for (auto _ : state) {
        for (size_t n = 0; n < file->frames; ++n) (avi.*Read)(buffer.data(), long(n));
        benchmark::DoNotOptimize(buffer.data());
        benchmark::ClobberMemory();
        if (avi.getErrorCode() != avi::errors::NO_ERROR) {
            state.SkipWithError(avi.getErrorMsg());
            break;
        }
    }
    setBytes(state, *file);
}

} // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) return 2;

    std::vector<BenchFile> files;
    try {
        std::filesystem::create_directories(benchDirectory());
        for (uint16_t bits : {24, 16, 32}) files.push_back(makeFile(bits));
    } catch (const std::exception& e) {
        std::fprintf(stderr, "avi_read_bench: %s\n", e.what());
        return 1;
    }

    auto configure = [](benchmark::internal::Benchmark* b) {
        b->Unit(benchmark::kMillisecond)->UseRealTime()->MinTime(1.0)->Repetitions(3)->DisplayAggregatesOnly(true);
    };
    for (const BenchFile& f : files) {
        configure(benchmark::RegisterBenchmark(("pread/" + f.label()).c_str(), preadFrames, &f));
        configure(benchmark::RegisterBenchmark(("readVideoFrame/" + f.label()).c_str(),
                                               readFrames<&avi::File::readVideoFrame>, &f));
        if (f.bits != 24)
            configure(benchmark::RegisterBenchmark(("readRGB24VideoFrame/" + f.label()).c_str(),
                                                   readFrames<&avi::File::readRGB24VideoFrame>, &f));
    }

    korvabench::RatioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();

    std::printf("\nRatios (median real times; throughput ratio = baseline time / time):\n");
    for (const char* bits : {"24bit", "16bit", "32bit"}) {
        const std::string what = std::string("readVideoFrame / pread throughput, ") + bits;
        korvabench::printRatio(what.c_str(),
                   reporter.time(std::string("pread/") + bits) / reporter.time(std::string("readVideoFrame/") + bits),
                   0.9, true);
    }
    // The 16-bit frame grows by half on the way, the 32-bit one shrinks.
    for (auto [bits, target] : {std::pair{"16bit", 1.3}, std::pair{"32bit", 1.2}}) {
        const std::string what = std::string("readRGB24VideoFrame / readVideoFrame time, ") + bits;
        korvabench::printRatio(what.c_str(),
                   reporter.time(std::string("readRGB24VideoFrame/") + bits) /
                       reporter.time(std::string("readVideoFrame/") + bits),
                   target, false);
    }
    return 0;
}
