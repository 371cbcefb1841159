// Scene benchmark: frames per second and processor time per frame of one scene, drawn by the
// program's own globals from the data/ of the working directory (its size, its pictures).
//
//   scenebench <scene> <music ms> <seconds>
//
// The show is loaded as the program loads it (the 3D scene's start leaves lighting on, so the
// 2D scenes are lit as in the showing), then the named scene alone is scheduled (an unknown
// name ends with the timeline's own message), and the track plays from
// the given position. Two loops are timed: the program's own frame (10 ms wait, swap, draw) and the
// same without the wait, which is what the scene and the swap cost. Processor time counts
// every thread of the process, llvmpipe's rasterisers included.

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "bench/measure.h"
#include "framework/audio.h"
#include "framework/clock.h"
#include "framework/config.h"
#include "framework/demo.h"
#include "framework/music.h"
#include "framework/opengl.h"
#include "framework/timeline.h"
#include "framework/timer.h"
#include "framework/window.h"
#include "scenes/show.h"

namespace {

// Frames drawn from `ms` on for `seconds`; `wait` chooses the program's frame (with its 10 ms
// wait) or a bare swap. Prints one line.
void timeFrames(const char* scene, int ms, double seconds, bool wait)
{
    music.setPosition(ms);
    for (int i = 0; i < 10; i++) {  // settles the first uploads and the stream
        window.update();
        demo.draw();
    }
    int frames = 0;
    double wallStart = steadyMs() / 1000, processorStart = measure::processorSeconds();
    while (steadyMs() / 1000 - wallStart < seconds) {
        if (wait)
            window.update();
        else
            opengl.update();
        audio.update();
        timer.update();
        demo.draw();
        frames++;
    }
    double wall = steadyMs() / 1000 - wallStart, processor = measure::processorSeconds() - processorStart;
    printf("%-14s %4dx%-4d %-9s %7.1f fps %7.2f ms CPU/frame %7.2f ms wall/frame\n", scene, Config::width,
           Config::height, wait ? "program" : "no-wait", frames / wall, 1000 * processor / frames, 1000 * wall / frames);
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc != 4) {
        fprintf(stderr, "usage: scenebench <scene> <music ms> <seconds>\n");
        return 1;
    }
    std::string name = argv[1];
    loadShow();
    timeLine.entries.clear();
    demo.addSceneToTimeline(name, 0, INT_MAX);
    demo.start();

    int ms = atoi(argv[2]);
    double seconds = atof(argv[3]);
    timeFrames(name.c_str(), ms, seconds, true);
    timeFrames(name.c_str(), ms, seconds, false);
    return 0;
}
