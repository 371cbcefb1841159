// The music clock against what is heard. A track of numbered clicks (one every 10 ms, each
// carrying its own number) is played by the real engine in a child process through a frame
// loop at 60 or 10 frames per second, with a start, seeks, pauses, resumes and one stall of the
// whole process (a dropout). What the output plays is recorded twice over:
//   - OpenAL Soft's wave writer (ALSOFT_DRIVERS=wave) writes every mixed period to a file;
//   - a private PulseAudio server with a null sink ("esd" output), its monitor read by parec.
// This process watches the recording grow, which ties every recorded sample to the steady
// clock, then decodes the clicks, so that each frame's getPosition() is compared with the
// track position heard at the moment the frame read it.
//
// When is a recorded sample heard? The wave writer writes a period once its time has passed,
// so the earliest write of each sample count marks the device's schedule; a device with
// OpenAL's declared latency (which the child reports) plays each sample that much later. The
// null sink renders each block its configured latency ahead of playing it (parec's request,
// 10 ms, sets it), and the monitor hands the block to parec as it is rendered: the earliest
// arrival of each count marks the sink's schedule less that latency, which the sink reports.
//
// Run from a directory with a data/ tree (scripts/bench.sh uses the test fixture) and a display.
#define AL_ALEXT_PROTOTYPES
#include <AL/alext.h>   // Required for: alcGetInteger64vSOFT(), ALC_DEVICE_LATENCY_SOFT
#include <fcntl.h>      // Required for: open(), fcntl()
#include <signal.h>     // Required for: kill(), SIGSTOP, SIGCONT
#include <sndfile.h>    // Required for: sf_open(), sf_writef_float()
#include <sys/stat.h>   // Required for: stat()
#include <sys/wait.h>   // Required for: waitpid()
#include <unistd.h>     // Required for: fork(), execv(), pipe()

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iomanip>
#include <map>
#include <string>
#include <thread>
#include <vector>

#include "framework/audio.h"
#include "framework/music.h"
#include "tests/support/fixture.h"

