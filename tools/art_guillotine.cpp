// The guillotine at night: the frame stands on a scaffold against a red sky; blade and head
// are separate full-screen layers aligned with the frame, so the scene can drop each one
// straight down from where it rests.
#include "draw.h"
#include "pictures.h"
#include "rng.h"

#include <cmath>

namespace {

const Ramp sky = {0x1C0A12, 0x2A0E16, 0x3A121A, 0x4C171D, 0x60201F, 0x742A22, 0x883526};
const uint32_t moon = 0xF2E2C4, roofs = 0x160709, roofLight = 0xF2B84B;
const uint32_t timber = 0x7A4A2A, timberDark = 0x55321C, timberLight = 0x9A6438, rope = 0xC9A46A;
const uint32_t steel = 0xB9C4CE, steelDark = 0x7D8A96, steelEdge = 0xE9F0F5, weight = 0x3C3A44;
const uint32_t skin = 0xEFC3A0, wig = 0xEEE8DC, wigShade = 0xC9C0B0, cheek = 0xE88C86, ribbon = 0x2C3E78;

// The frame's layout, shared by the three layers so blade and head sit in it exactly.
const double postLeft = 392, postRight = 592, postWidth = 40;
const double innerLeft = postLeft + postWidth, innerRight = postRight;
const double lunetteY = 392, holeRadius = 42, centreX = 512;

}  // namespace

void drawGuillotine(const Canvas& canvas)
{
    cairo_t* cr = canvas.cr();
    fillVerticalRamp(canvas, sky);
    Rng stars(0x57A2);
    for (int i = 0; i < 40; ++i)
        fillCircle(cr, stars.range(0, canvas.width()), stars.range(0, 200), stars.range(0.8, 2.0), moon, 0.7);
    fillCircle(cr, 800, 130, 64, moon);
    fillCircle(cr, 780, 116, 12, 0xE2D0AE);
    fillCircle(cr, 822, 150, 8, 0xE2D0AE);
    // Rooftops of the square behind, with a few lit windows.
    Rng rng(0x6011);
    for (double x = -20; x < canvas.width(); x += rng.range(70, 120)) {
        const double top = rng.range(330, 420), width = rng.range(80, 130);
        fillPolygon(cr, {x, 600, x, top, x + width / 2, top - 40, x + width, top, x + width, 600}, roofs);
        if (rng.uniform() < 0.6) fillRect(cr, x + width / 2 - 8, top + 30, 16, 20, roofLight);
    }
    // Scaffold and steps.
    fillRect(cr, 250, 470, 524, 24, timberLight);
    fillRect(cr, 250, 494, 524, 90, timberDark);
    for (double x = 270; x < 770; x += 64) fillRect(cr, x, 494, 10, 90, timber);
    // Uprights, grooved on their inner faces, and the crossbeam.
    fillRect(cr, postLeft, 40, postWidth, 432, timber);
    fillRect(cr, postRight, 40, postWidth, 432, timber);
    fillRect(cr, innerLeft - 8, 60, 8, 412, timberDark);
    fillRect(cr, innerRight, 60, 8, 412, timberDark);
    fillRect(cr, postLeft - 30, 20, postRight + postWidth - postLeft + 60, 40, timberLight);
    fillRect(cr, postLeft - 30, 52, postRight + postWidth - postLeft + 60, 8, timberDark);
    // Diagonal braces at the foot.
    fillPolygon(cr, {postLeft, 380, postLeft - 70, 470, postLeft - 40, 470, postLeft, 420}, timber);
    fillPolygon(cr, {postRight + postWidth, 380, postRight + postWidth + 70, 470,
                     postRight + postWidth + 40, 470, postRight + postWidth, 420}, timber);
    // Rope running from the crossbeam down the right post.
    fillRect(cr, postRight + postWidth + 4, 60, 5, 300, rope);
    fillCircle(cr, postRight + postWidth + 6, 362, 9, rope);
    // Lunette: the board with its round opening.
    fillRect(cr, innerLeft, lunetteY - 52, innerRight - innerLeft, 104, timberLight);
    fillRect(cr, innerLeft, lunetteY - 2, innerRight - innerLeft, 4, timberDark);
    fillCircle(cr, centreX, lunetteY, holeRadius, 0x1A0A08);
}

void drawGuillotineBlade(const Canvas& canvas)
{
    cairo_t* cr = canvas.cr();
    const double top = 96, left = innerLeft + 2, right = innerRight - 2;
    // Weight block, bolts, then the slanted blade under it.
    fillRect(cr, left, top, right - left, 44, weight);
    for (double x : {left + 20, right - 20}) fillCircle(cr, x, top + 22, 6, steelDark);
    fillPolygon(cr, {left, top + 44, right, top + 44, right, top + 150, left, top + 96}, steel);
    fillPolygon(cr, {left, top + 84, right, top + 138, right, top + 150, left, top + 96}, steelEdge);
    fillRect(cr, left, top + 44, right - left, 6, steelDark);
}

void drawGuillotineHead(const Canvas& canvas)
{
    cairo_t* cr = canvas.cr();
    const double cx = centreX, cy = lunetteY + 6;
    // A powdered wig in rolled curls around a round, resigned face.
    for (int side : {-1, 1})
        for (int i = 0; i < 3; ++i) fillCircle(cr, cx + side * 46, cy - 26 + i * 26, 17, wigShade);
    fillEllipse(cr, cx, cy - 30, 50, 34, wig);
    fillEllipse(cr, cx, cy + 4, 38, 42, skin);
    fillEllipse(cr, cx, cy - 38, 44, 18, wig);
    for (int side : {-1, 1}) {
        for (int i = 0; i < 3; ++i) fillCircle(cr, cx + side * 44, cy - 24 + i * 24, 14, wig);
        // Closed eyes: short downward arcs.
        cairo_new_path(cr);
        cairo_arc(cr, cx + side * 15, cy - 2, 8, 0.15 * M_PI, 0.85 * M_PI);
        cairo_set_line_width(cr, 3.5);
        cairo_set_line_cap(cr, CAIRO_LINE_CAP_ROUND);
        setColour(cr, 0x3A2418);
        cairo_stroke(cr);
        fillCircle(cr, cx + side * 22, cy + 16, 7, cheek, 0.8);
    }
    fillEllipse(cr, cx, cy + 12, 6, 8, 0xE0A888);
    fillEllipse(cr, cx, cy + 30, 9, 4, 0x9A4A44);
    fillPolygon(cr, {cx + 46, cy - 20, cx + 66, cy - 34, cx + 66, cy - 6}, ribbon);
}
