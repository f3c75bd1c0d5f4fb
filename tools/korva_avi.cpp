// korva-avi: inspect AVI files with libkorva.

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include <korva/korva.h>

#include "contact_command.h"
#include "frame_png.h"
#include "info_json.h"
#include "repair/repair.h"
#include "testpattern.h"

namespace {

const char* const USAGE =
    "usage: korva-avi COMMAND [ARGS]\n"
    "\n"
    "commands:\n"
    "  info [--json] FILE      print the streams and properties of an AVI file (as JSON for scripts)\n"
    "  frame FILE N OUT.png    save frame N (counted from 0) of an AVI file as a PNG picture\n"
    "  testpattern OUT.avi     write moving colour bars with a frame counter and a sine tone\n"
    "      --width N           frame width in pixels (default 320)\n"
    "      --height N          frame height in pixels (default 240)\n"
    "      --fps X             frames per second (default 25)\n"
    "      --duration S        length in seconds (default 4)\n"
    "      --audio-rate N      audio samples per second, 0 for no audio (default 44100)\n"
    "      --channels N        audio channels (default 2)\n"
    "      --tone HZ           tone frequency (default 440)\n";

void printUsage(std::FILE* to) {
    std::fputs(USAGE, to);
    std::fputs(CONTACT_USAGE, to);
    std::fputs(korva::repair::REPAIR_USAGE, to);
    std::fputs("  --version               print the library's version\n"
               "  --help                  show this text\n",
               to);
}

// A line that says why a file reads wrong or not at all, when a repair would help.
void printRepairHint(const char* path, long long frames) {
    const std::string hint = korva::repair::repairHint(path, frames);
    if (!hint.empty()) std::printf("hint:           %s\n", hint.c_str());
}

void printRow(const char* label, const std::string& value) { std::printf("  %-13s %s\n", label, value.c_str()); }

std::string number(uint64_t v) { return std::to_string(v); }

int info(const char* path) {
    avi::File file;
    if (!file.open(path, "rb")) {
        std::fprintf(stderr, "korva-avi: cannot read '%s': %s (error %d)\n", path, file.getErrorMsg(),
                     int(file.getErrorCode()));
        printRepairHint(path, 0);
        return 1;
    }
    std::printf("%s\n", path);
    std::printf("video:          %s\n", file.hasVideo() ? "yes" : "no");
    if (file.hasVideo()) {
        const std::string fourcc = file.getVideoFourCC();
        char rate[64];
        std::snprintf(rate, sizeof rate, "%.6g fps (%u/%u)", file.getVideoFrameRate(), file.getVideoStreamRate(),
                      file.getVideoStreamScale());
        printRow("width:", number(file.getVideoWidth()));
        printRow("height:", number(file.getVideoHeight()));
        printRow("depth:", number(file.getVideoBitsPerPixel()) + " bits");
        printRow("fourcc:", fourcc.empty() ? "none (uncompressed)" : "'" + fourcc + "'");
        printRow("frame rate:", rate);
        printRow("frames:", std::to_string(file.getVideoTotalFrames()));
        printRow("frame bytes:", number(file.getRawVideoFrameSize(0)));
    }
    std::printf("audio:          %s\n", file.hasAudio() ? "yes" : "no");
    if (file.hasAudio()) {
        printRow("sample rate:", number(file.getAudioSampleRate()) + " Hz");
        printRow("bits:", number(file.getAudioBitsPerSample()));
        printRow("channels:", number(file.getAudioNumberOfChannels()));
        printRow("format:", file.isAudioCompressed() ? "compressed" : "PCM");
        printRow("total bytes:", number(file.getAudioTotalBytes()));
    }
    if (file.getErrorCode() != avi::errors::NO_ERROR) {
        std::printf("warning:        %s (error %d)\n", file.getErrorMsg(), int(file.getErrorCode()));
    }
    printRepairHint(path, file.hasVideo() ? file.getVideoTotalFrames() : -1);
    return 0;
}

// Parses a number option and checks its range; prints why on failure.
bool parseNumber(const std::string& option, const char* text, double low, double high, double& out) {
    char* end = nullptr;
    const double value = std::strtod(text, &end);
    if (end == text || *end != '\0' || !(value >= low && value <= high)) {
        std::fprintf(stderr, "korva-avi: %s wants a number from %g to %g, not '%s'\n", option.c_str(), low, high, text);
        return false;
    }
    out = value;
    return true;
}

bool parseWhole(const std::string& option, const char* text, unsigned low, unsigned high, unsigned& out) {
    double value;
    if (!parseNumber(option, text, low, high, value)) return false;
    if (value != std::floor(value)) {
        std::fprintf(stderr, "korva-avi: %s wants a whole number, not '%s'\n", option.c_str(), text);
        return false;
    }
    out = unsigned(value);
    return true;
}

int testpattern(int argc, char** argv) {
    TestPattern p;
    const char* out = nullptr;
    for (int i = 0; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg.size() < 2 || arg.compare(0, 2, "--") != 0) {
            if (out != nullptr) {
                std::fprintf(stderr, "korva-avi: testpattern takes one output file, not also '%s'\n", argv[i]);
                return 2;
            }
            out = argv[i];
            continue;
        }
        if (i + 1 >= argc) {
            std::fprintf(stderr, "korva-avi: %s needs a value\n", arg.c_str());
            return 2;
        }
        const char* value = argv[++i];
        bool ok;
        if (arg == "--width") ok = parseWhole(arg, value, 1, 8192, p.width);
        else if (arg == "--height") ok = parseWhole(arg, value, 1, 8192, p.height);
        else if (arg == "--fps") ok = parseNumber(arg, value, 0.01, 1000, p.frameRate);
        else if (arg == "--duration") ok = parseNumber(arg, value, 0.001, 86400, p.seconds);
        else if (arg == "--audio-rate") ok = parseWhole(arg, value, 0, 768000, p.audioRate);
        else if (arg == "--channels") ok = parseWhole(arg, value, 1, 16, p.channels);
        else if (arg == "--tone") ok = parseNumber(arg, value, 0, 100000, p.toneHz);
        else {
            std::fprintf(stderr, "korva-avi: unknown option '%s'\n\n", arg.c_str());
            printUsage(stderr);
            return 2;
        }
        if (!ok) return 2;
    }
    if (out == nullptr) {
        std::fprintf(stderr, "korva-avi: testpattern needs an output file\n\n");
        printUsage(stderr);
        return 2;
    }
    if (p.audioRate != 0 && p.audioRate / p.frameRate < 1) {
        std::fprintf(stderr, "korva-avi: the audio rate must give at least one sample a frame\n");
        return 2;
    }
    const std::string failure = writeTestPattern(p, out);
    if (!failure.empty()) {
        std::fprintf(stderr, "korva-avi: cannot write '%s': %s\n", out, failure.c_str());
        return 1;
    }
    std::printf("wrote %s\n", out);
    return 0;
}

