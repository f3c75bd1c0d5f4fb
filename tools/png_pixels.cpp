// png_pixels FILE X,Y...: prints the size of a PNG picture and the red,
// green and blue values of the pixels asked for, as the tool tests read them.

#include <cstdio>
#include <vector>

#include <png.h>

int main(int argc, char** argv) {
    if (argc < 2) {
        std::fprintf(stderr, "usage: png_pixels FILE X,Y...\n");
        return 2;
    }
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    if (!png_image_begin_read_from_file(&image, argv[1])) {
        std::fprintf(stderr, "png_pixels: %s\n", image.message);
        return 1;
    }
    image.format = PNG_FORMAT_RGB;
    std::vector<png_byte> pixels(PNG_IMAGE_SIZE(image));
    if (!png_image_finish_read(&image, nullptr, pixels.data(), 0, nullptr)) {
        std::fprintf(stderr, "png_pixels: %s\n", image.message);
        return 1;
    }
    std::printf("size %ux%u\n", image.width, image.height);
    for (int i = 2; i < argc; ++i) {
        unsigned x, y;
        if (std::sscanf(argv[i], "%u,%u", &x, &y) != 2 || x >= image.width || y >= image.height) {
            std::fprintf(stderr, "png_pixels: no pixel '%s'\n", argv[i]);
            return 1;
        }
        const png_byte* p = &pixels[(size_t(y) * image.width + x) * 3];
        std::printf("%u,%u: %u %u %u\n", x, y, p[0], p[1], p[2]);
    }
    return 0;
}
