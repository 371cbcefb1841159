// Canvas: Cairo image surfaces, conversion to straight-alpha RGBA, and font loading.
#include "canvas.h"

#include "fail.h"

#include <cairo-ft.h>
#include <ft2build.h>
#include FT_FREETYPE_H

#include <array>
#include <string>

static const char* const fontFiles[] = {
    "/usr/share/fonts/truetype/dejavu/DejaVuSans.ttf",
    "/usr/share/fonts/truetype/dejavu/DejaVuSans-Bold.ttf",
    "/usr/share/fonts/truetype/dejavu/DejaVuSerif-Bold.ttf",
};

cairo_font_face_t* fontFace(Font font)
{
    static FT_Library library = nullptr;
    static std::array<cairo_font_face_t*, 3> faces{};
    const size_t index = size_t(font);
    if (faces[index]) return faces[index];

    if (!library && FT_Init_FreeType(&library)) fail("cannot initialise FreeType");
    FT_Face face;
    if (FT_New_Face(library, fontFiles[index], 0, &face))
        fail(std::string("cannot load font ") + fontFiles[index] + " (package fonts-dejavu-core)");
    faces[index] = cairo_ft_font_face_create_for_ft_face(face, 0);
    return faces[index];
}

Canvas::Canvas(int width, int height)
    : w(width), h(height),
      image(cairo_image_surface_create(CAIRO_FORMAT_ARGB32, width, height)),
      context(cairo_create(image))
{
    // Unhinted outlines: glyph shapes then depend on the font file alone.
    cairo_font_options_t* options = cairo_font_options_create();
    cairo_font_options_set_hint_style(options, CAIRO_HINT_STYLE_NONE);
    cairo_font_options_set_hint_metrics(options, CAIRO_HINT_METRICS_OFF);
    cairo_font_options_set_antialias(options, CAIRO_ANTIALIAS_GRAY);
    cairo_set_font_options(context, options);
    cairo_font_options_destroy(options);
}

Canvas::~Canvas()
{
    cairo_destroy(context);
    cairo_surface_destroy(image);
}

// Un-premultiplies Cairo's native-endian ARGB32 words into RGBA bytes.
static std::vector<uint8_t> unpremultiply(cairo_surface_t* image, int w, int h)
{
    cairo_surface_flush(image);
    const uint8_t* base = cairo_image_surface_get_data(image);
    const int stride = cairo_image_surface_get_stride(image);
    std::vector<uint8_t> out(size_t(w) * h * 4);
    for (int y = 0; y < h; ++y) {
        const uint32_t* row = reinterpret_cast<const uint32_t*>(base + size_t(y) * stride);
        for (int x = 0; x < w; ++x) {
            const uint32_t p = row[x];
            const uint32_t a = p >> 24;
            uint8_t* o = &out[(size_t(y) * w + x) * 4];
            for (int c = 0; c < 3; ++c) {
                const uint32_t v = (p >> (16 - 8 * c)) & 0xFF;
                o[c] = a ? uint8_t((v * 255 + a / 2) / a) : 0;
            }
            o[3] = uint8_t(a);
        }
    }
    return out;
}

// Spreads colour into fully transparent pixels from their neighbours, a few pixels deep,
// wrapping at the borders as a repeating texture does; whatever stays unreached takes the
// mean visible colour.
static void bleedColour(std::vector<uint8_t>& rgba, int w, int h)
{
    const size_t count = size_t(w) * h;
    std::vector<uint8_t> known(count);
    double sum[3] = {0, 0, 0};
    size_t visible = 0;
    for (size_t i = 0; i < count; ++i) {
        known[i] = rgba[i * 4 + 3] != 0;
        if (!known[i]) continue;
        for (int c = 0; c < 3; ++c) sum[c] += rgba[i * 4 + c];
        ++visible;
    }
    if (visible == count) return;

    for (int pass = 0; pass < 6; ++pass) {
        std::vector<uint8_t> next = known;
        for (int y = 0; y < h; ++y)
            for (int x = 0; x < w; ++x) {
                const size_t i = size_t(y) * w + x;
                if (known[i]) continue;
                const size_t neighbours[4] = {size_t(y) * w + (x + w - 1) % w, size_t(y) * w + (x + 1) % w,
                                              size_t((y + h - 1) % h) * w + x, size_t((y + 1) % h) * w + x};
                int acc[3] = {0, 0, 0}, n = 0;
                for (size_t j : neighbours) {
                    if (!known[j]) continue;
                    for (int c = 0; c < 3; ++c) acc[c] += rgba[j * 4 + c];
                    ++n;
                }
                if (!n) continue;
                for (int c = 0; c < 3; ++c) rgba[i * 4 + c] = uint8_t((acc[c] + n / 2) / n);
                next[i] = 1;
            }
        known.swap(next);
    }

    for (size_t i = 0; i < count; ++i)
        if (!known[i])
            for (int c = 0; c < 3; ++c) rgba[i * 4 + c] = visible ? uint8_t(sum[c] / visible + 0.5) : 0;
}

std::vector<uint8_t> Canvas::rgba() const
{
    std::vector<uint8_t> out = unpremultiply(image, w, h);
    bleedColour(out, w, h);
    return out;
}
