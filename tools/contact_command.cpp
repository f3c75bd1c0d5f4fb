#include "contact_command.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <unistd.h>

#include "contact_sheet.h"
#include "frame_png.h"
#include "progress_line.h"

const char* const CONTACT_USAGE =
    "  contact FILE OUT.png    save a contact sheet: frames evenly spaced over FILE, first and last included,\n"
    "                          each labelled with its number and time, under a line with size, rate and length\n"
    "      --grid COLSxROWS    the grid of frames (default: 4 columns, up to 4 rows)\n"
    "      --width PIXELS      the width of the sheet (default 1280)\n";

namespace {

int usage(const std::string& why) {
    std::fprintf(stderr, "korva-avi contact: %s\n\nusage: korva-avi contact FILE OUT.png [options]\n%s", why.c_str(),
                 CONTACT_USAGE);
    return 2;
}

// A whole number from low to high, all of text; false otherwise.
bool parseWhole(const char* text, unsigned long low, unsigned long high, unsigned& out) {
    char* end = nullptr;
    errno = 0;
    const unsigned long value = std::strtoul(text, &end, 10);
    if (end == text || *end != '\0' || errno != 0 || *text == '-' || *text == '+' || value < low || value > high) {
        return false;
    }
    out = unsigned(value);
    return true;
}

bool parseGrid(const std::string& text, ContactGrid& grid) {
    const size_t x = text.find('x');
    if (x == std::string::npos) return false;
    return parseWhole(text.substr(0, x).c_str(), 1, MAX_GRID_SIDE, grid.columns) &&
           parseWhole(text.substr(x + 1).c_str(), 1, MAX_GRID_SIDE, grid.rows);
}

} // namespace

int contactCommand(int argc, char** argv) {
    ContactOptions options;
    std::vector<std::string> files;
    for (int i = 0; i < argc; ++i) {
        const std::string arg = argv[i];
        if (arg.size() < 2 || arg.compare(0, 2, "--") != 0) {
            files.push_back(arg);
            continue;
        }
        if (i + 1 >= argc) return usage(arg + " needs a value");
        const std::string value = argv[++i];
        if (arg == "--grid") {
            if (!parseGrid(value, options.grid)) {
                return usage("--grid wants COLSxROWS, each from 1 to " + std::to_string(MAX_GRID_SIDE) + ", not '" +
                             value + "'");
            }
        } else if (arg == "--width") {
            if (!parseWhole(value.c_str(), 1, MAX_SHEET_WIDTH, options.width)) {
                return usage("--width wants a whole number of pixels from 1 to " + std::to_string(MAX_SHEET_WIDTH) +
                             ", not '" + value + "'");
            }
        } else {
            return usage("unknown option '" + arg + "'");
        }
    }
    if (files.size() != 2) return usage("contact takes a FILE and an OUT.png");

    RGBPicture sheet;
    ContactFailure failure;
    {
        ProgressLine progress(stderr, ::isatty(STDERR_FILENO) == 1, "reading frames", "frames", 0);
        failure = makeContactSheet(files[0], options, sheet,
                                   [&](uint64_t done, uint64_t total) { progress(done, total); });
    }
    if (failure.kind == ContactFailure::Request) return usage(failure.text);
    if (failure.kind == ContactFailure::File) {
        std::fprintf(stderr, "korva-avi: %s\n", failure.text.c_str());
        return 1;
    }
    const std::string writeFailure = savePictureAsPng(sheet, files[1]);
    if (!writeFailure.empty()) {
        std::fprintf(stderr, "korva-avi: %s\n", writeFailure.c_str());
        return 1;
    }
    std::printf("wrote %s\n", files[1].c_str());
    return 0;
}
