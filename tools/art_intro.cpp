// The intro's picture: a dusk meadow where a hand reaching in from beyond the right edge offers
// a horse an apple while a farmer with his basket looks on, drawn as a stack of full-screen
// layers. The scene slides the arm layers in from the right and out towards it, so the arm
// starts beyond the right edge and only the hand comes into the middle; the horse's head is
// the top layer and overlaps the fingers.
#include "draw.h"
#include "pictures.h"
#include "rng.h"

#include <cmath>

namespace {

// Dusk palette, shared by every intro layer.
const Ramp sky = {0x2B1B4A, 0x3D1F58, 0x5A2A6B, 0x7C3370, 0x9C3D6E, 0xBD4F66,
                  0xD9645A, 0xE8804F, 0xF29B4B, 0xF5B35C, 0xF7C873};
const uint32_t sun = 0xFBE3A1;
const uint32_t hillFar = 0x7A3B6E, hillMid = 0x55285C, ground = 0x2E1A3C;
const uint32_t coat = 0x2F5E73, coatDark = 0x22475A, trousers = 0x2A2136, skin = 0xE9B48A;
const uint32_t hat = 0x1E1626, boot = 0x1A1220, apple = 0xD93A34, leaf = 0x4E9A3A, core = 0xF4E6C0;
const uint32_t wicker = 0xC58B45, wickerDark = 0x8E5F2A, sleeve = 0xE2A33B, sleeveDark = 0x9A6418, cuff = 0xF4EBD9;
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

// A sleeve through `joints` (x0, y0, x1, y1, ...), with a darker outline.
void drawSleeve(cairo_t* cr, const std::vector<double>& joints, uint32_t fill, uint32_t outline, double width)
{
    for (const auto& [line, colour] : {std::pair{width + 8, outline}, std::pair{width, fill}}) {
        cairo_new_path(cr);
        for (size_t i = 0; i + 1 < joints.size(); i += 2) cairo_line_to(cr, joints[i], joints[i + 1]);
        cairo_set_line_width(cr, line);
        cairo_set_line_cap(cr, CAIRO_LINE_CAP_ROUND);
        cairo_set_line_join(cr, CAIRO_LINE_JOIN_ROUND);
        setColour(cr, colour);
        cairo_stroke(cr);
    }
}

// The hills, far to near: baselines and the periodic waves of their ridges.
const double farBase = 392, midBase = 432, nearBase = 478;
const std::vector<Wave> farRidge = {{1, 14, 0.4}, {3, 10, 1.9}, {7, 4, 0.2}};
const std::vector<Wave> midRidge = {{2, 16, 2.6}, {5, 6, 0.9}};
const std::vector<Wave> nearRidge = {{1, 8, 1.2}, {4, 4, 2.2}};

// The farmer stands on the middle hill, right of the sun and above the path of the arm.
const double manX = 860, manScale = 0.62;

// A joint of a limb: where it is and half its width there.
struct Joint {
    double x, y, half;
};

// A limb as one outlined shape through its joints, its width changing along the way.
void fillLimb(cairo_t* cr, const std::vector<Joint>& joints, uint32_t fill, uint32_t outline)
{
    std::vector<double> left, right;
    for (size_t i = 0; i < joints.size(); ++i) {
        const Joint& a = joints[i == 0 ? 0 : i - 1];
        const Joint& b = joints[i + 1 == joints.size() ? i : i + 1];
        const double dx = b.x - a.x, dy = b.y - a.y, length = std::hypot(dx, dy);
        const double nx = -dy / length * joints[i].half, ny = dx / length * joints[i].half;
        left.insert(left.end(), {joints[i].x + nx, joints[i].y + ny});
        right.insert(right.begin(), {joints[i].x - nx, joints[i].y - ny});
    }
    std::vector<double> outlinePoints = left;
    outlinePoints.insert(outlinePoints.end(), right.begin(), right.end());
    fillPolygon(cr, outlinePoints, fill);
    cairo_set_line_width(cr, 4);
    cairo_set_line_join(cr, CAIRO_LINE_JOIN_ROUND);
    setColour(cr, outline);
    cairo_new_path(cr);
    for (size_t i = 0; i + 1 < outlinePoints.size(); i += 2) cairo_line_to(cr, outlinePoints[i], outlinePoints[i + 1]);
    cairo_close_path(cr);
    cairo_stroke(cr);
}

// A round-capped stroke from (x0, y0) to (x1, y1): a finger.
void strokeSegment(cairo_t* cr, double x0, double y0, double x1, double y1, double width, uint32_t rgb)
{
    cairo_new_path(cr);
    cairo_move_to(cr, x0, y0);
    cairo_line_to(cr, x1, y1);
    cairo_set_line_width(cr, width);
    cairo_set_line_cap(cr, CAIRO_LINE_CAP_ROUND);
    setColour(cr, rgb);
    cairo_stroke(cr);
}

// An arm reaching in from beyond the right edge, palm up, the wrist at (x, y): a sleeve
// widening towards the unseen shoulder, a white cuff, and a hand held out to the left.
void drawReachingArm(cairo_t* cr, double x, double y)
{
    const double angle = std::atan2(59.0, 270.0);
    fillLimb(cr, {{x, y, 19}, {x + 270, y + 59, 27}, {x + 590, y + 141, 36}}, sleeve, sleeveDark);
    cairo_save(cr);
    cairo_translate(cr, x, y);
    cairo_rotate(cr, angle);
    fillPolygon(cr, {-2, -22, 20, -24, 20, 24, -2, 22}, cuff);
    // Fingers, far to near, each outlined in a darker skin tone; then the palm and the thumb.
    const uint32_t crease = 0xC98A62;
    for (int finger = 0; finger < 4; ++finger) {
        const double fy = 12 - finger * 7.0, reach = 84 - std::abs(finger - 1.5) * 8;
        strokeSegment(cr, -30, fy, -reach, fy - 4, 13, crease);
        strokeSegment(cr, -30, fy, -reach, fy - 4, 9, skin);
    }
    fillEllipse(cr, -28, 2, 32, 17, skin);
    strokeSegment(cr, -14, -12, -46, -24, 15, crease);
    strokeSegment(cr, -14, -12, -46, -24, 11, skin);
    cairo_restore(cr);
}

// Keeps the outermost pixels of an arm layer clear. The scene slides and shakes these layers,
// and a repeating texture filtered linearly blends each edge with the opposite one, so a sleeve
// running off the right or bottom edge would otherwise show as a faint line along the far side.
void clipInside(const Canvas& canvas)
{
    cairo_rectangle(canvas.cr(), 1, 1, canvas.width() - 2, canvas.height() - 2);
    cairo_clip(canvas.cr());
}

// A basket of apples with an arched handle, its base centred on (x, y).
void drawBasket(cairo_t* cr, double x, double y)
{
    cairo_new_path(cr);
    cairo_arc(cr, x, y - 44, 34, M_PI, 2 * M_PI);
    cairo_set_line_width(cr, 7);
    setColour(cr, wickerDark);
    cairo_stroke(cr);
    for (double dx : {-22.0, 0.0, 22.0}) fillCircle(cr, x + dx, y - 48 + std::fabs(dx) * 0.2, 14, apple);
    fillPolygon(cr, {x - 44, y - 46, x + 44, y - 46, x + 34, y, x - 34, y}, wicker);
    for (double band : {-34.0, -20.0}) fillRect(cr, x - 40, y + band, 80, 4, wickerDark);
}

}  // namespace

