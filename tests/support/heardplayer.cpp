// The heard-position player: the program's own globals (so the engine's audio and music, set up
// from data/config.lua in the working directory), driven by a frame loop as the director drives
// them, one Audio::update and one getPosition a frame. What it did goes to a log for
// tests/support/heard.h:
//   frame <steady ms before> <steady ms after> <position>   one per getPosition()
//   event <kind> <steady ms>                                 start, seek, pause, resume, stall
//
// heardplayer LOG FPS BUSY_MS STEP...
//   settle    waits (10 s at most) until the output measures its latency as it is asked: a
//             sound server's stream gives no timing for its first few seconds
//   wait:MS   time passes without frames, as while the demo loads
//   start     the music starts
//   play:MS   frames for MS; each one busy for 0 to BUSY_MS, as drawing would be
//   seek:MS   the music moves to MS
//   pause, resume
//   stall:MS  the whole process stops for MS (SIGSTOP, and a child sends SIGCONT)
#define AL_ALEXT_PROTOTYPES
#include <AL/alext.h>  // Required for: alcGetInteger64vSOFT(), ALC_DEVICE_CLOCK_LATENCY_SOFT
#include <signal.h>  // Required for: raise(), kill(), SIGSTOP, SIGCONT
#include <unistd.h>  // Required for: fork(), usleep(), getppid()

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <thread>

#include "framework/audio.h"
#include "framework/music.h"
#include "tests/support/measure.h"

namespace {

using Steady = std::chrono::steady_clock;


class Player {
public:
    Player(FILE* log, int fps, int busyMs) : log(log), period(1000.0 / fps), busyMs(busyMs) {}

    void step(const std::string& step)
    {
        std::string name = step.substr(0, step.find(':'));
        int ms = step.find(':') == std::string::npos ? 0 : std::atoi(step.c_str() + step.find(':') + 1);
        if (name == "wait") std::this_thread::sleep_for(std::chrono::milliseconds(ms));
        if (name == "play") frames(ms);
        if (name == "start") event("start"), music.start();
        if (name == "seek") event("seek"), music.setPosition(static_cast<unsigned int>(ms));
        if (name == "pause") event("pause"), music.setPause(true);
        if (name == "resume") event("resume"), music.setPause(false);
        if (name == "stall") stall(ms);
        if (name == "settle") settle();
    }

private:
    FILE* log;
    double period;
    int busyMs;
    double next = 0;
    unsigned int random = 1;

    void event(const char* kind) { std::fprintf(log, "event %s %.3f\n", kind, measure::steadyMs()); }

    void frames(int ms)
    {
        if (next < measure::steadyMs() - period) next = measure::steadyMs();
        for (double end = next + ms; next < end; next += period) {
            std::this_thread::sleep_until(Steady::time_point(std::chrono::microseconds(static_cast<long long>(next * 1000))));
            busy();
            audio.update();
            double before = measure::steadyMs();
            int position = music.getPosition();
            double after = measure::steadyMs();
            std::fprintf(log, "frame %.3f %.3f %d\n", before, after, position);
        }
    }

    // Burns the processor for a pseudo-random 0 to busyMs, the same sequence every run
    void busy()
    {
        random = random * 1103515245u + 12345u;
        double until = measure::steadyMs() + (busyMs > 0 ? (random >> 16) % (busyMs + 1) : 0);
        while (measure::steadyMs() < until) {}
    }

    // Until two readings of one device moment give two latencies
    void settle()
    {
        ALCint64SOFT last[2] = {-1, -1}, now[2];
        for (double end = measure::steadyMs() + 10000; measure::steadyMs() < end; last[0] = now[0], last[1] = now[1]) {
            alcGetInteger64vSOFT(audio.system, ALC_DEVICE_CLOCK_LATENCY_SOFT, 2, now);
            if (now[0] == last[0] && now[1] != last[1]) return;
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
    }

    void stall(int ms)
    {
        std::fflush(log);
        if (fork() == 0) {
            usleep(static_cast<useconds_t>(ms) * 1000);
            kill(getppid(), SIGCONT);
            _exit(0);
        }
        raise(SIGSTOP);
        event("stall");
    }
};

}  // namespace

int main(int argc, char** argv)
{
    if (argc < 4) {
        std::fprintf(stderr, "usage: heardplayer LOG FPS BUSY_MS STEP...\n");
        return 1;
    }
    FILE* log = std::fopen(argv[1], "w");
    if (!log) return 1;
    Player player(log, std::atoi(argv[2]), std::atoi(argv[3]));
    for (int i = 4; i < argc; i++) player.step(argv[i]);
    std::fclose(log);
    return 0;
}
