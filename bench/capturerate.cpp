// Capture benchmark: the capture's frame rate against the bare drawing rate of the same
// frames, in one run, from the data/ of the working directory; and what the unseen frames
// before a late start cost.
//
//   capturerate [the capture's options]
//
// Both passes draw the frames of the range at virtual time through the capture's own
// offscreen renderer. The bare pass ends each frame with glFinish, so that the software
// renderer has really drawn it; the capture pass reads each frame back and encodes it, sound
// included, into the output, as the capture program does. Prints one line per pass and the
// cost that reading back and encoding add to drawing.
#include <GL/glew.h>

#include <csignal>
#include <cstdio>

#include "bench/measure.h"
#include "capture/encoder.h"
#include "capture/frames.h"
#include "capture/options.h"
#include "capture/output.h"
#include "capture/recorder.h"
#include "capture/soundtrack.h"
#include "framework/clock.h"
#include "framework/music.h"
#include "framework/script.h"

namespace {

double wallSeconds() { return steadyMs() / 1000; }

struct Pass {
    double fps, cpuPerFrame;
};

// Times `frame` over frames 0..count-1 and prints a line
template <typename Frame>
Pass timePass(const char* name, long long count, const Frames& frames, Frame frame)
{
    double wallStart = wallSeconds(), processorStart = measure::processorSeconds();
    for (long long k = 0; k < count; k++) frame(k);
    double wall = wallSeconds() - wallStart, processor = measure::processorSeconds() - processorStart;
    Pass pass{count / wall, 1000 * processor / count};
    printf("%-8s %4dx%-4d %5lld frames %7.1f fps %7.2f ms wall/frame %7.2f ms CPU/frame\n", name, frames.width,
           frames.height, count, pass.fps, 1000 * wall / count, pass.cpuPerFrame);
    return pass;
}

}  // namespace

int main(int argc, char** argv)
{
    Options options = readOptions(argc, argv, static_cast<int>(script.getInt("WIDTH")),
                                  static_cast<int>(script.getInt("HEIGHT")), music.getLength());
    long long count = options.frames();
    Output output(options.output, options.format, count);
    Frames frames(options.width, options.height, options.fps, options.from);
    static const volatile sig_atomic_t never = 0;
    double start = wallSeconds(), processorStart = measure::processorSeconds();
    if (long long unseen = frames.catchUp(never))
        printf("unseen   %5lld frames before the start %7.3f ms wall/frame %7.3f ms CPU/frame\n", unseen,
               1000 * (wallSeconds() - start) / unseen,
               1000 * (measure::processorSeconds() - processorStart) / unseen);

    Soundtrack soundtrack(options.from, options.to);
    Encoder encoder(output, options, soundtrack.rate(), soundtrack.channels(), soundtrack.frames());
    Pass bare = timePass("drawing", count, frames, [&](long long k) {
        frames.draw(k);
        glFinish();
    });
    Recorder recorder(frames, encoder, soundtrack);
    Pass capture = timePass("capture", count, frames, [&](long long k) { recorder.record(k); });
    recorder.finish(options.to);
    output.commit();
    printf("reading back and encoding add %.0f%% to drawing (wall), %.0f%% (CPU)\n", 100 * (bare.fps / capture.fps - 1),
           100 * (capture.cpuPerFrame / bare.cpuPerFrame - 1));
    return 0;
}
