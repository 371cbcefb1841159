// Image: decoded pixels in memory, bottom row first, four bytes per pixel per row.
// Owns: its pixel block, until releaseData().
// Depends on: nothing but the C++ standard library.
#pragma once

class Image {
public:
    int components;       // 1 to 4; handed to GL as the internal format
    int format;           // GL_LUMINANCE, GL_LUMINANCE_ALPHA, GL_RGB or GL_RGBA
    unsigned int width;
    unsigned int height;
    unsigned char* data;  // width * height * 4 bytes, owned; lives until releaseData()

    Image();
    void clear();
    void releaseData();
};
