// Capture benchmark: the capture's frame rate against the bare drawing rate of the same
// frames, in one run, from the data/ of the working directory.
//
//   capturerate <from ms> <to ms> <fps> <WIDTHxHEIGHT>
//
// Both passes draw frames from..to at virtual time through the capture's own offscreen
// renderer. The bare pass ends each frame with glFinish, so that the software renderer has
// really drawn it; the capture pass reads each frame back and encodes it, sound included, into
// a scratch file, as the capture program does. Prints one line per pass and the cost that
// reading back and encoding add to drawing.
#include <GL/glew.h>  // Required for: glFinish()

#include <cstdio>
#include <cstdlib>
#include <string>

#include "bench/clocks.h"
#include "capture/encoder.h"
#include "capture/frames.h"
#include "capture/recorder.h"
#include "capture/soundtrack.h"

namespace {

struct Pass {
    double fps, cpuPerFrame;
};

// Times `frame` over frames 0..count-1 and prints a line
template <typename Frame>
Pass measure(const char* name, long long count, const Frames& frames, Frame frame)
{
    double wallStart = bench::wallSeconds(), processorStart = bench::processorSeconds();
    for (long long k = 0; k < count; k++) frame(k);
    double wall = bench::wallSeconds() - wallStart, processor = bench::processorSeconds() - processorStart;
    Pass pass{count / wall, 1000 * processor / count};
    printf("%-8s %4dx%-4d %5lld frames %7.1f fps %7.2f ms wall/frame %7.2f ms CPU/frame\n", name, frames.width,
           frames.height, count, pass.fps, 1000 * wall / count, pass.cpuPerFrame);
    return pass;
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc != 5) {
        fprintf(stderr, "usage: capturerate <from ms> <to ms> <fps> <WIDTHxHEIGHT>\n");
        return 1;
    }
    int from = atoi(argv[1]), to = atoi(argv[2]), fps = atoi(argv[3]);
    int width = 0, height = 0;
    if (sscanf(argv[4], "%dx%d", &width, &height) != 2 || from < 0 || to <= from || fps < 1) {
        fprintf(stderr, "capturerate: bad arguments\n");
        return 1;
    }
    long long count = (static_cast<long long>(to - from) * fps + 999) / 1000;
    Frames frames(width, height, fps, from);
    Soundtrack soundtrack(from, to);
    char scratch[] = "/tmp/capturerate-XXXXXX";
    int file = mkstemp(scratch);
    if (file < 0) return 1;
    Encoder encoder(scratch, width, height, fps, soundtrack.rate(), soundtrack.channels(), to - from);

    Pass bare = measure("drawing", count, frames, [&](long long k) {
        frames.draw(k);
        glFinish();
    });
    Recorder recorder(frames, encoder, soundtrack);
    Pass capture = measure("capture", count, frames, [&](long long k) { recorder.record(k); });
    recorder.finish(to);
    remove(scratch);
    printf("reading back and encoding add %.0f%% to drawing (wall), %.0f%% (CPU)\n", 100 * (bare.fps / capture.fps - 1),
           100 * (capture.cpuPerFrame / bare.cpuPerFrame - 1));
    return 0;
}
