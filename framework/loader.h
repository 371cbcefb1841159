// Loader: counts the loading work and shows a progress bar after every finished step.
// Owns: the step counts and the fraction shown.
// Depends on: OpenGL 1.x fixed function; Camera for the flat mode; Window for the swap and the
//  title.
#pragma once

#include <string>

class Loader {
public:
    float percentage;  // a fraction, 0 to 1, despite the name
    int steps;
    int current;

    Loader();

    void addSteps(int n);
    void advance(int n);
    void clear();
    // Draws the bar and presents it at once; nothing at all before any step is announced
    void draw(std::string what);
};

extern Loader loader;
