// Credits: the scroll window is absolute music time, 4000 to 10000 ms, whatever the schedule.
// Stays in 2D mode like the intro.
#include "scenes/credits.h"

#include <GL/gl.h>

#include "framework/camera.h"
#include "framework/math.h"
#include "framework/music.h"
#include "framework/texturemanager.h"

// Scroll progress of the last drawn frame.
static float slideUp = 0.0f;

Credits::~Credits() {}

void Credits::init() {}

void Credits::release() {}

void Credits::draw()
{
    glClear(GL_DEPTH_BUFFER_BIT);
    camera.enable2D();
    glPushMatrix();
    slideUp = static_cast<float>(math.calcPosFloat(static_cast<float>(music.getPosition()), 4000.0f, 10000.0f));
    glTranslatef(0.0f, slideUp, 0.0f);
    glColor3f(1.0f, 1.0f, 1.0f);

    // From y -1 to 1: at rest the screen shows the picture's upper texture half (t 0.5 to 1).
    texturemanager.bindTexture("credits.png");
    glBegin(GL_QUADS);
    glNormal3f(0.0f, 0.0f, 1.0f);
    glTexCoord2f(0.0f, 0.0f);
    glVertex2f(0.0f, -1.0f);
    glTexCoord2f(1.0f, 0.0f);
    glVertex2f(1.0f, -1.0f);
    glTexCoord2f(1.0f, 1.0f);
    glVertex2f(1.0f, 1.0f);
    glTexCoord2f(0.0f, 1.0f);
    glVertex2f(0.0f, 1.0f);
    glEnd();

    texturemanager.unbind();
    glPopMatrix();
}
