// The intro's picture: a dusk meadow where a man offers a horse an apple, drawn as a stack of
// full-screen layers. The arm layers slide in from the right at run time, so the arm reaches
// in from beyond the right edge; the horse's head is the top layer and overlaps the hand.
#include "draw.h"
#include "pictures.h"
#include "rng.h"

#include <cmath>  // Required for: cos(), sin(), M_PI

namespace {

// Dusk palette, shared by every intro layer.
const uint32_t skyBands[] = {0x2B1B4A, 0x3D1F58, 0x5A2A6B, 0x7C3370, 0x9C3D6E, 0xBD4F66,
                             0xD9645A, 0xE8804F, 0xF29B4B, 0xF5B35C, 0xF7C873};
const uint32_t sun = 0xFBE3A1;
const uint32_t hillFar = 0x7A3B6E, hillMid = 0x55285C, ground = 0x2E1A3C;
const uint32_t coat = 0x2F5E73, coatDark = 0x22475A, trousers = 0x2A2136, skin = 0xE9B48A;
const uint32_t hat = 0x1E1626, boot = 0x1A1220, apple = 0xD93A34, leaf = 0x4E9A3A;
const uint32_t chestnut = 0x9A5430, chestnutDark = 0x6E3A20, mane = 0x2E1A14, blaze = 0xF4E8D4;
const uint32_t bridle = 0xD8B04A;

void curve(cairo_t* cr, double x1, double y1, double x2, double y2, double x3, double y3)
{
    cairo_curve_to(cr, x1, y1, x2, y2, x3, y3);
}

// A thick round-capped stroke along a cubic curve: limbs, reins, the banner.
void strokeCurve(cairo_t* cr, const double (&p)[8], double width, uint32_t rgb)
{
    cairo_new_path(cr);
    cairo_move_to(cr, p[0], p[1]);
    curve(cr, p[2], p[3], p[4], p[5], p[6], p[7]);
    cairo_set_line_width(cr, width);
    cairo_set_line_cap(cr, CAIRO_LINE_CAP_ROUND);
    setColour(cr, rgb);
    cairo_stroke(cr);
}

void drawApple(cairo_t* cr, double x, double y)
{
    fillCircle(cr, x, y, 17, apple);
    fillCircle(cr, x - 6, y - 6, 5, 0xF08A7E);
    fillRect(cr, x - 1.5, y - 26, 3, 12, mane);
    fillEllipse(cr, x + 8, y - 22, 8, 4, leaf);
}

// A sleeve from the shoulder through the elbow to the wrist, with a dark outline.
void drawSleeve(cairo_t* cr, const std::vector<double>& joints)
{
    for (const auto& [width, colour] : {std::pair{44.0, coatDark}, std::pair{36.0, coat}}) {
        cairo_new_path(cr);
        for (size_t i = 0; i + 1 < joints.size(); i += 2) cairo_line_to(cr, joints[i], joints[i + 1]);
        cairo_set_line_width(cr, width);
        cairo_set_line_cap(cr, CAIRO_LINE_CAP_ROUND);
        cairo_set_line_join(cr, CAIRO_LINE_JOIN_ROUND);
        setColour(cr, colour);
        cairo_stroke(cr);
    }
}

// Where the man stands and how large he is drawn; his arm layers attach at his shoulder.
const double manX = 700, manFeet = 522, manScale = 1.15;
const double shoulderX = manX - 20 * manScale, shoulderY = manFeet - 222 * manScale;

}  // namespace

void drawIntroBackdrop(const Canvas& canvas)
{
    cairo_t* cr = canvas.cr();
    fillBands(canvas, std::vector<uint32_t>(std::begin(skyBands), std::end(skyBands)));
    fillCircle(cr, 690, 360, 110, sun);
    // Horizontal cuts through the low sun, widening downwards.
    for (int i = 0; i < 5; ++i) fillRect(cr, 560, 372 + i * 18, 260, 3 + i * 2, skyBands[8 + i % 3]);
    fillRidge(canvas, 392, {{1, 14, 0.4}, {3, 10, 1.9}, {7, 4, 0.2}}, hillFar);
    fillRidge(canvas, 432, {{2, 16, 2.6}, {5, 6, 0.9}}, hillMid);
    fillRidge(canvas, 478, {{1, 8, 1.2}, {4, 4, 2.2}}, ground);
}

