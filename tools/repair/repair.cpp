#include "repair.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <map>
#include <numeric>
#include <stdexcept>
#include <vector>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <korva/avi/file.h>

#include "chunk_scan.h"
#include "progress_line.h"

namespace korva::repair {

const char* const REPAIR_USAGE =
    "  repair IN OUT           write OUT from every complete frame and audio chunk of a broken IN\n"
    "      --like REF.avi      take the stream formats from a finished file of the same set-up\n"
    "      --video WxH[:BITS]  the video format, when IN has no header (24 bits by default)\n"
    "      --fps X             the frame rate (default: IN's or REF's, else 25)\n"
    "      --audio R:BITS:CH   the audio format: rate, bits per sample, channels\n"
    "      --dry-run           print what would be recovered and write nothing\n";

namespace {

// The formats to write with: the command line over REF over IN's header.
StreamFormats chooseFormats(const RepairOptions& options, const StreamFormats& own, std::string& source) {
    StreamFormats chosen = own;
    source = own.known() ? "IN's header" : "";
    if (!options.like.empty()) {
        chosen = formatsFromHeader(options.like);
        source = options.like;
    }
    if (options.video) {
        const double fps = chosen.video ? chosen.video->fps : 25.0;
        chosen.video = options.video;
        chosen.video->fps = fps;
        source = "the command line";
    }
    if (options.audio) {
        chosen.audio = options.audio;
        source = "the command line";
    }
    if (options.fps && chosen.video) chosen.video->fps = *options.fps;
    return chosen;
}

// Every stored audio chunk becomes whole chunks of the output when their
// common divisor is a sensible chunk; otherwise the most common size serves,
// and only the stream's last chunk gets a tail of silence.
uint32_t audioChunkBytes(const ScanResult& scan, uint32_t blockAlign) {
    uint64_t divisor = 0;
    std::map<uint32_t, uint64_t> sizes;
    for (const FoundChunk& chunk : scan.chunks) {
        if (chunk.video) continue;
        divisor = std::gcd(divisor, uint64_t(chunk.size));
        ++sizes[chunk.size];
    }
    uint32_t bytes = uint32_t(divisor);
    if (bytes < 1024) {
        bytes = std::max_element(sizes.begin(), sizes.end(), [](auto& a, auto& b) { return a.second < b.second; })
                    ->first;
    }
    return std::max<uint32_t>(blockAlign, bytes / blockAlign * blockAlign);
}

bool sameFile(const std::string& a, const std::string& b) {
    struct stat first, second;
    if (::stat(a.c_str(), &first) != 0 || ::stat(b.c_str(), &second) != 0) return false;
    return first.st_dev == second.st_dev && first.st_ino == second.st_ino;
}

std::string describeVideo(const VideoFormat& video) {
    char text[160];
    std::snprintf(text, sizeof text, "%ux%u, %u bits, %.6g fps%s%s%s", video.width, video.height, video.bits,
                  video.fps, video.compressed() ? ", FourCC " : "", video.fourcc.c_str(),
                  video.topDown ? ", stored top-down: turned over" : "");
    return text;
}

std::string describeAudio(const AudioFormat& audio) {
    char text[96];
    std::snprintf(text, sizeof text, "%u Hz, %u bits, %u channels", audio.rate, audio.bits, audio.channels);
    return text;
}

void report(std::FILE* out, const ScanResult& scan, const StreamFormats& formats, const std::string& source) {
    if (scan.headerPresent) std::fprintf(out, "header: present\n");
    else std::fprintf(out, "header: missing, a hole of %llu bytes at offset 0\n", (unsigned long long)scan.leadingHole);
    std::fprintf(out, "formats: from %s\n", source.c_str());
    std::fprintf(out, "index: %s", indexKindText(scan.index));
    if (scan.openDMLIndexes > 0) std::fprintf(out, " (%u standard indexes)", scan.openDMLIndexes);
    std::fprintf(out, "; not used: every chunk was walked\n");
    std::fprintf(out, "riff chunks: %u\n", scan.riffChunks);
    if (formats.video) {
        std::fprintf(out, "video: %llu frames recovered (%s)\n", (unsigned long long)scan.videoFrames,
                     describeVideo(*formats.video).c_str());
    }
    if (formats.audio) {
        std::fprintf(out, "audio: %llu bytes recovered (%s)\n", (unsigned long long)scan.audioBytes,
                     describeAudio(*formats.audio).c_str());
    }
    if (scan.zeroBytes > 0) std::fprintf(out, "zero bytes stepped over: %llu\n", (unsigned long long)scan.zeroBytes);
    std::fprintf(out, "dropped: %llu chunks, %llu bytes\n", (unsigned long long)scan.droppedChunks,
                 (unsigned long long)scan.droppedBytes);
    for (const DroppedRun& run : scan.drops) {
        std::fprintf(out, "dropped: %llu bytes at offset %llu: %s\n", (unsigned long long)run.bytes,
                     (unsigned long long)run.offset, run.why.c_str());
    }
}

// Reads exactly count bytes at position.
bool readAt(int fd, uint8_t* into, size_t count, uint64_t position) {
    size_t done = 0;
    while (done < count) {
        const ssize_t got = ::pread(fd, into + done, count - done, off_t(position + done));
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) return false;
        done += size_t(got);
    }
    return true;
}

// A frame stored top line first, turned over into the writer's order.
void turnOver(uint8_t* frame, const VideoFormat& video) {
    const size_t row = size_t((uint64_t(video.width) * video.bits + 31) / 32 * 4);
    std::vector<uint8_t> spare(row);
    for (size_t top = 0, bottom = video.height - 1; top < bottom; ++top, --bottom) {
        std::memcpy(spare.data(), frame + top * row, row);
        std::memcpy(frame + top * row, frame + bottom * row, row);
        std::memcpy(frame + bottom * row, spare.data(), row);
    }
}

// Writes OUT from the chunks the scan kept, in their order; an empty string
// on success, else what failed.
std::string writeRepaired(const RepairOptions& options, const ScanResult& scan, const StreamFormats& formats,
                          ProgressLine& progress, bool& created) {
    const int in = ::open(options.in.c_str(), O_RDONLY | O_CLOEXEC);
    if (in < 0) return "cannot open '" + options.in + "' again: " + std::strerror(errno);
    ::posix_fadvise(in, 0, 0, POSIX_FADV_SEQUENTIAL);
    avi::File file;
    if (!file.open(options.out.c_str(), "w")) {
        ::close(in);
        return file.getErrorMsg();
    }
    created = true;
    const bool video = formats.video && scan.videoFrames > 0;
    const bool audio = formats.audio && scan.audioBytes > 0;
    // Streams keep their numbers: the one that was stream 0 is configured first.
    const bool audioFirst = audio && video && scan.audioStream < scan.videoStream;
    const auto setVideo = [&] {
        const VideoFormat& v = *formats.video;
        file.setVideoInfo(v.width, v.height, v.fps, v.fourcc, v.bits);
        if (v.bits <= 8) {
            std::vector<avi::tagRGBQUAD> colormap = v.colormap;
            colormap.resize(size_t(1) << v.bits);
            file.setColormap(colormap);
        }
    };
    uint32_t chunkBytes = 0;
    const auto setAudio = [&] {
        const AudioFormat& a = *formats.audio;
        chunkBytes = audioChunkBytes(scan, a.blockAlign());
        file.setAudioInfo(a.rate, a.bits, a.channels, chunkBytes);
    };
    if (audioFirst) setAudio();
    if (video) setVideo();
    if (audio && !audioFirst) setAudio();

    uint32_t largest = 0;
    for (const FoundChunk& chunk : scan.chunks) largest = std::max(largest, chunk.size);
    std::vector<uint8_t> payload(largest);
    std::vector<uint8_t> gathered(size_t(chunkBytes) + 1);
    size_t held = 0;
    std::string failure;
    uint64_t done = 0, total = 0;
    for (const FoundChunk& chunk : scan.chunks) total += chunk.size;
    for (const FoundChunk& chunk : scan.chunks) {
        if ((chunk.video && !video) || (!chunk.video && !audio)) continue;
        if (!readAt(in, payload.data(), chunk.size, chunk.payload)) {
            failure = "a read of '" + options.in + "' failed at offset " + std::to_string(chunk.payload);
            break;
        }
        if (chunk.video) {
            if (formats.video->topDown && !formats.video->compressed()) turnOver(payload.data(), *formats.video);
            file.writeVideoFrame(reinterpret_cast<char*>(payload.data()), chunk.size);
        } else {
            // Audio goes on as a byte stream, in chunks of the one size the
            // writer keeps.
            for (size_t taken = 0; taken < chunk.size;) {
                const size_t step = std::min<size_t>(chunk.size - taken, chunkBytes - held);
                std::memcpy(gathered.data() + held, payload.data() + taken, step);
                held += step;
                taken += step;
                if (held == chunkBytes) {
                    file.writeAudio(reinterpret_cast<char*>(gathered.data()));
                    held = 0;
                }
            }
        }
        if (file.getErrorCode() != avi::errors::NO_ERROR) {
            failure = file.getErrorMsg();
            break;
        }
        done += chunk.size;
        progress(done, total);
    }
    if (failure.empty() && held > 0) {
        const uint8_t silence = formats.audio->bits == 8 ? 0x80 : 0;
        std::fill(gathered.begin() + long(held), gathered.begin() + long(chunkBytes), silence);
        file.writeAudio(reinterpret_cast<char*>(gathered.data()));
    }
    ::close(in);
    file.close();
    if (failure.empty() && file.getErrorCode() != avi::errors::NO_ERROR) failure = file.getErrorMsg();
    return failure;
}

} // namespace

