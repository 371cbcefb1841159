// Intro: enters 2D mode every frame and never leaves it; the stacks fill up and GL refuses
// further pushes, which is harmless because enable2D reloads both matrices. The next 3D scene
// pops for itself.
#include "scenes/intro.h"

#include <GL/gl.h>

#include "framework/camera.h"
#include "framework/effects.h"
#include "framework/livecode.h"
#include "framework/music.h"
#include "framework/primitives.h"
#include "framework/texturemanager.h"

// Vertical shake offset of the arm; kept across frames, spans and showings.
static float translate = 0.0f;

Intro::Intro() { livecode.keep("intro.translate", translate); }

Intro::~Intro() {}

void Intro::init() {}

void Intro::release() {}

// Each bound compares with a fresh reading of the music position, as the choreography was
// written; a threshold crossed between the two readings decides the frame the same way.
static bool within(int from, int to) { return from <= music.getPosition() && music.getPosition() <= to; }

static void picture(const char* texture)
{
    texturemanager.bindTexture(texture);
    primitives.fullscreenQuad();
}

// Rises from -0.07 until the offset passes 0.1, then jitters between 0.08 and 0.10.
static void shake()
{
    glTranslatef(0.0f, translate - 0.07f, 0.0f);
    primitives.fullscreenQuad();
    translate += 0.004f;
    if (translate > 0.1f) translate = 0.08f;
}

// The arm's spans are tested one after another; at a shared boundary two apply in one frame,
// and an arm2 bind stays for the later spans of that frame. The slide-outs are cut by the next
// card at 60%.
static void arm()
{
    texturemanager.bindTexture("intro_arm1.png");
    if (within(0, 5000)) effects.slide("right-in", 0, 5000);
    if (within(5000, 7000)) shake();
    if (within(7000, 10000)) {
        texturemanager.bindTexture("intro_arm2.png");
        effects.slide("right-out", 7000, 12000);
    }
    if (within(14000, 19000)) effects.slide("right-in", 14000, 19000);
    if (within(19000, 21000)) shake();
    if (within(21000, 24000)) {
        texturemanager.bindTexture("intro_arm2.png");
        effects.slide("right-out", 21000, 26000);
    }
    if (within(28000, 32000)) effects.slide("right-in", 28000, 32000);
    if (within(32000, 33000)) shake();
    if (within(35000, 38000)) {
        texturemanager.bindTexture("intro_arm2.png");
        effects.slide("right-out", 35000, 40000);
    }
}

void Intro::draw()
{
    glClear(GL_DEPTH_BUFFER_BIT);  // the pictures cover the screen
    camera.enable2D();
    glColor3f(1.0f, 1.0f, 1.0f);

    // A title card is drawn alone, without blending of its own.
    if (within(10000, 14000)) return picture("logo_vek.png");
    if (within(24000, 28000)) return picture("logo_ka.png");
    if (within(38000, 44000)) return picture("title_brun.png");

    effects.blending(true);
    picture("intro_bg.png");
    picture("intro_fluer.png");
    picture("intro_hale.png");
    picture("intro_mann.png");

    glPushMatrix();
    arm();
    glPopMatrix();

    picture("intro_hest.png");
    effects.blending(false);
}
