// Greets: a place on the timeline that draws nothing of its own; the screen keeps whatever
// the frame loop leaves in the buffers.
//
// Depends on: nothing. Owns: nothing.
#pragma once

#include "framework/scene.h"

class Greets : public Scene {
public:
    ~Greets() override;
    void init() override;
    void release() override;
    void draw() override;
};
