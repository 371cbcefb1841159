// Capture: the demo rendered to a video file, frame-exact, with its soundtrack.
//
//   capture [--output FILE] [--quality fast|good|best] [--fps N] [--size WIDTHxHEIGHT] [--from MS] [--to MS]
//
// The same engine, scenes, data/ and schedule as the demo, linked with the demo's own globals
// (main.cpp, its entry point renamed), drawn offscreen at virtual time, never shown, never
// heard, and without the debug overlay. The output appears only when it is complete.
#include <csignal>
#include <iostream>

#include "capture/encoder.h"
#include "capture/failure.h"
#include "capture/frames.h"
#include "capture/options.h"
#include "capture/output.h"
#include "capture/progress.h"
#include "capture/recorder.h"
#include "capture/soundtrack.h"
#include "framework/livecode.h"
#include "framework/music.h"
#include "framework/script.h"
#include "framework/watcher.h"

static volatile sig_atomic_t interrupted = 0;

static void interrupt(int) { interrupted = 1; }

// The scenes drawn are the ones linked into this program: a rehearsal's saves that it has not
// been rebuilt with are said, on one line, and captured all the same.
static void sayStaleScenes()
{
    std::string newer = Livecode::newerThanProgram(Livecode::sourceDirectory(), Watcher::sceneSource);
    if (!newer.empty())
        std::cerr << "capture: " << newer << " was saved after this program was built: its changes are not in "
                  << "the capture, run make to bring them in" << std::endl;
}

int main(int argc, char** argv)
{
    Options options = readOptions(argc, argv, static_cast<int>(script.getInt("WIDTH")),
                                  static_cast<int>(script.getInt("HEIGHT")), music.getLength());
    sayStaleScenes();
    for (int signal : {SIGINT, SIGTERM, SIGHUP}) std::signal(signal, interrupt);
    // A reader of the progress that went away is no reason to lose the capture.
    std::signal(SIGPIPE, SIG_IGN);
    long long total = options.frames();
    Output output(options.output, options.format, total);

    Frames frames(options.width, options.height, options.fps, options.from);
    Soundtrack soundtrack(options.from, options.to);
    Encoder encoder(output, options, soundtrack.rate(), soundtrack.channels(), soundtrack.frames());
    frames.catchUp(interrupted);

    Recorder recorder(frames, encoder, soundtrack);
    Progress progress(total);
    for (long long k = 0; k < total && !interrupted; k++) {
        recorder.record(k);
        progress.update(k + 1, encoder.written());
    }
    progress.finish();
    if (interrupted) fail("interrupted: no file written", 130);
    recorder.finish(options.to);

    if (interrupted) fail("interrupted: no file written", 130);
    output.commit();
    return 0;
}
