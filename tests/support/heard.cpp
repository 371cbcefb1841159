// Heard: a private PulseAudio server, its null sink's monitor recorded through libpulse-simple on
// a thread of its own while the player runs, and the recording found again in the track.
#include "tests/support/heard.h"

#include <pulse/simple.h>
#include <sndfile.h>
#include <stdlib.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <filesystem>
#include <fstream>
#include <memory>
#include <numeric>
#include <thread>

#include "framework/clock.h"
#include "tests/support/fixture.h"
#include "tests/support/noise.h"
#include "tests/support/program.h"

namespace heard {

namespace {

const int RATE = 44100;
const double TRACK_SECONDS = 40;
// Samples read, and matched against the track, at a time: 10 ms, and 2.9 ms, long enough that
// noise matches nowhere else in the track by chance
const int FRAGMENT = RATE / 100;
const int CHUNK = 128;
// Normalised correlation of a match. Nothing in the path resamples the track, so a true match
// is all but 1; a chunk that straddles a jump or the sound's end falls below.
const double MATCH = 0.95;

// A PulseAudio server of its own, with one null sink of float stereo at RATE. Its runtime, its
// socket and an ALSA configuration that routes "default" to it live in a temporary directory.
struct Server {
    std::string root, environment;

    Server()
    {
        char pattern[] = "/tmp/heard-XXXXXX";
        root = mkdtemp(pattern) ? pattern : "/nonexistent";
        environment = "HOME=" + root + " XDG_RUNTIME_DIR=" + root + " PULSE_RUNTIME_PATH=" + root +
                      " PULSE_SERVER=unix:" + root + "/native ";
        fixture::writeFile(root + "/.asoundrc", "pcm.!default { type pulse }\nctl.!default { type pulse }\n");
        // -n: these two modules and nothing else, so no device is probed and no sink suspended
        std::system((environment + "pulseaudio -D -n --exit-idle-time=-1 -L 'module-null-sink sink_name=heard " +
                     "format=float32le channels=2 rate=" + std::to_string(RATE) + "' -L 'module-native-protocol-unix " +
                     "auth-anonymous=1 socket=" + root + "/native' 2>/dev/null").c_str());
    }
    ~Server()
    {
        std::system((environment + "pulseaudio --kill 2>/dev/null").c_str());
        program::waitFor(5, [&] { return !std::filesystem::exists(root + "/pid"); });  // gone as it ends
        std::error_code ignored;
        std::filesystem::remove_all(root, ignored);
    }
    // The sink's latency as pactl lists it, ms: "Latency: " how far ahead of playing it has
    // rendered now, "configured " how far it renders ahead when it keeps up
    double sinkLatency(const std::string& which) const
    {
        std::string listing = program::output(environment + "timeout 10 pactl list sinks 2>/dev/null");
        size_t at = listing.find(which);
        return at == std::string::npos ? NAN : std::atof(listing.c_str() + at + which.size()) / 1000.0;
    }
};

}  // namespace

Listening::Listening(const std::string& output, const std::string& steps)
{
    // Made before the recording starts: nothing after it may throw until its reader is joined.
    fixture::Directory directory;
    fixture::writeTrack(directory.file("data/audio/noise.wav"), TRACK_SECONDS, RATE, 1, SF_FORMAT_WAV | SF_FORMAT_FLOAT,
                        noise::sample);
    directory.config({{"AUDIO", "\"" + output + "\""}, {"MUSIC", "\"noise.wav\""}, {"DEBUG", "false"}});
    Server server;
    // The sink's monitor, left channel. In stereo, as the sink renders (a mono stream is remixed,
    // which holds data back), and in short fragments: the sink then renders no more than 10 ms
    // ahead. Its threads, libpulse's and the reader, run ahead of the machine's other work where
    // they may (as root): one prompt read ties the whole to the clock.
    pa_sample_spec spec = {PA_SAMPLE_FLOAT32LE, RATE, 2};
    pa_buffer_attr attr = {UINT32_MAX, UINT32_MAX, UINT32_MAX, UINT32_MAX, FRAGMENT * 2 * sizeof(float)};
    int nice = getpriority(PRIO_PROCESS, 0);
    setpriority(PRIO_PROCESS, 0, -15);
    std::unique_ptr<pa_simple, void (*)(pa_simple*)> monitor(
        pa_simple_new(("unix:" + server.root + "/native").c_str(), "heard", PA_STREAM_RECORD, "heard.monitor",
                      "recording", &spec, nullptr, &attr, nullptr),
        pa_simple_free);
    // The null sink renders on the monotonic clock at its rate, its configured latency before a
    // sample counts as played, and each read is stamped as it returns. No sample arrives before it
    // is rendered, so the smallest (stamp - samples so far / rate) is when sample 0 was rendered,
    // however late a busy machine makes the other reads.
    std::vector<float> recording;
    double firstRendered = INFINITY;
    std::atomic<bool> stopping{false};
    std::thread reader;
    if (monitor) reader = std::thread([&] {
        std::vector<float> block(2 * FRAGMENT);
        while (!stopping && pa_simple_read(monitor.get(), block.data(), block.size() * sizeof(float), nullptr) == 0) {
            double stamp = steadyMs();
            for (int i = 0; i < FRAGMENT; i++) recording.push_back(block[2 * i]);
            firstRendered = std::min(firstRendered, stamp - recording.size() * 1000.0 / RATE);
        }
    });
    setpriority(PRIO_PROCESS, 0, nice);
    if (!monitor) {
        errors = "PulseAudio did not start";
        return;
    }
    // A null sink renders its first two seconds at once as the server starts, and a stream that
    // opens before they are out is neither played nor timed until then, and timed badly for
    // seconds after. From then on it renders as it plays, as a desktop's sink does.
    program::waitFor(10, [&] { return server.sinkLatency("Latency: ") < 50; });
    int result = std::system(("cd " + directory.path() + " && " + server.environment + "nice -n -15 timeout 60 " +
                              HEARD_PLAYER + " player.txt " + steps + " 2>player.err").c_str());
    double latency = server.sinkLatency("configured ");  // while recording: what the recording asks
    stopping = true;
    reader.join();
    status = WIFEXITED(result) ? WEXITSTATUS(result) : -1;
    errors = directory.read("player.err");
    std::ifstream log(directory.file("player.txt"));
    for (std::string word; log >> word;) {
        Frame frame;
        Event event;
        if (word == "frame" && log >> frame.before >> frame.after >> frame.position) frames.push_back(frame);
        if (word == "event" && log >> event.kind >> event.wall) events.push_back(event);
    }
    firstHeard = firstRendered + latency;
    find(recording);
}

void Listening::find(const std::vector<float>& recording)
{
    std::vector<float> track = noise::samples(TRACK_SECONDS, RATE);
    starts.assign(recording.size() / CHUNK, -1);
    for (size_t c = 0; c < starts.size(); c++) {
        const float* heard = &recording[c * CHUNK];
        if (std::inner_product(heard, heard + CHUNK, heard, 0.0) < CHUNK * 1e-4) continue;  // silence
        auto matches = [&](long at) { return noise::correlation(heard, &track[at], CHUNK) >= MATCH; };
        if (c > 0 && starts[c - 1] >= 0 && starts[c - 1] + 2 * CHUNK <= static_cast<long>(track.size()) &&
            matches(starts[c - 1] + CHUNK)) {
            starts[c] = starts[c - 1] + CHUNK;
            continue;
        }
        // After a jump, within a second of what the picture showed then: a clock further off
        // fails the test by the frames it loses
        double wall = firstHeard + c * CHUNK * 1000.0 / RATE;
        auto frame = std::lower_bound(frames.begin(), frames.end(), wall,
                                      [](const Frame& f, double w) { return f.before < w; });
        if (frame == frames.end()) continue;
        long shown = static_cast<long>(frame->position) * RATE / 1000;
        long last = std::min(shown + RATE, static_cast<long>(track.size()) - CHUNK);
        for (long at = std::max(0L, shown - RATE); at <= last && starts[c] < 0; at++)
            if (matches(at)) starts[c] = at;
    }
}

long Listening::chunk(double wall) const { return static_cast<long>(std::floor((wall - firstHeard) * RATE / 1000.0 / CHUNK)); }

double Listening::heard(double wall) const
{
    long c = chunk(wall);
    if (c < 0 || c >= static_cast<long>(starts.size()) || starts[c] < 0) return NAN;
    return (starts[c] - static_cast<double>(c) * CHUNK) * 1000.0 / RATE + (wall - firstHeard);
}

bool Listening::jumped(double wall, double ms) const
{
    for (long c = std::max(1L, chunk(wall - ms)); c <= std::min(chunk(wall), static_cast<long>(starts.size()) - 1); c++)
        if (starts[c] >= 0 && starts[c] != starts[c - 1] + CHUNK) return true;
    return false;
}

std::vector<Error> Listening::errorsAfter(const std::string& kind, double fromMs) const
{
    std::vector<Error> found;
    for (size_t e = 0; e < events.size(); e++) {
        double from = events[e].wall, until = e + 1 < events.size() ? events[e + 1].wall : INFINITY;
        for (const Frame& frame : frames) {
            // The event's own jump comes within the output's latency (under 100 ms); a later one
            // is a dropout nobody asked for.
            if (events[e].kind != kind || frame.before < from + fromMs || frame.after >= until ||
                (frame.before - fromMs > from + 100 && jumped(frame.before, fromMs)))
                continue;
            double early = heard(frame.before), late = heard(frame.after);
            if (std::isnan(early) || std::isnan(late) || late < early) continue;
            // The position is a whole millisecond, cut down: it stands for [position, position + 1).
            found.push_back({frame.before - from, std::max({0.0, early - (frame.position + 1), frame.position - late})});
        }
    }
    return found;
}

std::vector<double> Listening::overruns() const
{
    std::vector<double> found;
    for (const Event& event : events) {
        auto frozen = std::find_if(frames.begin(), frames.end(), [&](const Frame& f) { return f.before > event.wall; });
        long c = std::max(1L, chunk(event.wall));
        while (c < static_cast<long>(starts.size()) && starts[c] >= 0) c++;
        if (event.kind == "pause" && frozen != frames.end() && c < static_cast<long>(starts.size()) && starts[c - 1] >= 0)
            found.push_back((starts[c - 1] + CHUNK) * 1000.0 / RATE - frozen->position);
    }
    return found;
}

}  // namespace heard
