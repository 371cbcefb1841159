// OpenGL: the context the window carries. Framebuffer attributes, GLEW, the fixed GL state
// the demo relies on (blending, smoothing, multisampling, depth), vsync, the viewport on
// resize, the buffer swap and the screenshot.
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
