// Riderideranke: a rocking-horse rider, a two-frame flip-book bobbing on the music, in front
// of a four-layer parallax landscape scrolling left.
//
// Depends on: OpenGL 1.x, Camera, Effects, Music. Owns: nothing; its flip-book and parallax
// offsets are the effects'.
#pragma once

#include "framework/scene.h"

class Riderideranke : public Scene {
public:
    ~Riderideranke() override;
    void init() override;
    void release() override;
    void draw() override;
};
