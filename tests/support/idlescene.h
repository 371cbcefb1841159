// A scene that draws nothing: registers a name for tests and fuzz targets that only need the
// director to accept it.
#pragma once

#include "framework/scene.h"

class IdleScene : public Scene {
public:
    void init() override {}
    void release() override {}
    void draw() override {}
};
