// In-process drawing: the program's own globals (built exactly as the program builds them)
// draw into the test's window with the music clock held at an exact millisecond, and the test
// reads back pixels and GL state. No moment is ever missed, and no sound is decoded.
#pragma once

#include <GL/gl.h>
#include <gtest/gtest.h>
#include <unistd.h>

#include <array>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "framework/watcher.h"
#include "tests/support/fixture.h"

namespace drawing {

using Pixel = std::array<int, 3>;

// The fixture's intro arm and guillotine blade as drawn (tests/support/fixture.cpp)
const Pixel arm1{255, 255, 0}, blade{200, 200, 255};
// Where an edge may land in the 600 rows of the test's window: a pixel, and half one for filtering
const float onePixel = 1.5f / 600;

void at(int ms);  // the music clock held there
// The scene registered as `name` drawn `frames` times at `ms`
void scene(const std::string& name, int ms, int frames = 1);

// The colour at a point of the unit square over the current viewport, (0, 0) the bottom left
Pixel pixel(float x, float y);
int integer(GLenum name);
// Equal within the rounding of blending and filtering
bool near(Pixel a, Pixel b);
// Ten samples across the row at height y (x = 0.04, 0.14, ..., clear of the tenths), as the
// letters `legend` gives their colours ('?' for any other colour)
std::string row(float y, const std::vector<std::pair<char, Pixel>>& legend);
// The top and the bottom edge (unit-square y) of the part of column x that shows `colour`
std::pair<float, float> extent(float x, Pixel colour);
// How far the intro's arm is drawn above (or below, negative) its place, in unit-square heights
float armOffset();

// A black frame, both matrix stacks one level deep with identities, the modelview selected,
// nothing enabled that the scenes and effects leave to whatever follows
void blankFrame();

// Gives the texture manager an RGBA picture under `name` (nearest texels, repeating), bound on
// return; texel(s, t) with t = 0 the bottom row
unsigned int texture(const std::string& name, int width, int height,
                     const std::function<fixture::Rgba(int, int)>& texel);

// What the program writes on standard output (1) or standard error (2) while `act` runs
std::string written(int descriptor, const std::function<void()>& act);

// A case run in a fresh copy of the fixture, its working folder while it runs: data/ may be
// written at will
class InACopy : public testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(chdir(copy.path().c_str()), 0); }
    void TearDown() override { ASSERT_EQ(chdir(home.c_str()), 0); }

    const std::string home = std::filesystem::current_path();
    fixture::Directory copy;
};

using Burst = std::map<Signal, std::string>;
// What `watcher` saw up to `ms`, handed over a quarter second later: when the saves stop there
Burst settled(Watcher& watcher, unsigned int ms);

// The program's log pointed at a scratch file, whatever DEBUG says, read back as logLines()
class LogCapture {
public:
    LogCapture();
    std::vector<std::string> lines();

private:
    fixture::Directory scratch;
};

}  // namespace drawing
