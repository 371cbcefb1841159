// Primitives: the textured full-screen quads every flat effect is made of. Each is one
// GL_QUADS primitive in the current matrices, with whatever texture and colour are bound.
// Owns: nothing.
// Depends on: OpenGL 1.x fixed function.
#pragma once

class Primitives {
public:
    Primitives();
    ~Primitives();

    // The unit square, texture coordinates equal to positions
    void fullscreenQuad();
    // Untextured square of half-side `size` around the origin
    void quad(float size);
    // The unit square with the picture upright (texture row 0 at the top), optionally
    // mirrored and scrolled (the shifts rely on a repeating wrap)
    void fullscreenPicture(bool mirrorX, bool mirrorY, float shiftS, float shiftT);
};

extern Primitives primitives;
