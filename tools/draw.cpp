// Drawing helpers on top of Cairo paths.
#include "draw.h"

#include "rng.h"

#include <algorithm>
#include <cmath>

void setColour(cairo_t* cr, uint32_t rgb, double alpha)
{
    cairo_set_source_rgba(cr, ((rgb >> 16) & 0xFF) / 255.0, ((rgb >> 8) & 0xFF) / 255.0,
                          (rgb & 0xFF) / 255.0, alpha);
}

uint32_t mix(uint32_t a, uint32_t b, double t)
{
    uint32_t out = 0;
    for (int shift = 0; shift <= 16; shift += 8) {
        const double ca = (a >> shift) & 0xFF, cb = (b >> shift) & 0xFF;
        out |= uint32_t(std::lround(ca + (cb - ca) * t)) << shift;
    }
    return out;
}

void fillRect(cairo_t* cr, double x, double y, double w, double h, uint32_t rgb, double alpha)
{
    cairo_rectangle(cr, x, y, w, h);
    setColour(cr, rgb, alpha);
    cairo_fill(cr);
}

void fillRoundRect(cairo_t* cr, double x, double y, double w, double h, double r, uint32_t rgb)
{
    cairo_new_sub_path(cr);
    cairo_arc(cr, x + w - r, y + r, r, -M_PI / 2, 0);
    cairo_arc(cr, x + w - r, y + h - r, r, 0, M_PI / 2);
    cairo_arc(cr, x + r, y + h - r, r, M_PI / 2, M_PI);
    cairo_arc(cr, x + r, y + r, r, M_PI, 1.5 * M_PI);
    cairo_close_path(cr);
    setColour(cr, rgb);
    cairo_fill(cr);
}

void fillEllipse(cairo_t* cr, double cx, double cy, double rx, double ry, uint32_t rgb, double alpha)
{
    cairo_save(cr);
    cairo_translate(cr, cx, cy);
    cairo_scale(cr, rx, ry);
    cairo_new_sub_path(cr);
    cairo_arc(cr, 0, 0, 1, 0, 2 * M_PI);
    cairo_restore(cr);
    setColour(cr, rgb, alpha);
    cairo_fill(cr);
}

void fillCircle(cairo_t* cr, double cx, double cy, double r, uint32_t rgb, double alpha)
{
    fillEllipse(cr, cx, cy, r, r, rgb, alpha);
}

void fillPolygon(cairo_t* cr, const std::vector<double>& points, uint32_t rgb, double alpha)
{
    cairo_new_path(cr);
    for (size_t i = 0; i + 1 < points.size(); i += 2) cairo_line_to(cr, points[i], points[i + 1]);
    cairo_close_path(cr);
    setColour(cr, rgb, alpha);
    cairo_fill(cr);
}

namespace {

// A colour with unrounded 0..255 channels.
struct Shade {
    double r, g, b;
};

Shade rampAt(const Ramp& ramp, double t)
{
    const double at = std::clamp(t, 0.0, 1.0) * (ramp.size() - 1);
    const size_t below = std::min(size_t(at), ramp.size() - 1), above = std::min(below + 1, ramp.size() - 1);
    const double f = at - below;
    const auto channel = [&](int shift) {
        const double a = (ramp[below] >> shift) & 0xFF, b = (ramp[above] >> shift) & 0xFF;
        return a + (b - a) * f;
    };
    return {channel(16), channel(8), channel(0)};
}

// Triangular noise in (-1, 1) for pixel (x, y): the sum of two uniform numbers from a hash of
// the position, so the pattern is the same however the picture is painted.
double ditherNoise(int x, int y)
{
    Rng rng((uint64_t(uint32_t(y)) << 32) | uint32_t(x));
    return rng.uniform() + rng.uniform() - 1.0;
}

}  // namespace

uint32_t rampColour(const Ramp& ramp, double t)
{
    const Shade shade = rampAt(ramp, t);
    return uint32_t(std::lround(shade.r)) << 16 | uint32_t(std::lround(shade.g)) << 8 | uint32_t(std::lround(shade.b));
}

