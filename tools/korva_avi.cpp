// korva-avi: inspect AVI files with libkorva.

#include <cstdio>
#include <cstring>
#include <string>

#include <korva/korva.h>

namespace {

const char* const USAGE =
    "usage: korva-avi COMMAND [ARGS]\n"
    "\n"
    "commands:\n"
    "  info FILE     print the streams and properties of an AVI file\n"
    "  --help        show this text\n";

void printRow(const char* label, const std::string& value) { std::printf("  %-13s %s\n", label, value.c_str()); }

std::string number(uint64_t v) { return std::to_string(v); }

int info(const char* path) {
    avi::File file;
    if (!file.open(path, "rb")) {
        std::fprintf(stderr, "korva-avi: cannot read '%s': %s (error %d)\n", path, file.getErrorMsg(),
                     int(file.getErrorCode()));
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
    return 0;
}

} // namespace

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fputs(USAGE, stderr);
        return 2;
    }
    const std::string command = argv[1];
    if (command == "--help" || command == "-h" || command == "help") {
        std::fputs(USAGE, stdout);
        return 0;
    }
    if (command == "info") {
        if (argc != 3) {
            std::fprintf(stderr, "korva-avi: info takes exactly one FILE\n\n%s", USAGE);
            return 2;
        }
        return info(argv[2]);
    }
    std::fprintf(stderr, "korva-avi: unknown command '%s'\n\n%s", command.c_str(), USAGE);
    return 2;
}
