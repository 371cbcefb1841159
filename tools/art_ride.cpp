// The rider's ride: a summer landscape in four parallax planes and a rocking horse with its
// rider. The three scrolling planes repeat horizontally (the scene draws each one twice, side
// by side), so everything on them is periodic in the picture width. The horse is drawn low in
// the frame, because the scene lifts it by up to a third of the screen.
#include "draw.h"
#include "pictures.h"
#include "rng.h"

#include <cmath>

namespace {

const Ramp sky = {0x4F8FD6, 0x62A0DE, 0x76B1E5, 0x8CC1EA, 0xA3CFEC, 0xBBDCEC, 0xD3E6E4, 0xE9EED8};
const uint32_t cloud = 0xFFFFFF, cloudShade = 0xDCEAF5;
const uint32_t mountain = 0x7D93B8, mountainShade = 0x6A7FA6, snow = 0xF1F5FA;
const uint32_t hill = 0x7DB356, hillDark = 0x5E9442, treeCrown = 0x3F7A3A, treeLight = 0x57964A, trunk = 0x6B4A2E;
const uint32_t grass = 0x4C8C34, grassDark = 0x36702A, post = 0x8A6240, postDark = 0x654428;
const uint32_t wood = 0xA0662F, woodDark = 0x7A4A20, horse = 0xF3E8D2, dapple = 0xD9CBB0;
const uint32_t maneRed = 0xC8402E, saddle = 0x2E5C8A, saddleTrim = 0xF2C14E;
const uint32_t jacket = 0x2B7A78, jacketDark = 0x1F5C5A, trousersBlue = 0x31456B, skin = 0xF0C29A;
const uint32_t hatRed = 0xD8483A, hair = 0x5A3520;

void drawCloud(cairo_t* cr, double x, double y, double s)
{
    fillEllipse(cr, x, y + 8 * s, 70 * s, 20 * s, cloudShade);
    fillCircle(cr, x - 30 * s, y, 26 * s, cloud);
    fillCircle(cr, x + 4 * s, y - 14 * s, 34 * s, cloud);
    fillCircle(cr, x + 38 * s, y, 24 * s, cloud);
    fillRect(cr, x - 56 * s, y, 116 * s, 14 * s, cloud);
}

void drawTree(cairo_t* cr, double x, double ground, double s)
{
    fillRect(cr, x - 5 * s, ground - 30 * s, 10 * s, 34 * s, trunk);
    fillCircle(cr, x, ground - 52 * s, 30 * s, treeCrown);
    fillCircle(cr, x - 8 * s, ground - 60 * s, 16 * s, treeLight);
}

void drawFencePost(cairo_t* cr, double x, double top)
{
    fillRect(cr, x, top, 18, 112, post);
    fillRect(cr, x + 12, top, 6, 112, postDark);
    fillPolygon(cr, {x, top, x + 9, top - 10, x + 18, top}, post);
}

void drawFlower(cairo_t* cr, double x, double y, uint32_t petals)
{
    fillRect(cr, x - 1.5, y, 3, 26, grassDark);
    for (int i = 0; i < 5; ++i) {
        const double a = 2 * M_PI * i / 5;
        fillCircle(cr, x + 6 * std::cos(a), y + 6 * std::sin(a), 5, petals);
    }
    fillCircle(cr, x, y, 4, 0xF6D04D);
}

// Rocking horse and rider, tilted by `tilt` radians about the middle of the rocker (positive
// dips the head). The scenery scrolls to the left, so the rider travels right and faces right:
// the figure is laid out facing -x and mirrored onto the picture.
void drawRocker(const Canvas& canvas, double tilt, double maneSwing)
{
    cairo_t* cr = canvas.cr();
    cairo_save(cr);
    cairo_translate(cr, 512, 500);
    cairo_scale(cr, -0.76, 0.76);
    cairo_rotate(cr, -tilt);
    // Rocker.
    cairo_new_path(cr);
    cairo_arc(cr, 0, -520, 532, M_PI * 0.37, M_PI * 0.63);
    cairo_arc_negative(cr, 0, -520, 514, M_PI * 0.63, M_PI * 0.37);
    cairo_close_path(cr);
    setColour(cr, wood);
    cairo_fill(cr);
    // Legs, far pair darker.
    fillPolygon(cr, {-92, -118, -72, -118, -110, -14, -132, -14}, woodDark);
    fillPolygon(cr, {70, -118, 90, -118, 118, -14, 96, -14}, woodDark);
    fillPolygon(cr, {-70, -118, -46, -118, -70, -12, -96, -12}, wood);
    fillPolygon(cr, {46, -118, 70, -118, 92, -12, 68, -12}, wood);
    // Tail streaming behind, swinging with the rock.
    cairo_new_path(cr);
    cairo_move_to(cr, 104, -160);
    cairo_curve_to(cr, 150, -176, 176, -140 + maneSwing, 170, -84 + maneSwing);
    cairo_curve_to(cr, 150, -112, 130, -132, 100, -136);
    setColour(cr, maneRed);
    cairo_fill(cr);
    // Body.
    fillRoundRect(cr, -110, -176, 224, 70, 34, horse);
    fillCircle(cr, 60, -140, 9, dapple);
    fillCircle(cr, 84, -128, 6, dapple);
    fillCircle(cr, -40, -130, 7, dapple);
    // Neck and head, looking forward.
    fillPolygon(cr, {-104, -160, -70, -176, -120, -262, -158, -244}, horse);
    cairo_save(cr);
    cairo_translate(cr, -160, -256);
    cairo_rotate(cr, -0.35);
    fillRoundRect(cr, -56, -22, 100, 48, 22, horse);
    fillEllipse(cr, -44, 6, 14, 18, 0xE4D3B6);
    cairo_restore(cr);
    fillPolygon(cr, {-146, -272, -136, -304, -122, -268}, horse);
    fillCircle(cr, -168, -264, 7, 0x2A1C14);
    fillCircle(cr, -207, -226, 4, 0x8A6A50);
    // Mane along the neck.
    for (int i = 0; i < 5; ++i)
        fillEllipse(cr, -114 + i * 10 + maneSwing * 0.2, -268 + i * 22, 16, 13, maneRed);
    // Saddle and reins.
    fillRoundRect(cr, -48, -186, 92, 30, 10, saddle);
    fillRect(cr, -48, -160, 92, 6, saddleTrim);
    fillRect(cr, -4, -156, 8, 60, saddle);
    cairo_new_path(cr);
    cairo_move_to(cr, -190, -236);
    cairo_curve_to(cr, -150, -200, -110, -210, -62, -224);
    cairo_set_line_width(cr, 4);
    setColour(cr, 0x3A2418);
    cairo_stroke(cr);
    // Rider: leg, body, arm holding the reins, head with a red cap.
    fillPolygon(cr, {-24, -206, 14, -206, 4, -136, -6, -110, -26, -110, -16, -140}, trousersBlue);
    fillEllipse(cr, -22, -106, 18, 9, 0x2A1C14);
    fillRoundRect(cr, -34, -292, 60, 96, 22, jacket);
    fillPolygon(cr, {-24, -268, -4, -260, -60, -222, -70, -236}, jacketDark);
    fillCircle(cr, -66, -228, 9, skin);
    fillRect(cr, -10, -308, 16, 20, skin);
    fillCircle(cr, -2, -328, 28, skin);
    fillCircle(cr, -16, -332, 3.5, 0x2A1C14);
    fillEllipse(cr, -24, -318, 6, 4, 0xE89A80);
    fillEllipse(cr, 10, -338, 22, 20, hair);
    cairo_new_path(cr);
    cairo_arc(cr, -2, -336, 30, M_PI, 2 * M_PI);
    cairo_close_path(cr);
    setColour(cr, hatRed);
    cairo_fill(cr);
    fillRect(cr, -46, -340, 46, 8, hatRed);
    fillCircle(cr, -2, -368, 7, saddleTrim);
    cairo_restore(cr);
}

}  // namespace

