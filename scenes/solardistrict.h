// Solardistrict: the one 3D scene. A small lit district (ground, garden, eight box buildings,
// two of them breathing, a spinning sun and four orbiting spheres) under a swaying camera
// that jumps between four presets at fixed music times.
//
// Depends on: OpenGL 1.x and GLU, Camera, Texturemanager, Timer (both clocks). Owns: its light,
// and the orbit and camera preset (kept across swaps).
#pragma once

#include "framework/light.h"
#include "framework/scene.h"

class Solardistrict : public Scene {
public:
    int rotation;  // orbit angle of the spheres, degrees
    int view;      // camera preset, 0..3
    float swayX;
    float swayAngle;
    float swayZ;
    Light light;   // owned; the drawing sets light 0 directly

    Solardistrict();
    ~Solardistrict() override;
    void init() override;
    void release() override;
    void draw() override;

    void animateCamera();
    void setPerspective(int view);
    void drawStreet();
    void drawGarden();
    // One box from the local origin to (sx, sy, sz)
    void drawCube(float sx, float sy, float sz);
    void drawSphere(double radius, int slices, int stacks);
};