int runRepair(const RepairOptions& options, std::FILE* out, std::FILE* err) {
    const auto refuse = [&](const std::string& why) {
        std::fprintf(err, "korva-avi repair: %s\n", why.c_str());
        return 1;
    };
    struct stat status;
    if (::stat(options.in.c_str(), &status) != 0) return refuse("cannot read '" + options.in + "': " + std::strerror(errno));
    if (!S_ISREG(status.st_mode)) return refuse("'" + options.in + "' is not a regular file");
    if (!options.dryRun && (options.out == options.in || sameFile(options.in, options.out))) {
        return refuse("OUT is IN: the input is never written; give another OUT");
    }
    if (!options.like.empty() && ::access(options.like.c_str(), R_OK) != 0) {
        return refuse("cannot read --like '" + options.like + "': " + std::strerror(errno));
    }

    std::string source;
    const StreamFormats formats = chooseFormats(options, formatsFromHeader(options.in), source);
    if (!formats.known()) {
        return refuse("the stream formats of '" + options.in +
                      "' cannot be known (it has no readable header): give --like REF.avi, or --video and --audio");
    }
    ScanResult scan;
    {
        ProgressLine progress(err, options.progress, "walking");
        try {
            scan = scanChunks(options.in, formats, [&](uint64_t done, uint64_t total) { progress(done, total); });
        } catch (const std::exception& failure) {
            progress.clear();
            return refuse("'" + options.in + "': " + failure.what());
        }
    }
    report(out, scan, formats, source);
    if (formats.video && scan.videoFrames == 0 && scan.wrongSizeFrames > 0) {
        return refuse("the video chunks hold " + std::to_string(scan.wrongSize) + " bytes, but frames of " +
                      describeVideo(*formats.video) + " hold " + std::to_string(formats.video->frameBytes()) +
                      ": the geometry does not fit the file");
    }
    if (scan.videoFrames == 0 && scan.audioBytes == 0) return refuse("no complete video or audio chunk was found");
    if (options.dryRun) {
        std::fprintf(out, "dry run: nothing written\n");
        return 0;
    }
    std::string failure;
    bool created = false;
    {
        ProgressLine progress(err, options.progress, "writing");
        failure = writeRepaired(options, scan, formats, progress, created);
    }
    if (!failure.empty()) {
        // A file cut short by the failure is no repair; one that could not
        // even be opened was never ours to remove.
        if (created) ::unlink(options.out.c_str());
        return refuse("cannot write '" + options.out + "': " + failure);
    }
    std::fprintf(out, "wrote %s\n", options.out.c_str());
    return 0;
}