void drawIntroFlies(const Canvas& canvas)
{
    cairo_t* cr = canvas.cr();
    Rng rng(0xF1E5);
    for (int i = 0; i < 30; ++i) {
        // A loose ball of flies over the apple, thinning outwards.
        const double angle = rng.range(0, 2 * M_PI), radius = 110 * std::sqrt(rng.uniform());
        const double x = 480 + radius * std::cos(angle) * 1.4, y = 220 + radius * std::sin(angle) * 0.7;
        const double size = rng.range(6, 10), tilt = rng.range(-0.6, 0.6);
        cairo_save(cr);
        cairo_translate(cr, x, y);
        cairo_rotate(cr, tilt);
        // A short looping trail behind each fly.
        cairo_new_path(cr);
        cairo_move_to(cr, -size * 1.5, 0);
        cairo_curve_to(cr, -size * 4, -size * 3, -size * 6, size * 2, -size * 8, -size);
        cairo_set_line_width(cr, 1.4);
        setColour(cr, 0xFFF2D6, 0.35);
        cairo_stroke(cr);
        fillEllipse(cr, -size * 0.2, -size * 0.9, size * 0.9, size * 0.55, 0xE9F1FF, 0.7);
        fillEllipse(cr, size * 0.3, -size * 0.8, size * 0.8, size * 0.5, 0xE9F1FF, 0.7);
        fillEllipse(cr, 0, 0, size, size * 0.6, 0x1B1020);
        fillCircle(cr, size * 0.8, -size * 0.1, size * 0.45, 0x3A1D2E);
        cairo_restore(cr);
    }
}

void drawIntroBanner(const Canvas& canvas)
{
    cairo_t* cr = canvas.cr();
    // A long pennant streaming across the sky from the left, its tail forking at the right.
    const double body[8] = {-60, 110, 260, -10, 560, 170, 880, 70};
    strokeCurve(cr, body, 54, 0x8E2436);
    strokeCurve(cr, body, 44, 0xE0483E);
    strokeCurve(cr, body, 10, 0xF6D8A8);
    fillPolygon(cr, {870, 46, 1010, 10, 950, 72, 1010, 126, 874, 96}, 0xE0483E);
    fillPolygon(cr, {880, 64, 990, 36, 940, 72, 990, 106, 880, 80}, 0xF6D8A8);
}

void drawIntroMan(const Canvas& canvas)
{
    cairo_t* cr = canvas.cr();
    // Facing left towards the horse, drawn about his feet; his near arm is its own layer.
    cairo_save(cr);
    cairo_translate(cr, manX, manFeet);
    cairo_scale(cr, manScale, manScale);
    fillRoundRect(cr, -34, -105, 26, 92, 10, trousers);          // back leg
    fillRoundRect(cr, -4, -105, 26, 92, 10, trousers);           // front leg
    fillEllipse(cr, -30, -11, 26, 11, boot);
    fillEllipse(cr, 0, -11, 26, 11, boot);
    fillPolygon(cr, {-50, -85, -44, -205, -20, -233, 36, -233, 52, -205, 46, -85}, coat);
    fillRect(cr, -48, -121, 96, 10, coatDark);                   // belt
    fillRect(cr, -10, -251, 22, 24, skin);                       // neck
    fillCircle(cr, 0, -273, 30, skin);
    fillPolygon(cr, {-26, -279, -42, -265, -26, -259}, skin);    // nose
    fillCircle(cr, -14, -279, 3.5, hat);                         // eye
    fillRect(cr, -40, -299, 86, 8, hat);                         // hat brim
    fillRoundRect(cr, -24, -335, 54, 40, 8, hat);
    fillRect(cr, -24, -307, 54, 6, 0xB8643A);                    // hat band
    cairo_restore(cr);
}

