// Scene: the interface every part of the presentation implements; the director knows scenes
// only through it. A scene reads the music clock itself.
// Owns: nothing: the director owns the scenes.
// Depends on: nothing.
#pragma once

class Scene {
public:
    virtual ~Scene() = 0;
    virtual void init() = 0;
    virtual void release() = 0;
    virtual void draw() = 0;
};
