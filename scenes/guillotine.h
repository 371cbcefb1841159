// Guillotine: a frame with a blade and a head layered over it; on three beats the blade
// drops, and 800 ms later the head falls.
#pragma once

#include "framework/scene.h"

class Guillotine : public Scene {
public:
    Guillotine();
    ~Guillotine() override;
    void init() override;
    void release() override;
    void draw() override;
};
