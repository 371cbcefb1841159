// Texture: one GL texture name, uploaded from an Image and bound to a texture unit.
// Owns: one GL texture name, never deleted.
// Depends on: OpenGL 1.3 (glActiveTexture) through GLEW.
#pragma once

#include "image.h"

class Texture {
public:
    unsigned int id;  // all ones until upload
    bool used;        // set by the first bind

    Texture();
    void upload(Image& image);
    // `unit` is GL_TEXTURE0 + n
    void bind(int unit);
    bool hasBeenUsed();
};
