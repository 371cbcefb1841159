// Intro: the opening. A layered picture on which an arm slides in, shakes and slides out,
// cut by three full-screen title cards; everything on music-clock thresholds.
//
// Depends on: OpenGL 1.x, Camera, Effects, Music, Primitives, Texturemanager. Owns: the arm's
// shake offset (file-level, kept across swaps).
#pragma once

#include "framework/scene.h"

class Intro : public Scene {
public:
    Intro();
    ~Intro() override;
    void init() override;
    void release() override;
    void draw() override;
};
