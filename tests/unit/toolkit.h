// Helpers of the effects-toolkit tests: what GL drew (pixels, matrices, stack depths), test
// pictures made directly in GL, and the log lines written meanwhile.
#pragma once

#include <GL/gl.h>

#include <array>
#include <functional>
#include <string>
#include <vector>

#include "framework/logger.h"
#include "framework/texture.h"
#include "framework/texturemanager.h"
#include "tests/support/fixture.h"
#include "tests/support/inprocess.h"

namespace toolkit {

using Pixel = std::array<int, 3>;
using Matrix = std::array<float, 16>;  // column-major, as GL hands it out

// The colour at a point of the unit square in the current viewport, (0,0) the bottom left.
inline Pixel pixelAt(float x, float y)
{
    GLint viewport[4];
    glGetIntegerv(GL_VIEWPORT, viewport);
    unsigned char rgba[4];
    glPixelStorei(GL_PACK_ALIGNMENT, 1);
    glReadPixels(viewport[0] + static_cast<int>(x * viewport[2]), viewport[1] + static_cast<int>(y * viewport[3]), 1,
                 1, GL_RGBA, GL_UNSIGNED_BYTE, rgba);
    return {rgba[0], rgba[1], rgba[2]};
}

inline Matrix matrix(GLenum which)
{
    Matrix m;
    glGetFloatv(which, m.data());
    return m;
}

inline int integer(GLenum name)
{
    GLint value = 0;
    glGetIntegerv(name, &value);
    return value;
}

// A clean black frame with nothing enabled that the effects rely on the caller for, identity
// matrices and the modelview selected.
inline void blankFrame()
{
    glDisable(GL_DEPTH_TEST);
    glDisable(GL_BLEND);
    glDisable(GL_TEXTURE_2D);
    glDisable(GL_LIGHTING);
    glColor4f(1.0f, 1.0f, 1.0f, 1.0f);
    glClearColor(0.0f, 0.0f, 0.0f, 0.0f);
    glClear(GL_COLOR_BUFFER_BIT);
    glMatrixMode(GL_PROJECTION);
    glLoadIdentity();
    glMatrixMode(GL_MODELVIEW);
    glLoadIdentity();
}

// An RGBA texture, nearest texel and repeating, whose texel (s, t) is texel(s, t): row t = 0
// is the first GL receives. Bound on return.
inline unsigned int makeTexture(int width, int height, const std::function<fixture::Rgba(int, int)>& texel)
{
    std::vector<unsigned char> data;
    for (int t = 0; t < height; t++)
        for (int s = 0; s < width; s++) {
            fixture::Rgba c = texel(s, t);
            data.insert(data.end(), {c.r, c.g, c.b, c.a});
        }
    unsigned int id;
    glGenTextures(1, &id);
    glBindTexture(GL_TEXTURE_2D, id);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_S, GL_REPEAT);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_WRAP_T, GL_REPEAT);
    glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA8, width, height, 0, GL_RGBA, GL_UNSIGNED_BYTE, data.data());
    return id;
}

// Hands a texture to the texture manager under `name`, as if it had been loaded from a file.
inline unsigned int addTexture(const std::string& name, unsigned int id)
{
    Texture* texture = new Texture();
    texture->id = id;
    texturemanager.textures[name] = texture;
    return id;
}

using fixture::LogCapture;

}  // namespace toolkit