void drawIntroArmReaching(const Canvas& canvas)
{
    // Stretched out to the horse's muzzle, an apple on the open palm.
    drawSleeve(canvas.cr(), {shoulderX, shoulderY, shoulderX - 70, shoulderY + 40, shoulderX - 150, shoulderY + 34});
    fillEllipse(canvas.cr(), shoulderX - 178, shoulderY + 36, 24, 14, skin);
    drawApple(canvas.cr(), shoulderX - 184, shoulderY + 10);
}

void drawIntroArmWithdrawn(const Canvas& canvas)
{
    // Pulled back to the chest, the hand empty: the horse has had the apple.
    drawSleeve(canvas.cr(), {shoulderX, shoulderY, shoulderX + 10, shoulderY + 80, shoulderX - 44, shoulderY + 60});
    fillCircle(canvas.cr(), shoulderX - 64, shoulderY + 58, 16, skin);
}

void drawIntroHorse(const Canvas& canvas)
{
    cairo_t* cr = canvas.cr();
    // Neck rising from the bottom-left corner into a head that leans towards the apple.
    cairo_new_path(cr);
    cairo_move_to(cr, -10, 590);
    cairo_line_to(cr, -10, 330);
    curve(cr, 60, 250, 130, 190, 190, 170);
    curve(cr, 240, 170, 300, 230, 350, 270);
    curve(cr, 400, 300, 440, 322, 446, 352);
    curve(cr, 452, 384, 424, 410, 396, 412);
    curve(cr, 350, 414, 300, 386, 270, 380);
    curve(cr, 250, 420, 260, 520, 300, 590);
    cairo_close_path(cr);
    setColour(cr, chestnut);
    cairo_fill(cr);
    // Shadowed throat and jaw.
    fillPolygon(cr, {300, 590, 262, 520, 262, 420, 270, 382, 330, 392, 300, 470, 330, 590}, chestnutDark);
    fillEllipse(cr, 246, 330, 46, 38, chestnutDark, 0.55);
    // Blaze down the face.
    fillPolygon(cr, {214, 184, 236, 188, 410, 318, 420, 352, 396, 340}, blaze);
    // Ears.
    fillPolygon(cr, {150, 196, 140, 112, 196, 180}, chestnut);
    fillPolygon(cr, {158, 186, 152, 132, 184, 178}, chestnutDark);
    fillPolygon(cr, {186, 176, 198, 100, 228, 186}, chestnut);
    // Mane along the crest, cut into locks.
    cairo_new_path(cr);
    cairo_move_to(cr, -10, 340);
    for (int i = 0; i <= 8; ++i) {
        const double t = i / 8.0;
        const double bx = -10 + 190 * t, by = 340 - 170 * t;
        cairo_line_to(cr, bx - 34 * (1 - t) - 10, by - 10 + (i % 2) * 22);
    }
    cairo_line_to(cr, 180, 170);
    cairo_line_to(cr, 60, 280);
    cairo_line_to(cr, -10, 380);
    cairo_close_path(cr);
    setColour(cr, mane);
    cairo_fill(cr);
    // Eye, nostril, mouth line.
    fillEllipse(cr, 262, 246, 13, 11, 0x1A0F0C);
    fillCircle(cr, 266, 242, 4, 0xFFFFFF);
    fillEllipse(cr, 418, 364, 8, 12, 0x3A2016);
    cairo_new_path(cr);
    cairo_move_to(cr, 398, 400);
    curve(cr, 380, 396, 364, 392, 352, 384);
    cairo_set_line_width(cr, 3);
    setColour(cr, chestnutDark);
    cairo_stroke(cr);
    // Bridle: noseband, cheek strap, brow band, ring.
    const double noseband[8] = {318, 402, 330, 360, 368, 312, 378, 300};
    strokeCurve(cr, noseband, 12, bridle);
    const double cheek[8] = {196, 194, 220, 260, 260, 300, 326, 340};
    strokeCurve(cr, cheek, 12, bridle);
    const double brow[8] = {196, 196, 210, 184, 226, 184, 236, 192};
    strokeCurve(cr, brow, 12, bridle);
    fillCircle(cr, 326, 342, 10, 0xF1D27A);
    fillCircle(cr, 326, 342, 5, chestnutDark);
}
