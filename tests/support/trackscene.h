// A scene whose whole picture is one sync track: red is the value of "test/level:red" at the
// music time (a name with a folder and a character the file name escapes), the rest black.
#pragma once

#include <GL/gl.h>

#include "framework/music.h"
#include "framework/scene.h"
#include "framework/synctracks.h"

class TrackScene : public Scene {
public:
    TrackScene() : level(synctracks.getTrack("test/level:red")) {}
    void init() override {}
    void release() override {}
    void draw() override
    {
        glClearColor(synctracks.getValue(level, music.getPosition()), 0.0f, 0.0f, 1.0f);
        glClear(GL_COLOR_BUFFER_BIT);
    }

private:
    int level;
};
