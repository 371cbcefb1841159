// Primitives: immediate-mode quads; they change no state beyond the vertices they send.
#include "primitives.h"

#include <GL/gl.h>

Primitives::Primitives() {}

Primitives::~Primitives() {}

void Primitives::fullscreenQuad()
{
    glBegin(GL_QUADS);
    glNormal3f(0.0f, 0.0f, 1.0f);
    glTexCoord2f(0.0f, 0.0f);
    glVertex2f(0.0f, 0.0f);
    glTexCoord2f(1.0f, 0.0f);
    glVertex2f(1.0f, 0.0f);
    glTexCoord2f(1.0f, 1.0f);
    glVertex2f(1.0f, 1.0f);
    glTexCoord2f(0.0f, 1.0f);
    glVertex2f(0.0f, 1.0f);
    glEnd();
}

void Primitives::quad(float size)
{
    glBegin(GL_QUADS);
    glVertex2f(-size, -size);
    glVertex2f(size, -size);
    glVertex2f(size, size);
    glVertex2f(-size, size);
    glEnd();
}

void Primitives::fullscreenPicture(bool mirrorX, bool mirrorY, float shiftS, float shiftT)
{
    float sL = mirrorX ? 1.0f : 0.0f;
    float sR = mirrorX ? 0.0f : 1.0f;
    float tB = mirrorY ? 0.0f : 1.0f;
    float tT = mirrorY ? 1.0f : 0.0f;
    glBegin(GL_QUADS);
    glTexCoord2f(sL + shiftS, tB + shiftT);
    glVertex2f(0.0f, 0.0f);
    glTexCoord2f(sR + shiftS, tB + shiftT);
    glVertex2f(1.0f, 0.0f);
    glTexCoord2f(sR + shiftS, tT + shiftT);
    glVertex2f(1.0f, 1.0f);
    glTexCoord2f(sL + shiftS, tT + shiftT);
    glVertex2f(0.0f, 1.0f);
    glEnd();
}
