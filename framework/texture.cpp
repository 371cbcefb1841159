// Texture: linear filtering, no mipmaps, GL's default wrap. GL names are never deleted.
#include "texture.h"

#include <GL/glew.h>

Texture::Texture() : id(static_cast<unsigned int>(-1)), used(false) {}

// A texture that already holds a GL name (one kept from before a reload) uploads into it.
void Texture::upload(Image& image)
{
    if (id == static_cast<unsigned int>(-1)) glGenTextures(1, &id);
    glBindTexture(GL_TEXTURE_2D, id);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_LINEAR);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_LINEAR);
    glTexImage2D(GL_TEXTURE_2D, 0, image.components, image.width, image.height, 0, image.format, GL_UNSIGNED_BYTE,
                 image.data);
}

void Texture::bind(int unit)
{
    glActiveTexture(unit);
    glEnable(GL_TEXTURE_2D);
    glBindTexture(GL_TEXTURE_2D, id);
    used = true;
}

bool Texture::hasBeenUsed() { return used; }
