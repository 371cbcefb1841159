// Small drawing vocabulary shared by all pictures: colours, filled shapes, set text, and
// repetition across a horizontally tiling picture.
#pragma once

#include "canvas.h"

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

// Sets the source to a 0xRRGGBB colour with the given opacity.
void setColour(cairo_t* cr, uint32_t rgb, double alpha = 1.0);

// Linear blend of two 0xRRGGBB colours, t = 0 gives `a`.
uint32_t mix(uint32_t a, uint32_t b, double t);

void fillRect(cairo_t* cr, double x, double y, double w, double h, uint32_t rgb, double alpha = 1.0);
void fillRoundRect(cairo_t* cr, double x, double y, double w, double h, double r, uint32_t rgb);
void fillEllipse(cairo_t* cr, double cx, double cy, double rx, double ry, uint32_t rgb, double alpha = 1.0);
void fillCircle(cairo_t* cr, double cx, double cy, double r, uint32_t rgb, double alpha = 1.0);

// Fills a closed polygon through `points` given as x0, y0, x1, y1, ...
void fillPolygon(cairo_t* cr, const std::vector<double>& points, uint32_t rgb, double alpha = 1.0);

// A colour ramp: 0xRRGGBB colours spaced evenly from 0 to 1.
using Ramp = std::vector<uint32_t>;

// The ramp's colour at t (0..1, clamped), rounded to 0xRRGGBB.
uint32_t rampColour(const Ramp& ramp, double t);

// Paints every pixel opaquely with the ramp's colour at position(x, y), dithered with a fixed
// noise pattern so a slow ramp shows no steps between its 8-bit levels.
void paintRamp(const Canvas& canvas, const Ramp& ramp, const std::function<double(double, double)>& position);

// A top-to-bottom ramp over the whole canvas: a sky.
void fillVerticalRamp(const Canvas& canvas, const Ramp& ramp);

// A round glow: the ramp from the centre (cx, cy) out to `radius`, its last colour beyond.
void fillRadialRamp(const Canvas& canvas, double cx, double cy, double radius, const Ramp& ramp);

// Width of `text` set in `font` at `size`.
double textWidth(cairo_t* cr, Font font, double size, const std::string& text);

// Sets `text` with its baseline centred on (cx, baseline).
void textCentred(cairo_t* cr, Font font, double size, double cx, double baseline,
                 const std::string& text, uint32_t rgb);

// As textCentred, with an outline of width `stroke` drawn under the letters.
void textOutlined(cairo_t* cr, Font font, double size, double cx, double baseline,
                  const std::string& text, uint32_t fill, uint32_t outline, double stroke);

// Draws `shape` at x offsets -width, 0 and +width, so a shape that crosses one side of a
// horizontally tiling picture comes back in on the other.
void wrapped(cairo_t* cr, double width, const std::function<void()>& shape);

// One sine term of a periodic skyline: `cycles` whole periods across the picture width.
struct Wave {
    int cycles;
    double amplitude;
    double phase;
};

// Fills from a periodic ridge line (baseline + sum of waves, y down) to the bottom edge,
// exactly from x = 0 to x = width so the left and right borders continue each other.
void fillRidge(const Canvas& canvas, double baseline, const std::vector<Wave>& waves, uint32_t rgb);

// Height of that ridge line at x.
double ridgeY(double x, double width, double baseline, const std::vector<Wave>& waves);
