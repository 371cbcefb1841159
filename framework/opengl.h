// OpenGL: the context the window carries. Framebuffer attributes, GLEW, the fixed GL state
// the demo relies on (blending, smoothing, multisampling, depth), vsync, the viewport on
// resize, the buffer swap and the screenshot.
// Owns: the antialiasing and depth flags; the context itself belongs to the window.
// Depends on: OpenGL 1.x and 2.0 through GLEW 2.2; SDL 1.2 (GL attributes, swap, BMP writing);
//  Camera, Music.
#pragma once

class OpenGL {
public:
    bool antialias;     // smoothing (and blending) of antialiasing(true) in force
    bool resizeToggle;  // flipped by the p key; nothing reads it

    OpenGL();
    ~OpenGL();

    void init();
    void initGlew();
    void info();
    void antialiasing(bool on);
    void initMultisample();
    void initDepth();
    void vsync(bool on);
    void resize(int width, int height);
    // Saves the configured-size frame buffer as "<music ms>.bmp", 24-bit, top row at the top
    void screenshot();
    void update();
};

extern OpenGL opengl;

// Config::bpp when it is a depth the demo knows (0, 8, 15, 16, 24 or 32). Any other logs that it
// is invalid and falls back to the current depth: Config::bpp becomes 0, which is returned.
int checkedBpp();
