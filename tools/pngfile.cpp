// PNG output through libpng. No time stamp, text or gamma chunk is written, and the zlib
// settings are fixed, so the same pixels always give the same bytes.
#include "pngfile.h"

#include "fail.h"

#include <png.h>
#include <cstdio>

void writePng(const std::string& path, int width, int height, const std::vector<uint8_t>& rgba)
{
    FILE* file = std::fopen(path.c_str(), "wb");
    if (!file) fail("cannot write " + path);

    png_structp png = png_create_write_struct(PNG_LIBPNG_VER_STRING, nullptr, nullptr, nullptr);
    png_infop info = png ? png_create_info_struct(png) : nullptr;
    if (!info || setjmp(png_jmpbuf(png))) fail("libpng failed on " + path);

    png_init_io(png, file);
    png_set_compression_level(png, 6);
    png_set_IHDR(png, info, width, height, 8, PNG_COLOR_TYPE_RGB_ALPHA, PNG_INTERLACE_NONE,
                 PNG_COMPRESSION_TYPE_DEFAULT, PNG_FILTER_TYPE_DEFAULT);
    png_write_info(png, info);

    std::vector<png_bytep> rows(height);
    for (int y = 0; y < height; ++y)
        rows[y] = const_cast<png_bytep>(rgba.data() + size_t(y) * width * 4);
    png_write_image(png, rows.data());
    png_write_end(png, nullptr);

    png_destroy_write_struct(&png, &info);
    std::fclose(file);
}
