// Camera: the projection side of drawing. The 45-degree perspective of the 3D scene, the
// flat unit-square mode every overlay and full-screen effect draws in, the letterboxed
// viewport, and the zoom and depth debugging keys. Keeps no matrices of its own.
// Owns: the field of view and the near and far planes; the matrices are GL's.
// Depends on: OpenGL 1.x fixed function and GLU (gluPerspective); Config for the size and the
//  aspect ratio.
#pragma once

class Camera {
public:
    float fov;
    float zNear;
    float zFar;

    Camera();
    ~Camera();

    void setFov(float f);
    void setPerspective(float fov, float zNear, float zFar);
    void setNormalPerspective();
    // Pushes both matrix stacks: x 0..1 left to right, y 0..1 bottom to top, z -1..1
    void enable2D();
    // The same in pixels: x 0..w, y 0..h
    void enable2D(int w, int h);
    // Pops the projection, then the modelview matrix; the modelview stays selected
    void disable2D();
    void enable3D();
    void zoomIn();
    void zoomOut();
    void toogleDepth();
    void resetViewport(int width, int height);
};

extern Camera camera;

// Full-window viewport and the orthographic volume the zoom keys scale
void setViewingVolume();
