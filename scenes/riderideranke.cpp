// Riderideranke: the bob follows the music in whole 150 ms steps; the scrolling and the
// flip-book advance per drawn frame. Its state lives in the shared effects.
#include "scenes/riderideranke.h"

#include <GL/gl.h>
#include <cmath>

#include "framework/camera.h"
#include "framework/effects.h"
#include "framework/music.h"

static const double pi = 3.14159265358979323846;

Riderideranke::~Riderideranke() {}

// Appends again on every start: the flip-book is never cleared, so it grows 0, 1, 0, 1, ...
void Riderideranke::init()
{
    effects.addToAnimation("ri_hest_ri0.png");
    effects.addToAnimation("ri_hest_ri1.png");
}

void Riderideranke::release() {}

void Riderideranke::draw()
{
    glClear(GL_COLOR_BUFFER_BIT);
    glLoadIdentity();
    effects.parallaxScrolling("bg.png", "scroll1.png", "scroll2.png", "scroll3.png", "left");

    glPushMatrix();
    camera.enable2D();
    effects.blending(true);
    // The angle advances a whole radian every 150 ms: a stepped, jerky bob between -0.1 and 0.3.
    int k = music.getPosition() / 150;
    glTranslatef(0.0f, static_cast<float>(sin(static_cast<double>(k) + pi / 2) / 5 + 0.1), 0.0f);
    effects.textureAnimation(0.02f);
    effects.blending(false);
    camera.disable2D();
    glPopMatrix();
}
