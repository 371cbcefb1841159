// Heard: the private PulseAudio server, parec's recording placed on the steady clock, the noise
// track found again in it by correlation (FFTW), and the player's log read back.
#include "tests/support/heard.h"
#include "tests/support/measure.h"

#include <fcntl.h>     // Required for: open()
#include <fftw3.h>     // Required for: fftwf_plan_dft_r2c_1d(), fftwf_plan_dft_c2r_1d()
#include <poll.h>      // Required for: poll()
#include <sndfile.h>   // Required for: SF_FORMAT_WAV, SF_FORMAT_FLOAT
#include <sys/resource.h>  // Required for: setpriority()
#include <sys/wait.h>  // Required for: waitpid()
#include <unistd.h>    // Required for: fork(), execvp(), pipe(), mkdtemp()

#include <chrono>
#include <cmath>
#include <csignal>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>

#include "tests/support/program.h"

namespace heard {

namespace {

const double TRACK_SECONDS = 40;
// Samples of the recording matched at a time: a quarter of a frame at 60 frames a second,
// long enough that noise matches nowhere else in the track by chance
const int CHUNK = 256;
// Normalised correlation of a match. Nothing in the path resamples the track, so a true match
// is all but 1; a chunk that straddles a jump by more than a few samples falls below.
const double MATCH = 0.95;

// Starts `words` in `directory` with `environment` added, standard output to `out` (or
// nowhere), standard error to the file `errors`. Ahead of the machine's other work where it may
// be (as root): what is measured is the clock through the stalls a test makes, not the ones a
// busy machine adds at random.
pid_t spawn(const std::vector<std::string>& words, const Environment& environment, int out = -1,
            const std::string& errors = "/dev/null", const std::string& directory = ".")
{
    pid_t pid = fork();
    if (pid != 0) return pid;
    if (chdir(directory.c_str()) != 0) _exit(126);
    setpriority(PRIO_PROCESS, 0, -15);
    for (const auto& [key, value] : environment) setenv(key.c_str(), value.c_str(), 1);
    int null = open("/dev/null", O_WRONLY);
    int error = open(errors.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    dup2(out >= 0 ? out : null, 1);
    dup2(error >= 0 ? error : null, 2);
    std::vector<char*> argv;
    for (const std::string& word : words) argv.push_back(const_cast<char*>(word.c_str()));
    argv.push_back(nullptr);
    execvp(argv[0], argv.data());
    _exit(127);
}

// Whether `pid` ended within `seconds`; reaps it
bool ended(pid_t pid, double seconds, int* status = nullptr)
{
    int ignored = 0;
    return program::waitFor(seconds, [&] { return waitpid(pid, status ? status : &ignored, WNOHANG) == pid; });
}

// Ends `pid` politely, then for certain
void end(pid_t pid)
{
    if (pid <= 0) return;
    kill(pid, SIGTERM);
    if (ended(pid, 5)) return;
    kill(pid, SIGKILL);
    waitpid(pid, nullptr, 0);
}

// Normalised correlation of `chunk` with the track from `start`
double match(const float* chunk, const std::vector<float>& track, long start)
{
    if (start < 0 || start + CHUNK > static_cast<long>(track.size())) return 0;
    double dot = 0, a = 0, b = 0;
    for (int i = 0; i < CHUNK; i++) {
        dot += chunk[i] * track[start + i];
        a += chunk[i] * chunk[i];
        b += track[start + i] * track[start + i];
    }
    return a > 0 && b > 0 ? dot / std::sqrt(a * b) : 0;
}

// Finds chunks anywhere in the track: one cross-correlation over all of it per chunk, through
// the spectrum of the track worked out once
class Search {
public:
    explicit Search(const std::vector<float>& track) : track(track)
    {
        while (size < track.size() + CHUNK) size <<= 1;
        signal = fftwf_alloc_real(size);
        spectrum = fftwf_alloc_complex(size / 2 + 1);
        product = fftwf_alloc_complex(size / 2 + 1);
        forward = fftwf_plan_dft_r2c_1d(static_cast<int>(size), signal, spectrum, FFTW_ESTIMATE);
        backward = fftwf_plan_dft_c2r_1d(static_cast<int>(size), product, signal, FFTW_ESTIMATE);
        std::fill(signal, signal + size, 0.0f);
        std::copy(track.begin(), track.end(), signal);
        fftwf_execute(forward);
        trackSpectrum.assign(reinterpret_cast<float*>(spectrum), reinterpret_cast<float*>(spectrum + size / 2 + 1));
    }
    ~Search()
    {
        fftwf_destroy_plan(forward);
        fftwf_destroy_plan(backward);
        fftwf_free(signal);
        fftwf_free(spectrum);
        fftwf_free(product);
    }

    // The track frame where `chunk` correlates best
    long find(const float* chunk)
    {
        std::fill(signal, signal + size, 0.0f);
        std::copy(chunk, chunk + CHUNK, signal);
        fftwf_execute(forward);
        for (size_t i = 0; i <= size / 2; i++) {
            float tr = trackSpectrum[2 * i], ti = trackSpectrum[2 * i + 1];
            float cr = spectrum[i][0], ci = spectrum[i][1];
            product[i][0] = tr * cr + ti * ci;  // the track times the chunk's conjugate
            product[i][1] = ti * cr - tr * ci;
        }
        fftwf_execute(backward);
        long last = static_cast<long>(track.size()) - CHUNK;
        return std::max_element(signal, signal + last + 1) - signal;
    }

private:
    const std::vector<float>& track;
    size_t size = 1;
    float* signal;
    fftwf_complex* spectrum;
    fftwf_complex* product;
    fftwf_plan forward, backward;
    std::vector<float> trackSpectrum;
};

}  // namespace

Server::Server()
{
    char pattern[] = "/tmp/heard-XXXXXX";
    if (!mkdtemp(pattern)) return;
    root = pattern;
    fixture::writeFile(root + "/.asoundrc", "pcm.!default { type pulse }\nctl.!default { type pulse }\n");
    std::string socket = root + "/native";
    env = {{"HOME", root}, {"XDG_RUNTIME_DIR", root}, {"PULSE_RUNTIME_PATH", root}, {"PULSE_SERVER", "unix:" + socket}};
    // -n: no default script, so nothing but these two modules (no device probing, no
    // suspending an idle sink). Root needs no --system: a private runtime directory will do.
    pid = spawn({"pulseaudio", "-n", "--daemonize=no", "--exit-idle-time=-1", "--use-pid-file=no",
                 "-L", "module-null-sink sink_name=heard format=float32le channels=2 rate=" + std::to_string(RATE),
                 "-L", "module-native-protocol-unix auth-anonymous=1 socket=" + socket},
                env, -1, root + "/server.log");
    program::waitFor(10, [&] { return std::filesystem::exists(socket) || ended(pid, 0); });
}

Server::~Server()
{
    end(pid);
    std::error_code ignored;
    if (!root.empty()) std::filesystem::remove_all(root, ignored);
}

bool Server::started() const { return !root.empty() && std::filesystem::exists(root + "/native"); }

double Server::sinkLatency() const
{
    std::string command = "PULSE_SERVER=" + env.at("PULSE_SERVER") + " timeout 10 pactl list sinks 2>/dev/null";
    std::string listing = program::output(command);
    size_t at = listing.find("configured ");
    return at == std::string::npos ? NAN : std::atof(listing.c_str() + at + 11) / 1000.0;
}

Recording::Recording(const Server& server) : server(server)
{
    int fds[2];
    if (::pipe(fds) != 0) return;
    // The shortest latency anyone asks of the sink sets how far ahead it renders; asked here,
    // it is the same whatever the player asks.
    parec = spawn({"parec", "-d", "heard.monitor", "--latency-msec=10", "--format=float32le", "--channels=2",
                   "--rate=" + std::to_string(RATE), "--raw"},
                  server.environment(), fds[1]);
    close(fds[1]);
    pipe = fds[0];
    reader = std::thread(&Recording::read, this);
}

Recording::~Recording() { stop(); }

void Recording::stop()
{
    if (!reader.joinable()) return;
    double latency = server.sinkLatency();
    end(parec);
    stopping = true;
    reader.join();
    close(pipe);
    firstHeard = firstRendered + latency;
}

void Recording::read()
{
    std::vector<char> bytes;
    std::vector<char> buffer(1 << 16);
    pollfd watched = {pipe, POLLIN, 0};
    while (true) {
        if (poll(&watched, 1, 100) <= 0) {
            if (stopping) break;
            continue;
        }
        ssize_t got = ::read(pipe, buffer.data(), buffer.size());
        double stamp = measure::steadyMs();
        if (got <= 0) break;
        bytes.insert(bytes.end(), buffer.begin(), buffer.begin() + got);
        double frames = static_cast<double>(bytes.size() / 8);
        firstRendered = std::min(firstRendered, stamp - frames * 1000.0 / RATE);
    }
    samples.resize(bytes.size() / 8);
    for (size_t i = 0; i < samples.size(); i++) std::memcpy(&samples[i], &bytes[i * 8], sizeof(float));
}

const std::vector<float>& track()
{
    static const std::vector<float> noise = [] {
        std::vector<float> samples(static_cast<size_t>(TRACK_SECONDS * RATE));
        uint32_t state = 20240601;
        for (float& sample : samples) {
            state = state * 1664525u + 1013904223u;
            sample = (static_cast<float>(state >> 8) / 16777216.0f - 0.5f) * 0.5f;
        }
        return samples;
    }();
    return noise;
}

void writeTrack(const std::string& path) { fixture::writeSamples(path, track(), RATE, 1, SF_FORMAT_WAV | SF_FORMAT_FLOAT); }

Heard::Heard(const Recording& recording, const std::vector<float>& track) : firstHeard(recording.firstHeard)
{
    Search search(track);
    size_t chunks = recording.samples.size() / CHUNK;
    starts.assign(chunks, -1);
    for (size_t c = 0; c < chunks; c++) {
        const float* chunk = &recording.samples[c * CHUNK];
        double energy = 0;
        for (int i = 0; i < CHUNK; i++) energy += chunk[i] * chunk[i];
        if (energy < CHUNK * 1e-4) continue;  // silence: nothing is heard
        long next = c > 0 && starts[c - 1] >= 0 ? starts[c - 1] + CHUNK : -1;
        if (match(chunk, track, next) < MATCH) next = search.find(chunk);
        if (match(chunk, track, next) >= MATCH) starts[c] = next;
    }
}

double Heard::at(double wall) const
{
    double sample = (wall - firstHeard) * RATE / 1000.0;
    if (sample < 0) return NAN;
    size_t chunk = static_cast<size_t>(sample / CHUNK);
    if (chunk >= starts.size() || starts[chunk] < 0) return NAN;
    return (starts[chunk] + (sample - static_cast<double>(chunk) * CHUNK)) * 1000.0 / RATE;
}

bool Heard::jumped(double wall, double ms) const
{
    double last = (wall - firstHeard) * RATE / 1000.0, first = last - ms * RATE / 1000.0;
    for (long c = std::max(1L, static_cast<long>(first / CHUNK)); c <= last / CHUNK && c < static_cast<long>(starts.size()); c++)
        if (starts[c] >= 0 && starts[c] != starts[c - 1] + CHUNK) return true;
    return false;
}

Run play(const fixture::Directory& directory, const Environment& environment, int fps, int busyMs,
         const std::string& steps, double seconds)
{
    std::string log = directory.file("player.txt");
    std::vector<std::string> words = {HEARD_PLAYER, log, std::to_string(fps), std::to_string(busyMs)};
    std::istringstream split(steps);
    for (std::string step; split >> step;) words.push_back(step);

    Run run;
    pid_t player = spawn(words, environment, -1, directory.file("player.err"), directory.path());
    int status = 0;
    if (ended(player, seconds, &status)) {
        run.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    } else {
        kill(player, SIGKILL);
        waitpid(player, nullptr, 0);
    }
    std::ifstream in(log);
    for (std::string word; in >> word;) {
        if (word == "frame") {
            Frame frame;
            in >> frame.before >> frame.after >> frame.position;
            run.frames.push_back(frame);
        } else if (word == "event") {
            Event event;
            in >> event.kind >> event.wall;
            run.events.push_back(event);
        }
    }
    return run;
}

std::vector<Error> errorsAfter(const Run& run, const Heard& heard, const std::string& kind, double fromMs)
{
    std::vector<Error> errors;
    for (size_t e = 0; e < run.events.size(); e++) {
        if (run.events[e].kind != kind) continue;
        double from = run.events[e].wall, until = e + 1 < run.events.size() ? run.events[e + 1].wall : INFINITY;
        for (const Frame& frame : run.frames) {
            if (frame.before < from + fromMs || frame.after >= until) continue;
            // The event's own jump comes within the output's latency (under 100 ms); a later one
            // is a dropout nobody asked for.
            if (frame.before - fromMs > from + 100 && heard.jumped(frame.before, fromMs)) continue;
            double early = heard.at(frame.before), late = heard.at(frame.after);
            if (std::isnan(early) || std::isnan(late) || late < early) continue;
            // The position is a whole millisecond, cut down: it stands for [position, position + 1).
            double ms = std::max({0.0, early - (frame.position + 1), frame.position - late});
            errors.push_back({frame.before - from, ms});
        }
    }
    return errors;
}

}  // namespace heard
