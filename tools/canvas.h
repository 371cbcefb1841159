// A Cairo drawing surface for one picture, and the fonts the pictures are set in.
// Depends on: Cairo (drawing), FreeType through cairo-ft (fonts loaded from their files, so the
// text does not depend on the machine's font configuration).
#pragma once

#include <cairo.h>
#include <cstdint>
#include <vector>

enum class Font { Sans, SansBold, SerifBold };

// The font face for `font`, loaded once on first use and kept for the life of the process.
cairo_font_face_t* fontFace(Font font);

class Canvas {
public:
    Canvas(int width, int height);
    ~Canvas();
    Canvas(const Canvas&) = delete;
    Canvas& operator=(const Canvas&) = delete;

    cairo_t* cr() const { return context; }
    cairo_surface_t* surface() const { return image; }
    int width() const { return w; }
    int height() const { return h; }

    // Straight-alpha RGBA bytes, top row first. Fully transparent pixels carry the colour of
    // their visible neighbours, so a linearly filtered texture shows no dark fringe.
    std::vector<uint8_t> rgba() const;

private:
    int w, h;
    cairo_surface_t* image;
    cairo_t* context;
};
