// Effects: each effect draws the unit square inside its own 2D mode (the flip-book excepted),
// so it covers the viewport whatever the window size.
#include "effects.h"

#include <GL/gl.h>
#include <cstdlib>
#include <iostream>

#include "camera.h"
#include "logger.h"
#include "math.h"
#include "music.h"
#include "primitives.h"
#include "texturemanager.h"

// Blend modes: replace, additive, (ONE, ONE_MINUS_DST_ALPHA), additive by alpha, and ordinary
// alpha blending, the start-up mode.
static int currBlend = 4;
static const int blendSrc[] = {GL_ONE, GL_ONE, GL_ONE, GL_SRC_ALPHA, GL_SRC_ALPHA};
static const int blendDst[] = {GL_ZERO, GL_ONE, GL_ONE_MINUS_DST_ALPHA, GL_ONE, GL_ONE_MINUS_SRC_ALPHA};

// Parallax offsets of layers 1 to 3 and the last slide's offset. Never reset: a second
// parallax scene continues where the first stopped.
static float teller = 0.0f;
static float teller1 = 0.0f;
static float teller2 = 0.0f;
static float teller3 = 0.0f;

Effects::Effects() : fadeAlpha(0.0f), flashAlpha(0.0f), animationPosition(0.0) {}

Effects::~Effects() {}

static void applyBlend()
{
    glEnable(GL_BLEND);
    glBlendFunc(blendSrc[currBlend], blendDst[currBlend]);
}

// The frame shared by the blended effects; the caller draws between begin and end. The push
// names the modelview stack: a caller may have left the projection selected (a resize does),
// and endBlended pops the modelview.
static void beginBlended()
{
    glMatrixMode(GL_MODELVIEW);
    glPushMatrix();
    camera.enable2D();
    applyBlend();
}

static void endBlended()
{
    camera.disable2D();
    glPopMatrix();
}

static void bindID(const std::string& texture) { glBindTexture(GL_TEXTURE_2D, texturemanager.getID(texture)); }

static void wrongDirection() { std::cout << "wrong direction.. :p" << std::endl; }

void Effects::blending(bool on)
{
    if (on)
        applyBlend();
    else
        glDisable(GL_BLEND);
}

void Effects::blendingMode()
{
    currBlend = (currBlend + 1) % 5;
    logger << "Effects: Blending mode: Src: " << blendSrc[currBlend] << " Dest: " << blendDst[currBlend] << std::endl;
}

void Effects::overlay(std::string texture)
{
    camera.enable2D();
    texturemanager.bindTexture(texture, GL_TEXTURE0);
    primitives.fullscreenQuad();
    texturemanager.unbind();
    camera.disable2D();
}

void Effects::slide(std::string direction, int start, int end)
{
    float p = static_cast<float>(math.calcPosFloat(static_cast<float>(music.getPosition()), static_cast<float>(start),
                                                   static_cast<float>(end)));
    if (direction == "left-in")
        teller3 = p - 1.0f;
    else if (direction == "left-out")
        teller3 = -p;
    else if (direction == "right-in")
        teller3 = 1.0f - p;
    else if (direction == "right-out")
        teller3 = p;
    else
        wrongDirection();  // and draws at the previous offset

    // The caller has bound the picture and enabled texturing; blending stays on afterwards.
    camera.enable2D();
    applyBlend();
    glColor4f(1.0f, 1.0f, 1.0f, 1.0f);
    glTranslatef(teller3, 0.0f, 0.0f);
    primitives.fullscreenQuad();
    camera.disable2D();
}

void Effects::noise(std::string a, std::string b, std::string c, float minAlpha, float alphaScale)
{
    beginBlended();
    float alpha = (math.randFloat(1.0f) * (1.0f - minAlpha) + minAlpha) * alphaScale;
    glColor4f(1.0f, 1.0f, 1.0f, alpha);
    glEnable(GL_TEXTURE_2D);
    int pick = rand() % 3;
    bindID(pick == 0 ? a : pick == 1 ? b : c);
    float s = math.randFloat(1.0f);
    float t = math.randFloat(1.0f);
    int first = rand();
    int second = rand();
    primitives.fullscreenPicture((second & 1) == 0, (first & 1) == 0, t, s);
    glDisable(GL_TEXTURE_2D);
    endBlended();  // blending stays on
}

