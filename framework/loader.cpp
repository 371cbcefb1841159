// Loader: steps only accumulate, so the bar fills during the shaders, jumps back when the
// textures announce theirs, and fills again.
#include "loader.h"

#include <GL/gl.h>

#include "camera.h"
#include "config.h"
#include "logger.h"
#include "window.h"

Loader::Loader()
{
    logger << "Loader: Initializing..." << std::endl;
    clear();
}

void Loader::addSteps(int n)
{
    logger << "Loader: Adding " << n << " steps..." << std::endl;
    steps += n;
}

void Loader::advance(int n)
{
    logger << "Loader: Advancing " << n << " steps..." << std::endl;
    current += n;
}

void Loader::clear()
{
    logger << "Loader: Clearing values..." << std::endl;
    percentage = 0.0f;
    steps = 0;
    current = 0;
}

void Loader::draw(std::string what)
{
    if (steps <= 0) return;
    percentage = static_cast<float>(current) / steps;
    if (Config::debug) window.setTitle("Loading " + what + "...");

    glPushMatrix();
    glBindTexture(GL_TEXTURE_2D, 0);
    glClearColor(0.0f, 0.0f, 0.0f, 0.0f);
    glClear(GL_COLOR_BUFFER_BIT);
    glDisable(GL_DEPTH_TEST);  // left off: the scenes set up their own depth state
    camera.enable2D(800, 600);

    glColor3f(1.0f, 1.0f, 1.0f);
    glLineWidth(2.0f);
    glBegin(GL_LINE_LOOP);
    glVertex2f(95.0f, 285.0f);
    glVertex2f(705.0f, 285.0f);
    glVertex2f(705.0f, 315.0f);
    glVertex2f(95.0f, 315.0f);
    glEnd();

    // Not clamped: more advances than announced steps draw past the frame.
    float end = 100.0f + 600.0f * percentage;
    glLineWidth(1.0f);
    glBegin(GL_QUADS);
    glColor4f(1.0f, 0.0f, 1.0f, 1.0f);
    glVertex2f(100.0f, 290.0f);
    glColor4f(1.0f, 1.0f, 1.0f, 1.0f);
    glVertex2f(end, 290.0f);
    glVertex2f(end, 310.0f);
    glColor4f(1.0f, 0.0f, 1.0f, 1.0f);
    glVertex2f(100.0f, 310.0f);
    glEnd();

    camera.disable2D();
    glPopMatrix();
    window.update();
    logger << "Loading: Percentage: " << percentage << std::endl;
}
