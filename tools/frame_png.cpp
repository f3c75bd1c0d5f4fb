#include "frame_png.h"

#include <algorithm>
#include <cerrno>
#include <csetjmp>
#include <cstdio>
#include <cstring>
#include <vector>

#include <png.h>

#include <korva/korva.h>

namespace {

// Frames past this many bytes are refused rather than allocated: a damaged
// header can claim any geometry.
const uint64_t MAX_FRAME_BYTES = uint64_t(1) << 30;

// A picture as three 8-bit planes in row order, top line first.
struct Picture {
    uint32_t width = 0;
    uint32_t height = 0;
    std::vector<uint8_t> red, green, blue;
};

std::string quoted(const std::string& path) { return "'" + path + "'"; }

// Reads the frame as the bottom-up RGB24 frame of the reader and lifts it into
// planes with the library's input kernel.
std::string readPicture(const std::string& aviPath, int64_t number, Picture& picture) {
    avi::File file;
    if (!file.open(aviPath.c_str(), "rb")) {
        return "cannot read " + quoted(aviPath) + ": " + file.getErrorMsg();
    }
    if (!file.hasVideo()) {
        return quoted(aviPath) + " has no video stream";
    }
    const int64_t frames = file.getVideoTotalFrames();
    if (number < 0 || number >= frames) {
        return "frame " + std::to_string(number) + " is out of range: " + quoted(aviPath) + " has " +
               std::to_string(frames) + (frames == 1 ? " frame" : " frames");
    }
    const uint16_t depth = file.getVideoBitsPerPixel();
    const bool knownDepth = depth == 2 || depth == 4 || depth == 8 || depth == 16 || depth == 24 || depth == 32;
    if (file.isVideoCompressed() || !knownDepth) {
        const std::string fourcc = file.getVideoFourCC();
        return quoted(aviPath) + " holds video that cannot be turned into RGB (" +
               (file.isVideoCompressed() ? "compressed as '" + fourcc + "'" : std::to_string(depth) + " bits a pixel") +
               ")";
    }
    picture.width = file.getVideoWidth();
    picture.height = file.getVideoHeight();
    const uint64_t frameBytes = uint64_t(picture.height) * (3 * uint64_t(picture.width) + 3) / 4 * 4;
    if (picture.width == 0 || picture.height == 0 || picture.width > INT32_MAX / 4 || picture.height > INT32_MAX ||
        frameBytes > MAX_FRAME_BYTES) {
        return quoted(aviPath) + " has a picture of " + std::to_string(picture.width) + "x" +
               std::to_string(picture.height) + " pixels, which cannot be exported";
    }
    // Room for every read form of the frame, as the reader asks.
    const uint64_t bufferBytes = std::max<uint64_t>({frameBytes, file.getRawVideoFrameSize(long(number)),
                                                     file.getRGB24VideoFrameSize(), file.getIndexedVideoFrameSize()});
    std::vector<char> frame(bufferBytes, 0);
    file.readRGB24VideoFrame(frame.data(), long(number));
    if (file.getErrorCode() != avi::errors::NO_ERROR) {
        return "cannot read frame " + std::to_string(number) + " of " + quoted(aviPath) + ": " + file.getErrorMsg();
    }
    const size_t pixels = size_t(picture.width) * picture.height;
    picture.red.resize(pixels);
    picture.green.resize(pixels);
    picture.blue.resize(pixels);
    const MMVideoInputFcn lift = MM_GetVideoInputFcn(FOURCC_RGB, FOURCC_RGB, VIDEO_UINT8, false);
    lift(reinterpret_cast<const uint8_t*>(frame.data()), picture.red.data(), picture.green.data(),
         picture.blue.data(), int(picture.width), int(picture.height), 0);
    return std::string();
}

// libpng reports errors through a callback that must not return: it leaves
// the text here and jumps back to the writer.
struct PngFailure {
    std::jmp_buf jump;
    std::string text;
};

void onPngError(png_structp png, png_const_charp message) {
    PngFailure* failure = static_cast<PngFailure*>(png_get_error_ptr(png));
    failure->text = message;
    std::longjmp(failure->jump, 1);
}

void onPngWarning(png_structp, png_const_charp) {}

// Everything that libpng may jump over is made before setjmp, so that no
// destructor is skipped.
std::string writePng(const Picture& picture, std::FILE* out) {
    PngFailure failure;
    std::vector<uint8_t> row(3 * size_t(picture.width));
    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, &failure, onPngError, onPngWarning);
    if (png == nullptr) {
        return "cannot start the PNG writer";
    }
    png_infop info = png_create_info_struct(png);
    if (info == nullptr) {
        png_destroy_write_struct(&png, nullptr);
        return "cannot start the PNG writer";
    }
    if (setjmp(failure.jump)) {
        png_destroy_write_struct(&png, &info);
        return failure.text;
    }
    png_init_io(png, out);
    png_set_IHDR(png, info, picture.width, picture.height, 8, PNG_COLOR_TYPE_RGB, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_write_info(png, info);
    for (uint32_t y = 0; y < picture.height; ++y) {
        const size_t line = size_t(y) * picture.width;
        for (uint32_t x = 0; x < picture.width; ++x) {
            row[3 * x] = picture.red[line + x];
            row[3 * x + 1] = picture.green[line + x];
            row[3 * x + 2] = picture.blue[line + x];
        }
        png_write_row(png, row.data());
    }
    png_write_end(png, info);
    png_destroy_write_struct(&png, &info);
    return std::string();
}

} // namespace

std::string exportFrameAsPng(const std::string& aviPath, int64_t number, const std::string& pngPath) {
    Picture picture;
    const std::string readFailure = readPicture(aviPath, number, picture);
    if (!readFailure.empty()) {
        return readFailure;
    }
    std::FILE* out = std::fopen(pngPath.c_str(), "wb");
    if (out == nullptr) {
        return "cannot write " + quoted(pngPath) + ": " + std::strerror(errno);
    }
    std::string failure = writePng(picture, out);
    if (std::fclose(out) != 0 && failure.empty()) {
        failure = std::strerror(errno);
    }
    if (!failure.empty()) {
        std::remove(pngPath.c_str());
        return "cannot write " + quoted(pngPath) + ": " + failure;
    }
    return std::string();
}
