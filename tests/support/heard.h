// What a real sound server plays, set against the music clock of the engine that feeds it.
//
// A private PulseAudio server plays into a null sink, whose monitor is recorded with parec. The
// player program (heardplayer) runs the engine's own audio and music through a frame loop and
// logs every clock reading with the steady-clock moments around it. The track is noise, so a
// correlation finds which part of it each stretch of the recording holds.
//
// How a recorded sample is tied to the steady clock, whatever the machine's load: the null sink
// renders its output on the same monotonic clock, at exactly its rate, a fixed latency before it
// counts as played; every read of the recording is stamped as it arrives. A sample cannot
// arrive before it was rendered, so the smallest (stamp - samples so far / rate) over the whole
// recording is the moment the sink rendered sample 0. A reader held up by the load only makes
// later stamps, which that minimum passes over; one prompt read in the run is enough.
//
// Depends on: PulseAudio 16 (`pulseaudio`, `parec`, `pactl`), the ALSA pulse plugin for the
// "alsa" output (libasound2-plugins), FFTW 3 (fftw3f) for the correlation, libsndfile.
// Owns: the server's process and directory, the parec process and its reader thread.
#pragma once

#include <sys/types.h>  // Required for: pid_t

#include <atomic>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/fixture.h"

namespace heard {

const int RATE = 44100;
using Environment = std::map<std::string, std::string>;

// A PulseAudio server of its own, with one null sink of float stereo at RATE. Its runtime,
// state, socket and an ALSA configuration that routes "default" to it live in a temporary
// directory; the server is stopped and the directory removed with the object.
class Server {
public:
    Server();
    ~Server();
    Server(const Server&) = delete;
    Server& operator=(const Server&) = delete;

    bool started() const;
    // What a client needs to reach this server and no other, through libpulse or ALSA
    const Environment& environment() const { return env; }
    // The sink's latency as the server reports it, ms: how long after rendering a sample plays
    double sinkLatency() const;

private:
    std::string root;
    Environment env;
    pid_t pid = -1;
};

// The sink's output as it is rendered, left channel, from the moment of construction
class Recording {
public:
    explicit Recording(const Server& server);
    ~Recording();
    Recording(const Recording&) = delete;
    Recording& operator=(const Recording&) = delete;

    // Ends the recording; `samples` and `firstHeard` are final from here on
    void stop();

    std::vector<float> samples;
    double firstHeard = 0;  // steady-clock ms at which sample 0 counts as played

private:
    const Server& server;
    pid_t parec = -1;
    int pipe = -1;
    std::atomic<bool> stopping{false};
    std::thread reader;
    double firstRendered = 1e300;  // the smallest (stamp - samples so far / rate), ms

    void read();
};

// The track the player plays: `seconds` of mono noise at RATE, the same on every call
const std::vector<float>& track();
void writeTrack(const std::string& path);

// Which track position was heard when
class Heard {
public:
    Heard(const Recording& recording, const std::vector<float>& track);
    // The track ms heard at steady-clock ms `wall`; NaN in silence or where the recording does
    // not match one stretch of the track
    double at(double wall) const;
    // Whether the heard track jumped (or came back from silence) within `ms` before `wall`
    bool jumped(double wall, double ms) const;

private:
    std::vector<long> starts;  // the track frame of each chunk of the recording, or -1
    double firstHeard;
};

// One getPosition() of the player and the steady-clock moments just before and after it
struct Frame {
    double before, after;
    int position;
};
// A step of the player: "start", "seek", "pause", "resume" at the moment it was asked for, or
// "stall" at the moment the stopped process went on
struct Event {
    std::string kind;
    double wall;
};
struct Run {
    std::vector<Frame> frames;
    std::vector<Event> events;
    int status = -1;  // the player's exit status, -1 when it did not end by itself
};

// Runs heardplayer in `directory` (a fixture whose config chooses the output and the track)
// with `environment` added, at `fps` frames a second, each frame busy for up to `busyMs`:
// `steps` as heardplayer takes them. Killed after `seconds`.
Run play(const fixture::Directory& directory, const Environment& environment, int fps, int busyMs,
         const std::string& steps, double seconds = 60);

// How far each frame's position lies from what was heard while it was read (0 within), for
// the frames from `fromMs` after each `kind` event until the next event, with the moment of
// each frame after its event. Frames heard in silence or in a stretch not found are left out,
// and so are those within `fromMs` of a dropout the player did not ask for (a busy machine
// starving the sound): they are measured as after a stall, not as steady play.
struct Error {
    double age;  // ms after the event
    double ms;
};
std::vector<Error> errorsAfter(const Run& run, const Heard& heard, const std::string& kind, double fromMs);

}  // namespace heard