void drawIntroBackdrop(const Canvas& canvas)
{
    cairo_t* cr = canvas.cr();
    fillVerticalRamp(canvas, sky);
    fillCircle(cr, 690, 360, 110, sun);
    // Horizontal cuts through the low sun in the sky's own colour, widening downwards.
    for (int i = 0; i < 5; ++i) {
        const double y = 296 + i * 18;
        fillRect(cr, 560, y, 260, 3 + i * 2, rampColour(sky, (y + 2 + i) / canvas.height()));
    }
    fillRidge(canvas, farBase, farRidge, hillFar);
    fillRidge(canvas, midBase, midRidge, hillMid);
    fillRidge(canvas, nearBase, nearRidge, ground);
}

void drawIntroFlies(const Canvas& canvas)
{
    cairo_t* cr = canvas.cr();
    Rng rng(0xF1E5);
    for (int i = 0; i < 30; ++i) {
        // A loose ball of flies between the horse and the farmer, thinning outwards.
        const double angle = rng.range(0, 2 * M_PI), radius = 110 * std::sqrt(rng.uniform());
        const double x = 560 + radius * std::cos(angle) * 1.4, y = 280 + radius * std::sin(angle) * 0.7;
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
    // Facing left towards the horse, drawn about his feet: the far arm hangs behind his coat,
    // the near one carries a basket of apples.
    cairo_save(cr);
    cairo_translate(cr, manX, ridgeY(manX, canvas.width(), midBase, midRidge) + 4);
    cairo_scale(cr, manScale, manScale);
    drawSleeve(cr, {26, -214, 36, -160, 30, -112}, coatDark, trousers, 30);
    fillCircle(cr, 30, -104, 13, 0xD99E76);
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
    drawBasket(cr, -52, -24);
    drawSleeve(cr, {-12, -214, -26, -158, -48, -116}, coat, coatDark, 30);
    fillCircle(cr, -52, -102, 14, skin);
    cairo_restore(cr);
}

void drawIntroArmReaching(const Canvas& canvas)
{
    // Held out to the horse's muzzle, an apple on the palm.
    clipInside(canvas);
    drawReachingArm(canvas.cr(), 500, 439);
    drawApple(canvas.cr(), 470, 402);
}

void drawIntroArmWithdrawn(const Canvas& canvas)
{
    // Drawn back a little: the horse has had the apple, only the core is left in the fingers.
    cairo_t* cr = canvas.cr();
    clipInside(canvas);
    drawReachingArm(cr, 566, 452);
    fillEllipse(cr, 538, 420, 8, 16, core);
    for (double y : {404.0, 436.0}) fillEllipse(cr, 538, y, 12, 5, apple);
    fillRect(cr, 536.5, 388, 3, 12, mane);
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