int repairCommand(int argc, char** argv) {
    RepairOptions options;
    std::vector<std::string> files;
    const auto usage = [](const std::string& why) {
        std::fprintf(stderr, "korva-avi repair: %s\n\nusage: korva-avi repair IN OUT [options]\n%s", why.c_str(),
                     REPAIR_USAGE);
        return 2;
    };
    for (int i = 0; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg == "--dry-run") {
            options.dryRun = true;
            continue;
        }
        if (arg.size() < 2 || arg.compare(0, 2, "--") != 0) {
            files.push_back(arg);
            continue;
        }
        if (i + 1 >= argc) return usage(arg + " needs a value");
        const std::string value = argv[++i];
        std::string why;
        if (arg == "--like") {
            options.like = value;
        } else if (arg == "--video") {
            if (!(options.video = parseVideoOption(value, why))) return usage(why);
        } else if (arg == "--audio") {
            if (!(options.audio = parseAudioOption(value, why))) return usage(why);
        } else if (arg == "--fps") {
            char* end = nullptr;
            const double fps = std::strtod(value.c_str(), &end);
            if (end == value.c_str() || *end != '\0' || !(fps > 0 && fps <= 1000)) {
                return usage("--fps wants a number above 0 and up to 1000, not '" + value + "'");
            }
            options.fps = fps;
        } else {
            return usage("unknown option '" + arg + "'");
        }
    }
    if (files.size() != (options.dryRun ? 1u : 2u) && files.size() != 2) return usage("repair takes IN and OUT");
    options.in = files[0];
    if (files.size() == 2) options.out = files[1];
    options.progress = ::isatty(STDERR_FILENO) == 1;
    return runRepair(options, stdout, stderr);
}

std::string repairHint(const std::string& path, long long readerFrames) {
    const StreamFormats formats = formatsFromHeader(path);
    if (!formats.video) return {};
    ScanResult scan;
    try {
        scan = scanChunks(path, formats);
    } catch (const std::exception&) {
        return {};
    }
    if (scan.index == IndexKind::Idx1Absolute) {
        return "the idx1 index counts its offsets from the start of the file, so frames read wrong here: "
               "'korva-avi repair' writes a file with a proper index";
    }
    if (readerFrames == 0 && scan.videoFrames > 0) {
        return "no frame was found through the index, but " + std::to_string(scan.videoFrames) +
               " video chunks with another suffix are in the file: 'korva-avi repair' recovers them";
    }
    return {};
}

} // namespace korva::repair