// `frame FILE N OUT.png`
int frame(int argc, char** argv) {
    if (argc != 3) {
        std::fprintf(stderr, "korva-avi: frame takes a FILE, a frame number N and an OUT.png\n\n");
        printUsage(stderr);
        return 2;
    }
    char* end = nullptr;
    errno = 0;
    const long long number = std::strtoll(argv[1], &end, 10);
    if (end == argv[1] || *end != '\0' || errno != 0 || number < 0) {
        std::fprintf(stderr, "korva-avi: the frame number must be a whole number from 0 up, not '%s'\n", argv[1]);
        return 2;
    }
    const std::string failure = exportFrameAsPng(argv[0], number, argv[2]);
    if (!failure.empty()) {
        std::fprintf(stderr, "korva-avi: %s\n", failure.c_str());
        return 1;
    }
    std::printf("wrote %s\n", argv[2]);
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        printUsage(stderr);
        return 2;
    }
    const std::string command = argv[1];
    if (command == "--help" || command == "-h" || command == "help") {
        printUsage(stdout);
        return 0;
    }
    if (command == "--version") {
        std::printf("korva-avi %s\n", KORVA_VERSION);
        return 0;
    }
    if (command == "info") {
        if (argc == 4 && (std::string(argv[2]) == "--json" || std::string(argv[3]) == "--json")) {
            return printInfoJson(std::string(argv[2]) == "--json" ? argv[3] : argv[2]);
        }
        if (argc != 3) {
            std::fprintf(stderr, "korva-avi: info takes exactly one FILE, and --json if wanted\n\n");
            printUsage(stderr);
            return 2;
        }
        return info(argv[2]);
    }
    if (command == "testpattern") return testpattern(argc - 2, argv + 2);
    if (command == "frame") return frame(argc - 2, argv + 2);
    if (command == "contact") return contactCommand(argc - 2, argv + 2);
    if (command == "repair") return korva::repair::repairCommand(argc - 2, argv + 2);
    std::fprintf(stderr, "korva-avi: unknown command '%s'\n\n", command.c_str());
    printUsage(stderr);
    return 2;
}
