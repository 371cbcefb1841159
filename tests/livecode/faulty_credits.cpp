// The credits with faults planted in them, for the live-code fault tests, which copy this file
// over scenes/credits.cpp of their copy of the scene sources (it is not built here). One build
// serves every fault: the file "fault" in the demo's folder, read as the module loads, names
// one as "<when> <what>" (when: load, init or draw); "none" makes a good module, which draws
// the first logo card (red in the tests' pictures) in place of the credits.
#include "scenes/credits.h"

#include <GL/gl.h>
#include <unistd.h>

#include <cstdlib>
#include <exception>
#include <fstream>
#include <stdexcept>
#include <string>

#include "framework/camera.h"
#include "framework/primitives.h"
#include "framework/shader.h"
#include "framework/shadermanager.h"
#include "framework/texturemanager.h"

static std::string when, what;
static volatile int deepest = 1 << 30;

static int deeper(int depth)
{
    volatile char frame[1024];
    frame[0] = static_cast<char>(depth);
    return depth < deepest ? deeper(depth + 1) + frame[0] : 0;
}

static void commit(const std::string& now)
{
    if (when != now) return;
    if (what == "crash") *static_cast<volatile int*>(nullptr) = 1;
    if (what == "overflow") deeper(0);
    if (what == "throw") throw std::runtime_error("planted");
    if (what == "abort") abort();
    if (what == "exit") exit(0);
    if (what == "_exit") _exit(3);
    if (what == "terminate") std::terminate();
    if (what == "picture") texturemanager.bindTexture("missing.png");
    if (what == "uniform") shadermanager.getShader("plain")->setUniform1f("missing", 1.0f);
    for (volatile bool forever = what == "loop"; forever;) {
    }
}

static const bool planted = [] {
    std::ifstream("fault") >> when >> what;
    commit("load");
    return true;
}();

Credits::~Credits() {}

void Credits::init() { commit("init"); }

void Credits::release() {}

void Credits::draw()
{
    commit("draw");
    glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
    camera.enable2D();
    glColor3f(1.0f, 1.0f, 1.0f);
    texturemanager.bindTexture("logo_vek.png");
    primitives.fullscreenQuad();
    texturemanager.unbind();
    camera.disable2D();
}
