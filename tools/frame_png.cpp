#include "frame_png.h"

#include <cerrno>
#include <csetjmp>
#include <cstdio>
#include <cstring>
#include <vector>

#include <png.h>

#include <korva/korva.h>

#include "frame_reader.h"

namespace {

std::string quoted(const std::string& path) { return "'" + path + "'"; }

// Reads the frame as the bottom-up RGB24 frame of the reader and lifts it into
// planes with the library's input kernel.
std::string readPicture(const std::string& aviPath, int64_t number, RGBPicture& picture) {
    RGB24FrameReader reader;
    const std::string openFailure = reader.open(aviPath);
    if (!openFailure.empty()) return openFailure;
    const int64_t frames = reader.frameCount();
    if (number < 0 || number >= frames) {
        return "frame " + std::to_string(number) + " is out of range: " + quoted(aviPath) + " has " +
               std::to_string(frames) + (frames == 1 ? " frame" : " frames");
    }
    const std::string readFailure = reader.read(number);
    if (!readFailure.empty()) return readFailure;
    const uint8_t black[3] = {0, 0, 0};
    picture.reset(reader.width(), reader.height(), black);
    const MMVideoInputFcn lift = MM_GetVideoInputFcn(FOURCC_RGB, FOURCC_RGB, VIDEO_UINT8, false);
    lift(reader.rows(), picture.planes.red.data(), picture.planes.green.data(), picture.planes.blue.data(),
         int(picture.width), int(picture.height), 0);
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
std::string writePng(const RGBPicture& picture, std::FILE* out) {
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
            row[3 * x] = picture.planes.red[line + x];
            row[3 * x + 1] = picture.planes.green[line + x];
            row[3 * x + 2] = picture.planes.blue[line + x];
        }
        png_write_row(png, row.data());
    }
    png_write_end(png, info);
    png_destroy_write_struct(&png, &info);
    return std::string();
}

} // namespace

std::string exportFrameAsPng(const std::string& aviPath, int64_t number, const std::string& pngPath) {
    RGBPicture picture;
    const std::string readFailure = readPicture(aviPath, number, picture);
    if (!readFailure.empty()) {
        return readFailure;
    }
    return savePictureAsPng(picture, pngPath);
}

std::string savePictureAsPng(const RGBPicture& picture, const std::string& pngPath) {
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
