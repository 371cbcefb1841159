// ImagePNG: libpng 1.6. Every colour type and bit depth ends as 8-bit grey, grey+alpha, RGB
// or RGBA, stored bottom row first for GL's origin.
#include "imagepng.h"

#include <GL/gl.h>
#include <csetjmp>
#include <cstdio>
#include <unistd.h>
#include <png.h>
#include <vector>

#include "logger.h"
#include "utils.h"

// Expands palettes, low grey depths and tRNS, and narrows 16 bits, in the order that keeps
// libpng's transformations consistent with one another.
static void setTransformations(png_structp png, png_infop info)
{
    int depth = png_get_bit_depth(png, info);
    int type = png_get_color_type(png, info);
    if (type == PNG_COLOR_TYPE_PALETTE) png_set_palette_to_rgb(png);
    if (type == PNG_COLOR_TYPE_GRAY && depth < 8) png_set_expand_gray_1_2_4_to_8(png);
    if (png_get_valid(png, info, PNG_INFO_tRNS)) png_set_tRNS_to_alpha(png);
    if (depth == 16)
        png_set_strip_16(png);
    else if (depth < 8)
        png_set_packing(png);
}

// Components and GL format for the colour type after the transformations; 0 for none.
static int componentsOf(int type, int& format)
{
    switch (type) {
    case PNG_COLOR_TYPE_GRAY: format = GL_LUMINANCE; return 1;
    case PNG_COLOR_TYPE_GRAY_ALPHA: format = GL_LUMINANCE_ALPHA; return 2;
    case PNG_COLOR_TYPE_RGB: format = GL_RGB; return 3;
    case PNG_COLOR_TYPE_RGB_ALPHA: format = GL_RGBA; return 4;
    default: return 0;
    }
}

// libpng's own handlers print to standard error; a picture that cannot be decoded is only
// skipped, so its reasons go to the debug log, and an error returns to the jump point.
static void quietError(png_structp png, png_const_charp message)
{
    logger << "Image: libpng error: " << message << std::endl;
    png_longjmp(png, 1);
}

static void quietWarning(png_structp, png_const_charp message)
{
    logger << "Image: libpng warning: " << message << std::endl;
}

// libpng jumps back here on a decoding error; everything it allocated is released here. An
// unusable colour type is refused; a decoding error goes through with no picture.
static Result decode(FILE* file, const std::string& filename, Image*& decoded)
{
    decoded = nullptr;
    png_structp png = png_create_read_struct(PNG_LIBPNG_VER_STRING, nullptr, quietError, quietWarning);
    if (!png) return Result();
    png_infop info = png_create_info_struct(png);
    if (!info) {
        png_destroy_read_struct(&png, nullptr, nullptr);
        return Result();
    }

    // A declared size beyond what GL can hold is a decoding error, not an allocation crash.
    png_set_user_limits(png, 16384, 16384);

    Image* volatile image = nullptr;
    std::vector<png_bytep> rows;
    if (setjmp(png_jmpbuf(png))) {
        if (image) {
            image->releaseData();
            delete image;
        }
        png_destroy_read_struct(&png, &info, nullptr);
        return Result();
    }

    png_init_io(png, file);
    png_read_info(png, info);
    setTransformations(png, info);
    // libpng 1.6 warns on standard error when png_read_image has to switch this on itself.
    png_set_interlace_handling(png);
    png_read_update_info(png, info);

    png_uint_32 width, height;
    int depth, type;
    png_get_IHDR(png, info, &width, &height, &depth, &type, nullptr, nullptr, nullptr);
    int format = 0;
    int components = componentsOf(type, format);
    if (components == 0) {
        png_destroy_read_struct(&png, &info, nullptr);
        return Result::refuse("Image: Components error...");
    }
    logger << "Image: " << filename << " info: width=" << width << ", height=" << height << ", color=" << format
           << ", components=" << components << std::endl;

    image = new Image();
    image->components = components;
    image->format = format;
    image->width = width;
    image->height = height;
    // Four bytes per pixel per row whatever the component count: GL reads this layout
    // correctly only for RGBA pictures, which is what the demo's textures are.
    size_t pitch = static_cast<size_t>(width) * 4;
    image->data = new unsigned char[pitch * height];
    rows.resize(height);
    for (png_uint_32 i = 0; i < height; i++) rows[i] = image->data + (height - 1 - i) * pitch;

    png_read_image(png, rows.data());
    png_read_end(png, nullptr);
    png_destroy_read_struct(&png, &info, nullptr);
    decoded = image;
    return Result();
}

// Opens and decodes the file. What ends a load (a file that cannot be opened, not a PNG, an
// unusable colour type) is refused; a decoding error goes through with no picture. Opened
// without blocking: a pipe named like a picture is refused, not waited on.
static Result openAndDecode(const std::string& filename, bool staged, Image*& image)
{
    image = nullptr;
    int descriptor;
    Result opened = openData(filename, descriptor);
    FILE* file = opened.ok() ? fdopen(descriptor, "rb") : nullptr;
    if (!file) {
        if (opened.ok()) close(descriptor);
        std::string why = opened.ok() ? "cannot be opened" : refusal(opened.reason(), staged);
        return Result::refuse("Image: Error! " + filename + " " + why + "!");
    }

    png_byte signature[8] = {0};
    size_t got = fread(signature, 1, sizeof(signature), file);
    rewind(file);
    Result decoded = got != sizeof(signature) || png_sig_cmp(signature, 0, sizeof(signature)) != 0
                         ? Result::refuse("Image: Error! " + filename + " is not a png file!")
                         : decode(file, filename, image);
    fclose(file);
    return decoded;
}

Image* ImagePNG::load(std::string filename)
{
    logger << "Image: Loading " << filename << std::endl;
    Image* image;
    Result loaded = openAndDecode(filename, false, image);
    if (!loaded.ok()) fatal(loaded.reason());
    return image;
}

Result ImagePNG::read(std::string filename, Image*& image)
{
    logger << "Image: Loading " << filename << std::endl;
    Result decoded = openAndDecode(filename, true, image);
    if (decoded.ok() && !image) return Result::refuse("Image: Error! " + filename + " could not be decoded!");
    return decoded;
}
