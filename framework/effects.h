// Effects: the flat full-screen effects the scenes compose, and the blend mode they share.
// Slide and fade run on the music clock; flash, parallax and the flip-book advance a fixed
// step per drawn frame, so their speed follows the frame rate by design.
// Owns: the fade and flash levels, the flip-book and the blend mode; the parallax offsets.
// Depends on: OpenGL 1.x fixed function; Camera, Primitives, Texturemanager, Music and Math for
//  drawing.
#pragma once

#include <string>
#include <vector>

class Effects {
public:
    float fadeAlpha;
    float flashAlpha;
    std::vector<unsigned int> animationFrames;  // GL texture names, in the order added
    double animationPosition;

    Effects();
    ~Effects();

    // On: GL_BLEND with the current mode's factors; off: GL_BLEND disabled
    void blending(bool on);
    // Next of the five blend modes; takes effect at the next blending(true) or blended effect
    void blendingMode();
    void overlay(std::string texture);
    // Slides the bound picture horizontally: "left-in", "left-out", "right-in", "right-out"
    void slide(std::string direction, int start, int end);
    void noise(std::string a, std::string b, std::string c, float minAlpha, float alphaScale);
    void parallaxScrolling(std::string back, std::string layer1, std::string layer2, std::string layer3,
                           std::string direction);
    void flash(int);
    void fade(std::string direction, float r, float g, float b, int start, int end);
    void addToAnimation(std::string texture);
    void textureAnimation(float speed);
    void enableSEM();
    void disableSEM();
};

extern Effects effects;
