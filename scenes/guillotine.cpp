// Guillotine: the beats are music times, but how far the parts have fallen counts the frames
// drawn since the scene first ran. Like the intro, it stays in 2D mode.
#include "scenes/guillotine.h"

#include <GL/gl.h>

#include "framework/camera.h"
#include "framework/effects.h"
#include "framework/livecode.h"
#include "framework/music.h"
#include "framework/primitives.h"
#include "framework/texturemanager.h"

// Vertical offsets of the blade and the head; they fall every frame and are never reset.
static float blad = 0.0f;
static float head = 0.0f;

Guillotine::Guillotine()
{
    livecode.keep("guillotine.blad", blad);
    livecode.keep("guillotine.head", head);
}

Guillotine::~Guillotine() {}

void Guillotine::init() {}

void Guillotine::release() {}

// True inside one of the three inclusive spans that start at `first`, +4000 and +8000 ms;
// every bound is compared with a fresh reading of the music position.
static bool onBeat(int first, int length)
{
    for (int beat = 0; beat < 3; beat++) {
        int start = first + beat * 4000;
        if (start <= music.getPosition() && music.getPosition() <= start + length) return true;
    }
    return false;
}

// One layer, displaced by `offset` while on its beat.
static void layer(const char* texture, bool displaced, float offset)
{
    glPushMatrix();
    if (displaced) glTranslatef(0.0f, offset, 0.0f);
    texturemanager.bindTexture(texture);
    primitives.fullscreenQuad();
    glPopMatrix();
}

void Guillotine::draw()
{
    glClear(GL_DEPTH_BUFFER_BIT);
    camera.enable2D();
    glColor3f(1.0f, 1.0f, 1.0f);
    effects.blending(true);

    texturemanager.bindTexture("guillotine.png");
    primitives.fullscreenQuad();
    layer("guillotine_head.png", onBeat(62800, 1200), head);
    layer("guillotine_blad.png", onBeat(62000, 1000), blad);

    blad -= 0.002f;  // twice as fast as the head
    head -= 0.001f;
    effects.blending(false);
}