void drawRideSky(const Canvas& canvas)
{
    cairo_t* cr = canvas.cr();
    fillVerticalRamp(canvas, sky);
    fillCircle(cr, 820, 110, 70, 0xFFF4C4);
    fillCircle(cr, 820, 110, 54, 0xFFE58A);
    drawCloud(cr, 220, 120, 1.2);
    drawCloud(cr, 560, 70, 0.8);
    drawCloud(cr, 930, 220, 0.7);
}

void drawRideMountains(const Canvas& canvas)
{
    cairo_t* cr = canvas.cr();
    const double w = canvas.width();
    // Peaks as triangles on a periodic base; each carries a snow cap cut at the same slopes.
    Rng rng(0x5EA1);
    for (int i = 0; i < 7; ++i) {
        const double x = i * w / 7 + rng.range(-30, 30), peak = rng.range(150, 250), half = rng.range(150, 230);
        wrapped(cr, w, [&] {
            fillPolygon(cr, {x - half, 420, x, peak, x + half, 420}, mountain);
            fillPolygon(cr, {x, peak, x + half, 420, x + half * 0.35, 420}, mountainShade);
            const double cap = 0.28;
            fillPolygon(cr, {x - half * cap, peak + (420 - peak) * cap, x, peak, x + half * cap,
                             peak + (420 - peak) * cap, x + half * 0.1, peak + (420 - peak) * 0.2,
                             x - half * 0.08, peak + (420 - peak) * 0.24}, snow);
        });
    }
    fillRidge(canvas, 400, {{2, 8, 0.3}, {5, 5, 1.1}}, mountainShade);
}

