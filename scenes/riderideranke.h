// Riderideranke: a rocking-horse rider, a two-frame flip-book bobbing on the music, in front
// of a four-layer parallax landscape scrolling left.
#pragma once

#include "framework/scene.h"

class Riderideranke : public Scene {
public:
    ~Riderideranke() override;
    void init() override;
    void release() override;
    void draw() override;
};
