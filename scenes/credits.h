// Credits: one picture two screens tall scrolled up the screen on the music clock.
//
// Depends on: OpenGL 1.x, Camera, Math, Music, Texturemanager. Owns: nothing that outlives a frame.
#pragma once

#include "framework/scene.h"

class Credits : public Scene {
public:
    ~Credits() override;
    void init() override;
    void release() override;
    void draw() override;
};
