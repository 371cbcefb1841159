// The title cards and the credits roll: one motif and one palette per card, text set large
// in DejaVu so it reads at any window size.
#include "draw.h"
#include "pictures.h"

#include <cmath>

namespace {

const uint32_t cream = 0xF4EBD9;

// A glow easing from `inner` at its centre to `outer` at its rim, for fillRadialRamp.
Ramp glow(uint32_t inner, uint32_t outer)
{
    Ramp ramp;
    for (int i = 0; i <= 8; ++i) {
        const double t = i / 8.0;
        ramp.push_back(mix(inner, outer, t * t * (3 - 2 * t)));
    }
    return ramp;
}

// Faint light wedges around a centre, laid over what is there: a sunburst.
void fillSunburst(const Canvas& canvas, double cx, double cy, int rays, uint32_t light, double alpha)
{
    cairo_t* cr = canvas.cr();
    const double reach = canvas.width() + canvas.height();
    for (int i = 0; i < rays; i += 2) {
        const double a0 = 2 * M_PI * i / rays, a1 = 2 * M_PI * (i + 1) / rays;
        fillPolygon(cr, {cx, cy, cx + reach * std::cos(a0), cy + reach * std::sin(a0),
                         cx + reach * std::cos(a1), cy + reach * std::sin(a1)}, light, alpha);
    }
}

// The production's emblem: a rocking horse in profile, facing left, standing on (x, y) at the
// middle of its rocker, `s` pixels per unit.
void fillRockingHorse(cairo_t* cr, double x, double y, double s, uint32_t rgb)
{
    cairo_save(cr);
    cairo_translate(cr, x, y);
    cairo_scale(cr, s, s);
    setColour(cr, rgb);
    // Rocker: a shallow arc band.
    cairo_new_path(cr);
    cairo_arc(cr, 0, -9.0, 9.5, M_PI * 0.3, M_PI * 0.7);
    cairo_arc_negative(cr, 0, -9.0, 8.7, M_PI * 0.7, M_PI * 0.3);
    cairo_close_path(cr);
    cairo_fill(cr);
    // Legs splayed onto the rocker.
    for (double leg : {-2.3, -1.5, 1.3, 2.1}) {
        cairo_new_path(cr);
        cairo_move_to(cr, leg * 0.55 - 0.24, -2.2);
        cairo_line_to(cr, leg * 0.55 + 0.24, -2.2);
        cairo_line_to(cr, leg + 0.26, -0.4);
        cairo_line_to(cr, leg - 0.26, -0.4);
        cairo_close_path(cr);
        cairo_fill(cr);
    }
    // Body, neck and head.
    cairo_new_path(cr);
    cairo_move_to(cr, 1.9, -2.0);
    cairo_curve_to(cr, 2.4, -2.6, 2.1, -3.3, 1.4, -3.2);
    cairo_line_to(cr, -1.0, -3.2);
    cairo_curve_to(cr, -1.4, -3.6, -1.7, -4.3, -1.8, -4.8);
    cairo_line_to(cr, -2.9, -4.1);
    cairo_curve_to(cr, -3.2, -3.9, -3.1, -3.6, -2.8, -3.6);
    cairo_line_to(cr, -2.2, -3.8);
    cairo_curve_to(cr, -2.0, -3.1, -1.9, -2.4, -1.8, -2.0);
    cairo_close_path(cr);
    cairo_fill(cr);
    // Ear and tail.
    cairo_new_path(cr);
    cairo_move_to(cr, -1.9, -4.7);
    cairo_line_to(cr, -1.7, -5.3);
    cairo_line_to(cr, -1.5, -4.6);
    cairo_fill(cr);
    cairo_new_path(cr);
    cairo_move_to(cr, 1.8, -3.1);
    cairo_curve_to(cr, 2.6, -3.4, 2.9, -2.4, 2.6, -1.6);
    cairo_curve_to(cr, 2.5, -2.3, 2.3, -2.8, 1.8, -2.8);
    cairo_fill(cr);
    cairo_restore(cr);
}

// A tin lantern: ring, cap, glowing glass between bars, base.
void drawLantern(cairo_t* cr, double cx, double top)
{
    const uint32_t tin = 0xA7B3BF, tinDark = 0x6C7A89, light = 0xFFC857, core = 0xFFF1B8;
    cairo_new_path(cr);
    cairo_arc(cr, cx, top + 20, 20, M_PI, 2 * M_PI);
    cairo_set_line_width(cr, 7);
    setColour(cr, tin);
    cairo_stroke(cr);
    fillPolygon(cr, {cx - 26, top + 22, cx + 26, top + 22, cx + 56, top + 62, cx - 56, top + 62}, tin);
    fillRect(cr, cx - 60, top + 60, 120, 12, tinDark);
    fillRect(cr, cx - 46, top + 72, 92, 120, light);
    fillEllipse(cr, cx, top + 136, 22, 36, core);
    for (double bar : {-46.0, -16.0, 10.0, 40.0}) fillRect(cr, cx + bar, top + 72, 6, 120, tinDark);
    fillRect(cr, cx - 60, top + 192, 120, 12, tinDark);
    fillPolygon(cr, {cx - 52, top + 204, cx + 52, top + 204, cx + 40, top + 222, cx - 40, top + 222}, tin);
}

// A round copper kettle with a moth circling its spout.
void drawKettleAndMoth(cairo_t* cr, double cx, double base)
{
    const uint32_t copper = 0xD07A3E, copperDark = 0x9A5126, highlight = 0xF2B27A;
    const uint32_t wing = 0xEADFC4, wingDark = 0xB8A888, body = 0x5A4632;
    // Handle arching over the lid.
    cairo_new_path(cr);
    cairo_arc(cr, cx, base - 120, 62, M_PI * 1.05, M_PI * 1.95);
    cairo_set_line_width(cr, 12);
    setColour(cr, copperDark);
    cairo_stroke(cr);
    // Spout to the right.
    fillPolygon(cr, {cx + 60, base - 70, cx + 140, base - 150, cx + 156, base - 144, cx + 92, base - 40}, copper);
    fillEllipse(cr, cx, base - 64, 100, 62, copper);
    fillRect(cr, cx - 100, base - 64, 200, 56, copper);
    fillEllipse(cr, cx - 40, base - 84, 24, 16, highlight);
    fillRect(cr, cx - 110, base - 12, 220, 14, copperDark);
    fillEllipse(cr, cx, base - 128, 40, 10, copperDark);
    fillCircle(cr, cx, base - 142, 9, copperDark);
    // Steam curl leading to the moth.
    cairo_new_path(cr);
    cairo_move_to(cr, cx + 152, base - 158);
    cairo_curve_to(cr, cx + 190, base - 180, cx + 140, base - 190, cx + 172, base - 214);
    cairo_set_line_width(cr, 5);
    cairo_set_line_cap(cr, CAIRO_LINE_CAP_ROUND);
    setColour(cr, 0xCFE3D8, 0.8);
    cairo_stroke(cr);
    const double mx = cx + 180, my = base - 240;
    fillPolygon(cr, {mx, my, mx - 54, my - 40, mx - 64, my + 6}, wing);
    fillPolygon(cr, {mx, my, mx + 54, my - 40, mx + 64, my + 6}, wing);
    fillPolygon(cr, {mx, my + 4, mx - 40, my + 30, mx - 18, my + 36}, wingDark);
    fillPolygon(cr, {mx, my + 4, mx + 40, my + 30, mx + 18, my + 36}, wingDark);
    fillCircle(cr, mx - 34, my - 12, 6, wingDark);
    fillCircle(cr, mx + 34, my - 12, 6, wingDark);
    fillEllipse(cr, mx, my + 8, 6, 22, body);
}

// The credits are seen after the lit district, at a fifth of their brightness, so they are
// set in white bold type on black and large: nothing dimmer survives.
const uint32_t white = 0xFFFFFF;

// Credits line: a role above a handle in large type.
void creditLine(cairo_t* cr, double cx, double y, const char* role, const char* handle)
{
    textCentred(cr, Font::SansBold, 28, cx, y, role, white);
    textCentred(cr, Font::SansBold, 62, cx, y + 64, handle, white);
}

}  // namespace