void paintRamp(const Canvas& canvas, const Ramp& ramp, const std::function<double(double, double)>& position)
{
    cairo_surface_t* image = canvas.surface();
    cairo_surface_flush(image);
    uint8_t* data = cairo_image_surface_get_data(image);
    const int stride = cairo_image_surface_get_stride(image);
    for (int y = 0; y < canvas.height(); ++y) {
        uint32_t* row = reinterpret_cast<uint32_t*>(data + size_t(y) * stride);
        for (int x = 0; x < canvas.width(); ++x) {
            const Shade shade = rampAt(ramp, position(x + 0.5, y + 0.5));
            const double noise = ditherNoise(x, y);
            const auto level = [&](double v) { return uint32_t(std::clamp(std::floor(v + noise + 0.5), 0.0, 255.0)); };
            row[x] = 0xFF000000u | level(shade.r) << 16 | level(shade.g) << 8 | level(shade.b);
        }
    }
    cairo_surface_mark_dirty(image);
}

void fillVerticalRamp(const Canvas& canvas, const Ramp& ramp)
{
    const double height = canvas.height();
    paintRamp(canvas, ramp, [&](double, double y) { return y / height; });
}

void fillRadialRamp(const Canvas& canvas, double cx, double cy, double radius, const Ramp& ramp)
{
    paintRamp(canvas, ramp, [&](double x, double y) { return std::hypot(x - cx, y - cy) / radius; });
}

static void selectFont(cairo_t* cr, Font font, double size)
{
    cairo_set_font_face(cr, fontFace(font));
    cairo_set_font_size(cr, size);
}

double textWidth(cairo_t* cr, Font font, double size, const std::string& text)
{
    selectFont(cr, font, size);
    cairo_text_extents_t extents;
    cairo_text_extents(cr, text.c_str(), &extents);
    return extents.x_advance;
}

// Leaves the outline of `text` as the current path.
static void textPath(cairo_t* cr, Font font, double size, double cx, double baseline, const std::string& text)
{
    const double width = textWidth(cr, font, size, text);
    cairo_new_path(cr);
    cairo_move_to(cr, cx - width / 2, baseline);
    cairo_text_path(cr, text.c_str());
}

void textCentred(cairo_t* cr, Font font, double size, double cx, double baseline,
                 const std::string& text, uint32_t rgb)
{
    textPath(cr, font, size, cx, baseline, text);
    setColour(cr, rgb);
    cairo_fill(cr);
}

void textOutlined(cairo_t* cr, Font font, double size, double cx, double baseline,
                  const std::string& text, uint32_t fill, uint32_t outline, double stroke)
{
    textPath(cr, font, size, cx, baseline, text);
    setColour(cr, outline);
    cairo_set_line_width(cr, stroke * 2);
    cairo_set_line_join(cr, CAIRO_LINE_JOIN_ROUND);
    cairo_stroke_preserve(cr);
    setColour(cr, fill);
    cairo_fill(cr);
}

void wrapped(cairo_t* cr, double width, const std::function<void()>& shape)
{
    for (int copy = -1; copy <= 1; ++copy) {
        cairo_save(cr);
        cairo_translate(cr, copy * width, 0);
        shape();
        cairo_restore(cr);
    }
}

double ridgeY(double x, double width, double baseline, const std::vector<Wave>& waves)
{
    double y = baseline;
    for (const Wave& wave : waves) y += wave.amplitude * std::sin(2 * M_PI * wave.cycles * x / width + wave.phase);
    return y;
}

void fillRidge(const Canvas& canvas, double baseline, const std::vector<Wave>& waves, uint32_t rgb)
{
    cairo_t* cr = canvas.cr();
    const double w = canvas.width();
    cairo_new_path(cr);
    cairo_move_to(cr, 0, canvas.height());
    for (int x = 0; x <= canvas.width(); x += 2) cairo_line_to(cr, x, ridgeY(x, w, baseline, waves));
    cairo_line_to(cr, w, canvas.height());
    cairo_close_path(cr);
    setColour(cr, rgb);
    cairo_fill(cr);
}
