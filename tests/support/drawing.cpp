// In-process drawing helpers on the program's globals.
#include "tests/support/drawing.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <unistd.h>

#include <cstdio>
#include <iostream>

#include "framework/demo.h"
#include "framework/logger.h"
#include "framework/music.h"
#include "framework/scene.h"
#include "framework/texture.h"
#include "framework/texturemanager.h"
#include "tests/support/program.h"

namespace drawing {

void at(int ms) { music.hold(ms); }

void scene(const std::string& name, int ms, int frames)
{
    at(ms);
    for (int frame = 0; frame < frames; frame++) demo.scenes[name]->draw();
}

int integer(GLenum name)
{
    GLint value = 0;
    glGetIntegerv(name, &value);
    return value;
}

bool near(Pixel a, Pixel b)
{
    return std::abs(a[0] - b[0]) <= 3 && std::abs(a[1] - b[1]) <= 3 && std::abs(a[2] - b[2]) <= 3;
}

// `count` pixels of column x of the viewport from height y up (0: to its top), bottom first
static std::vector<Pixel> column(float x, float y = 0.0f, int count = 0)
{
    GLint viewport[4];
    glGetIntegerv(GL_VIEWPORT, viewport);
    int from = static_cast<int>(y * viewport[3]);
    int rows = count ? count : viewport[3] - from;
    std::vector<unsigned char> rgba(rows * 4);
    glPixelStorei(GL_PACK_ALIGNMENT, 1);
    glReadPixels(viewport[0] + static_cast<int>(x * viewport[2]), viewport[1] + from, 1, rows, GL_RGBA,
                 GL_UNSIGNED_BYTE, rgba.data());
    std::vector<Pixel> pixels;
    for (size_t i = 0; i < rgba.size(); i += 4) pixels.push_back({rgba[i], rgba[i + 1], rgba[i + 2]});
    return pixels;
}

Pixel pixel(float x, float y) { return column(x, y, 1)[0]; }

std::pair<float, float> extent(float x, Pixel colour)
{
    std::vector<Pixel> pixels = column(x);
    int low = -1, high = -1;
    for (int row = 0; row < static_cast<int>(pixels.size()); row++)
        if (near(pixels[row], colour)) {
            if (low < 0) low = row;
            high = row + 1;
        }
    float h = static_cast<float>(pixels.size());
    return {high / h, low / h};
}

float armOffset()
{
    auto [top, bottom] = extent(0.5f, arm1);
    return top < 1.0f ? top - 1.0f : bottom;
}

std::string row(float y, const std::vector<std::pair<char, Pixel>>& legend)
{
    std::string text;
    for (int k = 0; k < 10; k++) {
        char letter = '?';
        for (const auto& [name, colour] : legend)
            if (near(pixel(0.04f + 0.1f * k, y), colour)) letter = name;
        text += letter;
    }
    return text;
}

void blankFrame()
{
    for (GLenum capability : {GL_DEPTH_TEST, GL_BLEND, GL_TEXTURE_2D, GL_LIGHTING, GL_COLOR_MATERIAL})
        glDisable(capability);
    glColor4f(1.0f, 1.0f, 1.0f, 1.0f);
    glClearColor(0.0f, 0.0f, 0.0f, 0.0f);
    glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
    for (GLenum stack : {GL_PROJECTION, GL_MODELVIEW}) {
        glMatrixMode(stack);
        while (integer(stack == GL_PROJECTION ? GL_PROJECTION_STACK_DEPTH : GL_MODELVIEW_STACK_DEPTH) > 1)
            glPopMatrix();
        glLoadIdentity();
    }
    glGetError();  // the stack overflows of the scenes that never leave 2D mode
}

unsigned int texture(const std::string& name, int width, int height,
                     const std::function<fixture::Rgba(int, int)>& texel)
{
    std::vector<unsigned char> data;
    for (int t = 0; t < height; t++)
        for (int s = 0; s < width; s++) {
            fixture::Rgba c = texel(s, t);
            data.insert(data.end(), {c.r, c.g, c.b, c.a});
        }
    Texture* made = new Texture();  // GL repeats by default
    glGenTextures(1, &made->id);
    glBindTexture(GL_TEXTURE_2D, made->id);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MIN_FILTER, GL_NEAREST);
    glTexParameteri(GL_TEXTURE_2D, GL_TEXTURE_MAG_FILTER, GL_NEAREST);
    glTexImage2D(GL_TEXTURE_2D, 0, GL_RGBA8, width, height, 0, GL_RGBA, GL_UNSIGNED_BYTE, data.data());
    texturemanager.textures[name] = made;  // a texture replaced here is the test's to lose
    return made->id;
}

std::string written(int descriptor, const std::function<void()>& act)
{
    fixture::Directory scratch;
    std::cout.flush();
    fflush(nullptr);
    int saved = dup(descriptor), file = open(scratch.file("written").c_str(), O_WRONLY | O_CREAT, 0644);
    dup2(file, descriptor);
    close(file);
    act();
    std::cout.flush();
    fflush(nullptr);
    dup2(saved, descriptor);
    close(saved);
    return scratch.read("written");
}

Burst settled(Watcher& watcher, unsigned int ms)
{
    watcher.update(ms);
    return watcher.update(ms + 250);
}

LogCapture::LogCapture()
{
    logger.file.close();
    logger.file.clear();
    logger.file.open(scratch.file("log.txt"), std::ios::out | std::ios::trunc);
}

std::vector<std::string> LogCapture::lines()
{
    logger.file.flush();
    return program::logLines(scratch.read("log.txt"));
}

}  // namespace drawing
