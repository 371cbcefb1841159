// Frames: the demo's own scenes and schedule drawn into an offscreen framebuffer at virtual
// time. Frame k of a capture shows the music position from + k * 1000 / fps, however long it
// takes to draw; the music's clock is held at that position for each frame (the track is
// never played), so the scenes read the time through the clock they always read.
#pragma once

#include <GL/glew.h>

#include <csignal>
#include <cstdint>
#include <vector>

class Frames {
public:
    int width, height;

    // Registers, schedules and initialises the scenes as the demo does, and renders at this
    // size from now on
    Frames(int width, int height, int fps, int from);
    ~Frames();

    // The music position of frame k
    int time(long long k) const;
    // Whether frame k is the first to show a change of the schedule: an entry starts or ends
    // after the moment of frame k - 1 and by the moment of frame k
    bool cut(long long k) const;
    // Draws, unseen, every frame a showing from 0 at this rate draws before `from`, so that
    // what advances once per frame has advanced as far as it would have there; stops early
    // once `stop` is set. Gives the number of frames drawn
    long long catchUp(const volatile sig_atomic_t& stop);
    // Draws frame k
    void draw(long long k);
    // The frame just drawn, 4 bytes per pixel (BGRA), bottom row first
    const uint8_t* read();

private:
    int fps, from;
    GLuint framebuffer, colour, depth;
    std::vector<uint8_t> pixels;
    std::vector<int> changes;  // every entry's start and end, ms of music

    void drawAt(int ms);
};
