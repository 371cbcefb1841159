// The district seen in 3D: a street map on the ground, a garden square carrying the
// greetings, and one facade wrapped round every building. The renderer samples the facade's
// four corners for roofs and floors (a repeating texture read at its corner), so the facade
// is framed in one roof colour on all four sides.
#include "draw.h"
#include "pictures.h"
#include "rng.h"

#include <cmath>  // Required for: M_PI

namespace {

const uint32_t asphalt = 0x3C4150, kerb = 0x9AA0AA, pavement = 0xC2BBAE, lane = 0xF2E6C2;
const uint32_t park = 0x5E9E4A, parkDark = 0x4A8540, plaza = 0xDCC79C, water = 0x4A8FC2;
const uint32_t lawn = 0x4F8F3A, hedge = 0x2F6A2E, path = 0xE3D3A8, badge = 0x1F3B2A;
const uint32_t wall = 0xC9795A, wallDark = 0xB0654A, roof = 0x4A2E2A, sill = 0xF1E4C8;
const uint32_t glass = 0x2B4B6F, glassLit = 0xFFD36B, glassShine = 0x5C82A8;

// A street band with dashed centre line; `vertical` turns it 90 degrees.
void drawStreet(cairo_t* cr, double at, double width, double length, bool vertical)
{
    auto rect = [&](double along, double across, double l, double w, uint32_t rgb) {
        if (vertical) fillRect(cr, at + across, along, w, l, rgb);
        else fillRect(cr, along, at + across, l, w, rgb);
    };
    rect(0, -4, length, width + 8, kerb);
    rect(0, 0, length, width, asphalt);
    for (double d = 8; d < length; d += 32) rect(d, width / 2 - 1.5, 16, 3, lane);
}

// Zebra crossing across a street at `along`.
void drawCrossing(cairo_t* cr, double at, double width, double along, bool vertical)
{
    for (double s = 4; s < width - 4; s += 8) {
        if (vertical) fillRect(cr, at + s, along, 4, 18, lane);
        else fillRect(cr, along, at + s, 18, 4, lane);
    }
}

void drawWindow(cairo_t* cr, double x, double y, double w, double h, bool lit)
{
    fillRect(cr, x - 5, y + h, w + 10, 7, sill);
    fillRect(cr, x - 3, y - 3, w + 6, h + 6, sill);
    fillRect(cr, x, y, w, h, lit ? glassLit : glass);
    if (!lit) fillPolygon(cr, {x, y + h * 0.55, x + w * 0.55, y, x + w * 0.8, y, x, y + h * 0.85}, glassShine);
    fillRect(cr, x + w / 2 - 2, y, 4, h, sill);
    fillRect(cr, x, y + h * 0.4 - 2, w, 4, sill);
}

}  // namespace

void drawDistrictGround(const Canvas& canvas)
{
    cairo_t* cr = canvas.cr();
    const double size = canvas.width();
    fillRect(cr, 0, 0, size, size, pavement);
    // Blocks between the streets: parks, a plaza with a fountain, paved yards.
    fillRect(cr, 24, 24, 150, 150, park);
    for (int i = 0; i < 6; ++i) fillCircle(cr, 48 + (i % 3) * 50, 60 + (i / 3) * 70, 16, parkDark);
    fillRect(cr, 338, 338, 150, 150, park);
    fillCircle(cr, 413, 413, 44, water);
    fillCircle(cr, 413, 413, 12, 0xA9D4EE);
    fillRect(cr, 338, 24, 150, 150, plaza);
    fillRect(cr, 24, 338, 150, 150, plaza);
    for (double d = 40; d < 170; d += 30) {
        fillRect(cr, 338 + d - 10, 24, 2, 150, 0xC9B287);
        fillRect(cr, 24, 338 + d - 10, 150, 2, 0xC9B287);
    }
    // Two avenues each way, and a ring road round the central square.
    for (double at : {190.0, 290.0}) {
        drawStreet(cr, at, 32, size, false);
        drawStreet(cr, at, 32, size, true);
    }
    for (double at : {190.0, 290.0})
        for (double along : {150.0, 336.0}) {
            drawCrossing(cr, at, 32, along, false);
            drawCrossing(cr, at, 32, along, true);
        }
    cairo_new_path(cr);
    cairo_arc(cr, size / 2, size / 2, 62, 0, 2 * M_PI);
    cairo_set_line_width(cr, 22);
    setColour(cr, asphalt);
    cairo_stroke(cr);
    fillCircle(cr, size / 2, size / 2, 48, park);
    fillCircle(cr, size / 2, size / 2, 20, plaza);
}

void drawGreetings(const Canvas& canvas)
{
    cairo_t* cr = canvas.cr();
    const double size = canvas.width(), cx = size / 2;
    // A walled garden seen from above: hedge border, lawn, a cross of paths, a signboard.
    fillRect(cr, 0, 0, size, size, hedge);
    fillRect(cr, 18, 18, size - 36, size - 36, lawn);
    fillRect(cr, cx - 20, 18, 40, size - 36, path);
    fillRect(cr, 18, cx - 20, size - 36, 40, path);
    Rng rng(0x6EE7);
    for (int i = 0; i < 40; ++i) {
        const double x = rng.range(30, size - 30), y = rng.range(30, size - 30);
        fillCircle(cr, x, y, rng.range(3, 6), i % 2 ? 0xF2D45C : 0xF2F2F2);
    }
    fillRoundRect(cr, 52, 48, size - 104, size - 96, 24, badge);
    textCentred(cr, Font::SansBold, 40, cx, 110, "GREETINGS", 0xF2D45C);
    const char* const groups[] = {"Paper Walrus", "Quiet Anvil", "Brass Pelican", "Cobalt Goose",
                                  "Northbound Spoon", "Hollow Orchard", "Salt & Semaphore"};
    double y = 160;
    for (const char* group : groups) {
        textCentred(cr, Font::SansBold, 30, cx, y, group, 0xF4EBD9);
        y += 44;
    }
}

void drawFacade(const Canvas& canvas)
{
    cairo_t* cr = canvas.cr();
    const double size = canvas.width();
    fillRect(cr, 0, 0, size, size, roof);
    fillRect(cr, 16, 40, size - 32, size - 56, wall);
    // Brick courses: every other row offset by half a brick.
    for (int row = 0; row * 16 < size - 56; ++row)
        for (double x = 16 + (row % 2) * 24; x < size - 16; x += 48)
            fillRect(cr, x, 40 + row * 16, 2, 16, wallDark);
    for (double y = 40; y < size - 16; y += 16) fillRect(cr, 16, y, size - 32, 2, wallDark);
    fillRect(cr, 16, 40, size - 32, 14, sill);
    // Four floors of windows; the same few are lit on every building.
    const bool lit[4][4] = {{0, 1, 0, 0}, {0, 0, 1, 0}, {1, 0, 0, 1}, {0, 0, 0, 0}};
    for (int floor = 0; floor < 4; ++floor)
        for (int column = 0; column < 4; ++column)
            if (floor < 3 || column == 0 || column == 3)
                drawWindow(cr, 52 + column * 112, 78 + floor * 104, 72, 70, lit[floor][column]);
    // Door on the ground floor, between the two outer windows.
    fillRect(cr, 196, 390, 120, 106, sill);
    fillRect(cr, 206, 400, 100, 96, 0x3A5A44);
    fillRect(cr, 254, 400, 4, 96, 0x2A4232);
    fillCircle(cr, 244, 450, 4, glassLit);
    fillCircle(cr, 268, 450, 4, glassLit);
}
