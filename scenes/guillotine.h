// Guillotine: a frame with a blade and a head layered over it; on three beats the blade
// drops, and 800 ms later the head falls.
//
// Depends on: OpenGL 1.x, Camera, Effects, Music, Primitives, Texturemanager. Owns: the
// blade's and the head's offsets (file-level, kept across swaps).
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