namespace {

const int RATE = 44100;
const int CLICK_EVERY = 441;  // samples: 10 ms
const double NaN = std::nan("");

double nowMs()
{
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

// ---- The track: click k at sample k * 441 is a pulse of 0.5, then two samples giving the
// low and high byte of k as fractions of it (0.5 * (byte + 1) / 257), with silence between.
void writeClicks(const std::string& path, int seconds)
{
    std::vector<float> samples(static_cast<size_t>(seconds) * RATE, 0.0f);
    for (size_t k = 0; k * CLICK_EVERY + 4 < samples.size(); k++) {
        float* at = &samples[k * CLICK_EVERY];
        at[0] = 0.5f;
        at[2] = 0.5f * ((k & 255) + 1) / 257.0f;
        at[4] = 0.5f * ((k >> 8) + 1) / 257.0f;
    }
    SF_INFO info = {};
    info.samplerate = RATE;
    info.channels = 1;
    info.format = SF_FORMAT_WAV | SF_FORMAT_FLOAT;
    SNDFILE* file = sf_open(path.c_str(), SFM_WRITE, &info);
    sf_writef_float(file, samples.data(), static_cast<sf_count_t>(samples.size()));
    sf_close(file);
}

// ---- The child: the engine's own music and audio, driven like the director's frame loop.

// What one run did, as the child writes it and this process reads it back
struct Frame {
    double wall;
    int position;
};
struct Event {
    std::string kind;  // "start", "seek", "pause", "resume", "dropout"
    double wall;       // when the command was given (for a dropout: when the process went on)
    int target;        // where a seek went
};

// Plays the scenario at `fps`, writing "frame <wall> <position>" and "event <kind> <wall> <target>"
int play(int fps, const std::string& output)
{
    std::ofstream out(output);
    out << std::fixed << std::setprecision(3);
    ALCint64SOFT latency = 0;
    alcGetInteger64vSOFT(audio.system, ALC_DEVICE_LATENCY_SOFT, 1, &latency);
    out << "latency " << latency / 1e6 << "\n";
    // A PulseAudio stream is not played for a second or two after it opens, and meanwhile
    // reports no latency at all; the demo loads its pictures in that time, this waits.
    std::this_thread::sleep_for(std::chrono::milliseconds(3000));

    double period = 1000.0 / fps, next = nowMs();
    auto frames = [&](double ms) {
        for (double end = next + ms; next < end; next += period) {
            std::this_thread::sleep_until(std::chrono::steady_clock::time_point(
                std::chrono::microseconds(static_cast<long long>(next * 1000))));
            audio.update();
            double wall = nowMs();
            out << "frame " << wall << " " << music.getPosition() << "\n";
        }
    };
    auto event = [&](const char* kind, int target = 0) {
        out << "event " << kind << " " << nowMs() << " " << target << "\n";
    };

    event("start");
    music.start();
    frames(2500);
    const int seeks[] = {20000, 47350, 71230};
    for (int target : seeks) {
        event("seek", target);
        music.setPosition(target);
        frames(2500);
        event("pause");
        music.setPause(true);
        frames(700);
        event("resume");
        music.setPause(false);
        frames(2500);
    }
    // A dropout: the whole process stands for 120 ms, longer than any output buffers.
    if (fork() == 0) {
        usleep(120000);
        kill(getppid(), SIGCONT);
        _exit(0);
    }
    raise(SIGSTOP);
    event("dropout");
    next = nowMs();
    frames(3000);
    music.stop();
    return 0;
}

// ---- Recording: how many samples the output had played by when

struct Growth {
    double wall;
    long samples;
};


// The clicks found in the left channel of an interleaved stereo recording
struct Click {
    long at;    // recorded sample
    long index; // click number: track sample index * 441
};

std::vector<Click> findClicks(const std::vector<float>& stereo)
{
    std::vector<Click> clicks;
    size_t frames = stereo.size() / 2;
    auto left = [&](size_t i) { return stereo[i * 2]; };
    for (size_t i = 1; i + 5 < frames; i++) {
        float a = left(i);
        if (a < 0.05f || left(i - 1) > 0.01f) continue;
        double lo = left(i + 2) / a * 257 - 1, hi = left(i + 4) / a * 257 - 1;
        if (std::fabs(lo - std::round(lo)) > 0.2 || std::fabs(hi - std::round(hi)) > 0.2 || lo < -0.5 || hi < -0.5)
            continue;
        clicks.push_back({static_cast<long>(i), std::lround(hi) * 256 + std::lround(lo)});
        i += 5;
    }
    return clicks;
}

// Which track position (ms) the recording holds at each sample: known only between two clicks
// that follow each other in the track as they do in the recording
class Heard {
public:
    Heard(std::vector<Click> clicks, const std::vector<Growth>& growth, double delay)
        : clicks(std::move(clicks)), growth(growth), delay(delay)
    {
    }

    // The recorded sample heard at `wall`. The output's schedule (the wall time of its sample
    // 0) is the earliest sight of each count in the two seconds from the sample's own writing:
    // an output that falls behind under load goes on from a later schedule.
    double sampleAt(double wall) const
    {
        double written = wall - delay, start = INFINITY;
        for (const Growth& g : growth)
            if (g.samples > 0 && g.wall >= written - 50 && g.wall < written + 2000)
                start = std::min(start, g.wall - g.samples * 1000.0 / RATE);
        return (written - start) * RATE / 1000.0;
    }

    double at(double wall) const
    {
        double sample = sampleAt(wall);
        auto next = std::upper_bound(clicks.begin(), clicks.end(), sample,
                                     [](double s, const Click& c) { return s < c.at; });
        if (next == clicks.begin() || next == clicks.end()) return NaN;
        const Click& before = *(next - 1);
        if (next->at - before.at != CLICK_EVERY || next->index != before.index + 1) return NaN;
        return (before.index * CLICK_EVERY + (sample - before.at)) * 1000.0 / RATE;
    }

    // The first recorded sample at or after `sample` that begins a new stretch of the track
    double stretchAfter(double sample) const
    {
        for (size_t i = 0; i < clicks.size(); i++)
            if (clicks[i].at >= sample && (i == 0 || clicks[i].at - clicks[i - 1].at != CLICK_EVERY ||
                                           clicks[i].index != clicks[i - 1].index + 1))
                return clicks[i].at;
        return INFINITY;
    }

private:
    std::vector<Click> clicks;
    const std::vector<Growth>& growth;
    double delay;
};

// ---- Processes: the child, the sound server, parec

using Environment = std::map<std::string, std::string>;

// Starts `words` in `directory` with these variables added, standard output to `outFd`
pid_t spawn(const std::vector<std::string>& words, const std::string& directory, const Environment& env, int outFd = -1)
{
    pid_t pid = fork();
    if (pid == 0) {
        if (!directory.empty() && chdir(directory.c_str()) != 0) _exit(126);
        for (const auto& [key, value] : env) setenv(key.c_str(), value.c_str(), 1);
        int null = open("/dev/null", O_WRONLY);
        dup2(outFd >= 0 ? outFd : null, 1);
        dup2(null, 2);
        std::vector<char*> argv;
        for (const std::string& word : words) argv.push_back(const_cast<char*>(word.c_str()));
        argv.push_back(nullptr);
        execvp(argv[0], argv.data());
        _exit(127);
    }
    return pid;
}

void stop(pid_t pid)
{
    kill(pid, SIGTERM);
    waitpid(pid, nullptr, 0);
}

// A PulseAudio server of our own: its runtime, state and socket in `root`, one null sink
class SoundServer {
public:
    explicit SoundServer(const std::string& root) : socket(root + "/native")
    {
        std::ofstream(root + "/server.pa")
            << "load-module module-native-protocol-unix auth-anonymous=1 socket=" << socket
            << "\nload-module module-null-sink sink_name=heard rate=" << RATE << "\nset-default-sink heard\n";
        env = {{"XDG_RUNTIME_DIR", root}, {"HOME", root}, {"PULSE_SERVER", "unix:" + socket}};
        pid = spawn({"pulseaudio", "-n", "-F", root + "/server.pa", "--daemonize=no", "--exit-idle-time=-1",
                     "--use-pid-file=no"},
                    root, env);
        for (int i = 0; i < 500 && !started(); i++) usleep(10000);
    }
    bool started() const
    {
        struct stat info;
        return stat(socket.c_str(), &info) == 0;
    }
    ~SoundServer() { stop(pid); }
    std::string socket;
    Environment env;

private:
    pid_t pid;
};

// The null sink's configured latency in ms, as pactl reports it
double sinkLatency(const SoundServer& server)
{
    std::string command = "PULSE_SERVER=unix:" + server.socket + " pactl list sinks 2>/dev/null";
    double latency = NaN;
    if (FILE* pipe = popen(command.c_str(), "r")) {
        char line[256];
        while (fgets(line, sizeof(line), pipe))
            if (const char* at = std::strstr(line, "configured ")) latency = std::atof(at + 11) / 1000.0;
        pclose(pipe);
    }
    return latency;
}

// What one run gave: the frames and events, and the recording with its growth over time
struct Run {
    std::vector<Frame> frames;
    std::vector<Event> events;
    double latency = 0;  // ms from the recorded schedule to the ear: the wave device's declared
                         // latency, or the null sink's configured latency
    std::vector<float> recording;
    std::vector<Growth> growth;
};

void readRun(const std::string& path, Run& run)
{
    std::ifstream in(path);
    for (std::string word; in >> word;) {
        if (word == "latency") in >> run.latency;
        if (word == "frame") {
            Frame f;
            in >> f.wall >> f.position;
            run.frames.push_back(f);
        }
        if (word == "event") {
            Event e;
            in >> e.kind >> e.wall >> e.target;
            run.events.push_back(e);
        }
    }
}

// Runs the child at `fps` and records the output, from the wave writer's file or from parec
Run record(const std::string& self, const fixture::Directory& directory, int fps, SoundServer* server)
{
    Run run;
    std::string readings = directory.file("readings.txt"), wave = directory.file("out.wav");
    Environment env;
    int pipeFds[2] = {-1, -1};
    pid_t parec = -1;
    if (server) {
        directory.config({{"AUDIO", "\"esd\""}, {"MUSIC", "\"clicks.wav\""}});
        env = server->env;
        if (pipe(pipeFds) != 0) return run;
        parec = spawn({"parec", "-d", "heard.monitor", "--latency-msec=10", "--format=float32le", "--rate=44100",
                       "--channels=2", "--raw"},
                      "", env, pipeFds[1]);
        close(pipeFds[1]);
        fcntl(pipeFds[0], F_SETFL, O_NONBLOCK);
    } else {
        directory.config({{"AUDIO", "\"auto\""}, {"MUSIC", "\"clicks.wav\""}});
        directory.write("alsoft.conf", "[wave]\nfile = " + wave + "\n");
        env = {{"ALSOFT_DRIVERS", "wave"}, {"ALSOFT_CONF", directory.file("alsoft.conf")}};
    }
    pid_t child = spawn({self, "--play", std::to_string(fps), readings}, directory.path(), env);

    // The wave file starts with a 68-byte header; a probe of the output may write one first.
    const long header = 68;
    std::vector<char> bytes;
    int status = 0;
    while (waitpid(child, &status, WNOHANG) == 0) {
        double wall = nowMs();
        long samples = -1;
        if (server) {
            char buffer[65536];
            ssize_t got;
            while ((got = read(pipeFds[0], buffer, sizeof(buffer))) > 0)
                bytes.insert(bytes.end(), buffer, buffer + got);
            samples = static_cast<long>(bytes.size() / 8);
        } else {
            struct stat info;
            if (stat(wave.c_str(), &info) == 0) samples = (info.st_size - header) / 8;
        }
        if (!run.growth.empty() && samples < run.growth.back().samples) run.growth.clear();
        if (samples >= 0 && (run.growth.empty() || samples != run.growth.back().samples))
            run.growth.push_back({wall, samples});
        usleep(200);
    }
    double sink = server ? sinkLatency(*server) : NaN;
    if (server) {
        stop(parec);
        close(pipeFds[0]);
    } else {
        std::string file = fixture::readFile(wave);
        bytes.assign(file.begin() + std::min<size_t>(header, file.size()), file.end());
    }
    run.recording.resize(bytes.size() / 4);
    std::memcpy(run.recording.data(), bytes.data(), run.recording.size() * 4);
    readRun(readings, run);
    if (server) run.latency = sink;
    return run;
}

// ---- Figures

// How much further the position went than wall time between two frames
double stepError(const Frame& before, const Frame& after)
{
    return (after.position - before.position) - (after.wall - before.wall);
}

double quantile(std::vector<double> values, double q)
{
    if (values.empty()) return NaN;
    std::sort(values.begin(), values.end());
    return values[std::min(values.size() - 1, static_cast<size_t>(q * values.size()))];
}

void report(const std::string& name, const Run& run)
{
    Heard heard(findClicks(run.recording), run.growth, run.latency);
    std::vector<double> early, settled, steady, steps, dropout;
    double resumeJump = -INFINITY, seekStep = 0;
    int staleAfterSeek = 0, seeks = 0, held = 0;
    size_t e = 0;
    for (size_t i = 0; i < run.frames.size(); i++) {
        const Frame& f = run.frames[i];
        while (e + 1 < run.events.size() && run.events[e + 1].wall <= f.wall) e++;
        if (run.events.empty() || run.events[e].wall > f.wall) continue;
        const Event& last = run.events[e];
        double age = f.wall - last.wall;
        bool firstAfter = i > 0 && run.frames[i - 1].wall < last.wall;
        // After a resume the picture should move as wall time does, give or take a catch-up.
        if (last.kind == "resume" && age < 300 && i > 0)
            resumeJump = std::max(resumeJump, (f.position - run.frames[i - 1].position) -
                                                  (f.wall - std::max(run.frames[i - 1].wall, last.wall)));
        // The seek itself reads the target; a frame period later the picture should move.
        if (firstAfter && last.kind == "seek") {
            seeks++;
            staleAfterSeek += f.position == last.target;
        }
        if (last.kind == "seek" && age < 500 && i > 0 && !firstAfter)
            seekStep = std::max(seekStep, stepError(run.frames[i - 1], f));
        if (last.kind == "pause") continue;

        double h = heard.at(f.wall);
        // Until the output plays the new stretch, the old one is still heard: the clock holds.
        if (last.kind != "dropout" && heard.sampleAt(f.wall) < heard.stretchAfter(heard.sampleAt(last.wall))) {
            held++;
            continue;
        }
        if (std::isnan(h)) continue;
        double error = f.position - h;
        if (last.kind == "dropout") {
            if (age >= 100) dropout.push_back(std::fabs(error));
        } else if (age < 100) {
            early.push_back(std::fabs(error));
        } else {
            settled.push_back(std::fabs(error));
        }
        if (age >= 1000 && last.kind != "dropout") {
            steady.push_back(error);
            if (i > 0 && run.frames[i - 1].wall >= last.wall + 1000)
                steps.push_back(std::fabs(stepError(run.frames[i - 1], f)));
        }
    }
    std::vector<double> absSteady;
    for (double v : steady) absSteady.push_back(std::fabs(v));
    std::printf("%s (heard %.2f ms after the recorded schedule)\n", name.c_str(), run.latency);
    std::printf("  frames %zu, compared %zu, held before the new stretch was heard %d\n", run.frames.size(),
                early.size() + settled.size() + dropout.size(), held);
    std::printf("  after a start, seek or resume, first 100 ms: |error| median %.1f ms, worst %.1f ms (%zu frames)\n",
                quantile(early, 0.5), quantile(early, 1.0), early.size());
    std::printf("  after a start, seek or resume, from 100 ms: |error| median %.1f ms, worst %.1f ms (%zu frames)\n",
                quantile(settled, 0.5), quantile(settled, 1.0), settled.size());
    std::printf("  steady (1 s on): error median %+.2f ms, p99 |error| %.2f ms; step error p99 %.2f ms\n",
                quantile(steady, 0.5), quantile(absSteady, 0.99), quantile(steps, 0.99));
    std::printf("  resume: largest step beyond the time it took, in the 300 ms after, %.1f ms\n", resumeJump);
    std::printf("  seek: frames still at the target one frame later %d of %d; largest step beyond the frame %.1f ms\n",
                staleAfterSeek, seeks, seekStep);
    std::printf("  after a 120 ms dropout, from 100 ms: |error| median %.1f ms, worst %.1f ms\n",
                quantile(dropout, 0.5), quantile(dropout, 1.0));
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc == 4 && std::string(argv[1]) == "--play") return play(std::atoi(argv[2]), argv[3]);

    std::string self = argv[0][0] == '/' ? argv[0] : std::string(getcwd(nullptr, 0)) + "/" + argv[0];
    fixture::Directory directory;
    writeClicks(directory.file("data/audio/clicks.wav"), 100);
    for (int fps : {60, 10}) report("null output (wave writer), " + std::to_string(fps) + " fps",
                                    record(self, directory, fps, nullptr));
    SoundServer server(directory.path());
    if (!server.started()) {
        std::printf("PulseAudio did not start: no figures for it\n");
        return 1;
    }
    for (int fps : {60, 10}) report("PulseAudio null sink, " + std::to_string(fps) + " fps",
                                    record(self, directory, fps, &server));
    return 0;
}
