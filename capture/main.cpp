// Capture: the demo rendered to a video file, frame-exact, with its soundtrack.
//
//   capture [--output FILE] [--fps N] [--size WIDTHxHEIGHT] [--from MS] [--to MS]
//
// The same engine, scenes, data/ and schedule as the demo, linked with the demo's own globals
// (main.cpp, its entry point renamed), drawn offscreen at virtual time, never shown, never
// heard, and without the debug overlay. The file appears only when it is complete.
#include <sys/stat.h>  // Required for: stat(), umask(), fchmod()
#include <unistd.h>    // Required for: close()

#include <cerrno>   // Required for: errno
#include <csignal>  // Required for: signal(), sig_atomic_t
#include <cstdio>   // Required for: std::rename()
#include <cstdlib>  // Required for: mkstemp()
#include <cstring>  // Required for: strerror()
#include <string>
#include <vector>

#include "capture/encoder.h"
#include "capture/failure.h"
#include "capture/frames.h"
#include "capture/options.h"
#include "capture/progress.h"
#include "capture/recorder.h"
#include "capture/soundtrack.h"
#include "framework/music.h"
#include "framework/script.h"

static volatile sig_atomic_t interrupted = 0;

static void interrupt(int) { interrupted = 1; }

// Creates a temporary file beside the output, so that the finished video is renamed into place
// and a failure at any point leaves no half-written file under the name asked for
static std::string reserve(const std::string& output)
{
    struct stat status;
    if (stat(output.c_str(), &status) == 0 && S_ISDIR(status.st_mode)) fail("cannot write " + output + ": a directory");
    std::string pattern = output + ".partXXXXXX";
    std::vector<char> name(pattern.begin(), pattern.end());
    name.push_back('\0');
    int file = mkstemp(name.data());
    if (file < 0) fail("cannot write " + output + ": " + strerror(errno));
    // mkstemp makes the file private; the video gets the permissions any new file gets.
    mode_t mask = umask(0);
    umask(mask);
    fchmod(file, 0666 & ~mask);
    close(file);
    holdPartial(name.data());
    return name.data();
}

int main(int argc, char** argv)
{
    Options options = readOptions(argc, argv, static_cast<int>(script.getInt("WIDTH")),
                                  static_cast<int>(script.getInt("HEIGHT")), music.getLength());
    signal(SIGINT, interrupt);
    signal(SIGTERM, interrupt);
    std::string partial = reserve(options.output);

    Frames frames(options.width, options.height, options.fps, options.from);
    Soundtrack soundtrack(options.from, options.to);
    Encoder encoder(partial, options.width, options.height, options.fps, soundtrack.rate(), soundtrack.channels(),
                    options.to - options.from);
    frames.catchUp(interrupted);

    long long total = (static_cast<long long>(options.to - options.from) * options.fps + 999) / 1000;
    Recorder recorder(frames, encoder, soundtrack);
    Progress progress(total);
    for (long long k = 0; k < total && !interrupted; k++) {
        recorder.record(k);
        progress.update(k + 1);
    }
    progress.finish();
    if (interrupted) fail("interrupted: no file written", 130);
    recorder.finish(options.to);

    if (interrupted) fail("interrupted: no file written", 130);
    if (std::rename(partial.c_str(), options.output.c_str()) != 0)
        fail("cannot write " + options.output + ": " + strerror(errno));
    releasePartial();
    return 0;
}