// One layer drawn twice, one screen apart, so it tiles across the screen.
static void tiledLayer(const std::string& texture, float offset)
{
    bindID(texture);
    glPushMatrix();
    glTranslatef(offset, 0.0f, 0.0f);
    primitives.fullscreenQuad();
    glPopMatrix();
    glPushMatrix();
    glTranslatef(offset - 1.0f, 0.0f, 0.0f);
    primitives.fullscreenQuad();
    glPopMatrix();
}

// Wraps an offset that has left 0..1, then steps it: speeds 1 : 2 : 4, nearest fastest.
static void scrollLeft(float& offset, double step)
{
    if (offset <= 0.0f) offset = 1.0f;
    offset = static_cast<float>(offset - step);
}

static void scrollRight(float& offset, double step)
{
    if (offset >= 1.0f) offset = 0.0f;
    offset = static_cast<float>(offset + step);
}

void Effects::parallaxScrolling(std::string back, std::string layer1, std::string layer2, std::string layer3,
                                std::string direction)
{
    beginBlended();
    glColor4f(1.0f, 1.0f, 1.0f, 1.0f);
    glEnable(GL_TEXTURE_2D);
    bindID(back);
    primitives.fullscreenQuad();
    tiledLayer(layer1, teller);
    tiledLayer(layer2, teller1);
    tiledLayer(layer3, teller2);
    glDisable(GL_TEXTURE_2D);
    glDisable(GL_BLEND);
    endBlended();

    if (direction == "left") {
        scrollLeft(teller, 0.001);
        scrollLeft(teller1, 0.002);
        scrollLeft(teller2, 0.004);
    } else if (direction == "right") {
        scrollRight(teller, 0.001);
        scrollRight(teller1, 0.002);
        scrollRight(teller2, 0.004);
    } else {
        wrongDirection();
    }
}

void Effects::flash(int)
{
    if (flashAlpha <= 0.0f) flashAlpha = 1.0f;  // a new flash starts by itself
    beginBlended();
    glColor4f(1.0f, 1.0f, 1.0f, flashAlpha);
    primitives.fullscreenQuad();
    glDisable(GL_BLEND);
    endBlended();
    flashAlpha -= 0.05;
}

void Effects::fade(std::string direction, float r, float g, float b, int start, int end)
{
    float p = static_cast<float>(math.calcPosFloat(static_cast<float>(music.getPosition()), static_cast<float>(start),
                                                   static_cast<float>(end)));
    if (direction == "in")
        fadeAlpha = 1.0f - p;
    else if (direction == "out")
        fadeAlpha = p;

    beginBlended();
    glColor4f(r, g, b, fadeAlpha);
    primitives.fullscreenQuad();  // textured or not as the caller left it, normally not
    glDisable(GL_BLEND);
    endBlended();
    glFlush();
}

void Effects::addToAnimation(std::string texture) { animationFrames.push_back(texturemanager.getID(texture)); }

void Effects::textureAnimation(float speed)
{
    // The position may equal the frame count for one frame (the reset test is strict); that
    // frame shows the first picture rather than reading past the end.
    size_t frame = static_cast<size_t>(animationPosition);
    glEnable(GL_TEXTURE_2D);
    if (!animationFrames.empty())
        glBindTexture(GL_TEXTURE_2D, animationFrames[frame < animationFrames.size() ? frame : 0]);
    primitives.fullscreenQuad();
    glDisable(GL_TEXTURE_2D);

    animationPosition += speed;
    if (animationPosition > animationFrames.size()) animationPosition = 0.0;
}

void Effects::enableSEM()
{
    glTexGeni(GL_S, GL_TEXTURE_GEN_MODE, GL_SPHERE_MAP);
    glTexGeni(GL_T, GL_TEXTURE_GEN_MODE, GL_SPHERE_MAP);
    // These two name no valid parameter: GL answers with an invalid-enumerant error and
    // changes nothing. They stay: the sequence of calls is part of the effect's definition.
    glTexGeni(GL_S, GL_SPHERE_MAP, 0);
    glTexGeni(GL_T, GL_SPHERE_MAP, 0);
    glEnable(GL_TEXTURE_GEN_S);
    glEnable(GL_TEXTURE_GEN_T);
}

void Effects::disableSEM()
{
    glDisable(GL_TEXTURE_GEN_S);
    glDisable(GL_TEXTURE_GEN_T);
}
