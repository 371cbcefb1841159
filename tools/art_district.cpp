// The district seen in 3D: a street map on the ground, a garden square carrying the
// greetings, and one facade wrapped round every building. The renderer samples the facade's
// four corners for roofs and floors (a repeating texture read at its corner), so the facade
// is framed in one roof colour on all four sides.
//
// The scene lights these pictures with a single light whose diffuse term reaches only about a
// third of a texel's value at the far corners of the ground, and the sky behind is black, so
// every colour here is pale: anything mid-toned would turn the district dark on screen. The
// facade is on every side of every building, so its ground floor is a row of different shop
// fronts rather than one front door.
#include "draw.h"
#include "pictures.h"
#include "rng.h"

#include <algorithm>
#include <cmath>

namespace {

const uint32_t asphalt = 0xBCC1CB, kerb = 0xE2E3E6, pavement = 0xF3EEE4, lane = 0xFFFFFF;
const uint32_t park = 0xB9E0A0, parkDark = 0x93CB7A, plaza = 0xF7E9C6, plazaLine = 0xE8D5A8;
const uint32_t water = 0xA4D3F2, spray = 0xE8F5FD;
const uint32_t lawn = 0xC4E6AC, hedge = 0x94CC7C, path = 0xF7EED6, board = 0xFFFAEE, ink = 0x2F5E3A, accent = 0xC8452E;
const uint32_t wall = 0xF7DDB6, wallLine = 0xEDCB9C, roof = 0xE9DDCC, sill = 0xFFFFFF;
const uint32_t glass = 0xBFDDF2, glassLit = 0xFFE7A3, glassShine = 0xE6F3FC;

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

// A shop front on the ground floor between x and x + w: an awning striped in `colour` and
// white, a shop window and a door in `door`; `doorLeft` puts the door on the left.
void drawShopFront(cairo_t* cr, double x, double w, uint32_t colour, uint32_t door, bool doorLeft)
{
    const double top = 384, bottom = 496, doorW = 40;
    for (int stripe = 0; stripe * 20 < w; ++stripe)
        fillRect(cr, x + stripe * 20, top, std::min(20.0, w - stripe * 20), 26, stripe % 2 ? sill : colour);
    for (int scallop = 0; scallop * 20 < w; ++scallop)
        fillCircle(cr, x + scallop * 20 + 10, top + 26, 10, scallop % 2 ? sill : colour);
    const double doorX = doorLeft ? x + 8 : x + w - 8 - doorW;
    const double windowX = doorLeft ? x + doorW + 20 : x + 8, windowW = w - doorW - 28;
    fillRect(cr, windowX - 3, top + 44, windowW + 6, bottom - top - 44, sill);
    fillRect(cr, windowX, top + 47, windowW, bottom - top - 62, glass);
    fillPolygon(cr, {windowX, top + 47 + 40, windowX + 40, top + 47, windowX + 58, top + 47, windowX, top + 47 + 58},
                glassShine);
    fillRect(cr, doorX - 3, top + 40, doorW + 6, bottom - top - 40, sill);
    fillRect(cr, doorX, top + 43, doorW, bottom - top - 43, door);
    fillCircle(cr, doorX + (doorLeft ? doorW - 8 : 8), top + 76, 3, sill);
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
    fillCircle(cr, 413, 413, 12, spray);
    fillRect(cr, 338, 24, 150, 150, plaza);
    fillRect(cr, 24, 338, 150, 150, plaza);
    for (double d = 40; d < 170; d += 30) {
        fillRect(cr, 338 + d - 10, 24, 2, 150, plazaLine);
        fillRect(cr, 24, 338 + d - 10, 150, 2, plazaLine);
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
        fillCircle(cr, x, y, rng.range(3, 6), i % 2 ? 0xF2C94C : 0xE77F9A);
    }
    fillRoundRect(cr, 52, 48, size - 104, size - 96, 24, ink);
    fillRoundRect(cr, 58, 54, size - 116, size - 108, 20, board);
    textCentred(cr, Font::SansBold, 40, cx, 110, "GREETINGS", accent);
    const char* const groups[] = {"Paper Walrus", "Quiet Anvil", "Brass Pelican", "Cobalt Goose",
                                  "Northbound Spoon", "Hollow Orchard", "Salt & Semaphore"};
    double y = 160;
    for (const char* group : groups) {
        textCentred(cr, Font::SansBold, 30, cx, y, group, ink);
        y += 44;
    }
}

void drawFacade(const Canvas& canvas)
{
    cairo_t* cr = canvas.cr();
    const double size = canvas.width();
    fillRect(cr, 0, 0, size, size, roof);
    fillRect(cr, 16, 40, size - 32, size - 56, wall);
    // Stone courses.
    for (double y = 40; y < size - 16; y += 26) fillRect(cr, 16, y, size - 32, 2, wallLine);
    fillRect(cr, 16, 40, size - 32, 14, sill);
    // Three floors of windows; a few are lit.
    const bool lit[3][4] = {{0, 1, 0, 0}, {0, 0, 1, 0}, {1, 0, 0, 1}};
    for (int floor = 0; floor < 3; ++floor)
        for (int column = 0; column < 4; ++column)
            drawWindow(cr, 52 + column * 112, 78 + floor * 98, 72, 66, lit[floor][column]);
    // Ground floor: a café, a stair door and a flower shop, each with its own door.
    fillRect(cr, 16, 372, size - 32, 8, sill);
    drawShopFront(cr, 28, 160, 0xD9534A, 0x8C3A2E, false);
    fillRect(cr, 220, 396, 72, 100, sill);
    fillRect(cr, 226, 420, 60, 76, 0x4F7FB8);
    fillPolygon(cr, {226, 420, 256, 402, 286, 420}, glassLit);
    fillCircle(cr, 276, 460, 3, sill);
    drawShopFront(cr, 324, 160, 0x5FAE6B, 0x3E7A4A, true);
}