void drawRideHills(const Canvas& canvas)
{
    cairo_t* cr = canvas.cr();
    const double w = canvas.width();
    const std::vector<Wave> crest = {{2, 24, 0.8}, {3, 14, 2.4}, {7, 5, 0.1}};
    Rng rng(0x4111);
    // Trees stand on the crest line, so they are placed before the hill covers their roots.
    for (int i = 0; i < 9; ++i) {
        const double x = i * w / 9 + rng.range(-25, 25), s = rng.range(0.8, 1.25);
        const double ground = ridgeY(x, w, 380, crest) + 14;
        wrapped(cr, w, [&] { drawTree(cr, x, ground, s); });
    }
    fillRidge(canvas, 380, crest, hill);
    fillRidge(canvas, 440, {{1, 10, 1.7}, {4, 8, 0.6}}, hillDark);
}

void drawRideMeadow(const Canvas& canvas)
{
    cairo_t* cr = canvas.cr();
    const double w = canvas.width();
    const int posts = 8;
    // Fence: posts at even spacing, so the rails join across the seam.
    for (int i = 0; i < posts; ++i) drawFencePost(cr, i * w / posts + 20, 398);
    fillRect(cr, 0, 418, w, 12, post);
    fillRect(cr, 0, 458, w, 12, post);
    fillRect(cr, 0, 426, w, 4, postDark);
    fillRect(cr, 0, 466, w, 4, postDark);
    fillRidge(canvas, 486, {{3, 6, 0.5}, {8, 3, 2.0}}, grass);
    fillRidge(canvas, 530, {{5, 5, 1.3}, {11, 2, 0.2}}, grassDark);
    Rng rng(0xF10E);
    const uint32_t colours[] = {0xF2F2F2, 0xF6D04D, 0xE0607E, 0xF28C3A};
    for (int i = 0; i < 22; ++i) {
        const double x = rng.range(0, w), y = rng.range(470, 530);
        const uint32_t petals = colours[i % 4];
        wrapped(cr, w, [&] { drawFlower(cr, x, y, petals); });
    }
}

void drawRiderForward(const Canvas& canvas)
{
    drawRocker(canvas, 0.09, -10);
}

void drawRiderBack(const Canvas& canvas)
{
    drawRocker(canvas, -0.09, 14);
}