void drawLogoTinLantern(const Canvas& canvas)
{
    cairo_t* cr = canvas.cr();
    fillRadialRamp(canvas, 512, 250, 330, glow(0x4E4A5C, 0x14213D));
    drawLantern(cr, 512, 104);
    textOutlined(cr, Font::SansBold, 88, 512, 430, "TIN LANTERN", cream, 0x0B1428, 5);
    fillRect(cr, 372, 460, 280, 4, 0xFFC857);
    textCentred(cr, Font::Sans, 24, 512, 500, "lights the way", 0xA7B3BF);
}

void drawLogoMothKettle(const Canvas& canvas)
{
    cairo_t* cr = canvas.cr();
    fillRadialRamp(canvas, 512, 230, 310, glow(0x2F5A4C, 0x1D3B33));
    drawKettleAndMoth(cr, 450, 340);
    textOutlined(cr, Font::SansBold, 84, 512, 446, "MOTH & KETTLE", cream, 0x0F231D, 5);
    textCentred(cr, Font::Sans, 24, 512, 500, "always on the boil", 0xE8A66A);
}

void drawTitle(const Canvas& canvas)
{
    cairo_t* cr = canvas.cr();
    fillRadialRamp(canvas, 512, 300, 420, glow(0x7A4A26, 0x3B2314));
    fillSunburst(canvas, 512, 300, 36, 0xE8B04A, 0.07);
    fillRockingHorse(cr, 512, 372, 36, 0xD9A566);
    textOutlined(cr, Font::SerifBold, 76, 512, 108, "ROCKING HORSE", 0xF3DDB3, 0x24140A, 6);
    textOutlined(cr, Font::SerifBold, 96, 512, 500, "REVOLUTION", 0xE8B04A, 0x24140A, 7);
}

void drawCredits(const Canvas& canvas)
{
    cairo_t* cr = canvas.cr();
    const double half = canvas.height() / 2.0, cx = canvas.width() / 2.0;
    fillRect(cr, 0, 0, canvas.width(), canvas.height(), 0x000000);
    // Upper half, shown before the scroll: who presents what.
    textCentred(cr, Font::SansBold, 40, cx, 130, "TIN LANTERN  &  MOTH & KETTLE", white);
    textCentred(cr, Font::SansBold, 32, cx, 190, "present", white);
    textCentred(cr, Font::SansBold, 84, cx, 330, "ROCKING HORSE", white);
    textCentred(cr, Font::SansBold, 84, cx, 430, "REVOLUTION", white);
    textCentred(cr, Font::SansBold, 32, cx, 500, "a demo in six scenes", white);
    // Lower half, on screen once the scroll is over: who made it.
    textCentred(cr, Font::SansBold, 64, cx, half + 92, "CREDITS", white);
    fillRect(cr, cx - 180, half + 114, 360, 6, white);
    creditLine(cr, cx, half + 176, "CODE", "Quillby");
    creditLine(cr, cx, half + 298, "MUSIC", "Marrowtone");
    creditLine(cr, cx, half + 420, "GRAPHICS", "Fennick");
}
