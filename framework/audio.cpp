// Audio: OpenAL Soft plays, libsndfile decodes. The output is chosen through OpenAL Soft's
// ALSOFT_DRIVERS before the first AL call, since the library picks its backend once per
// process; "auto" on a machine without a sound device falls back to the null output, which
// still advances in real time, so the demo plays silently instead of quitting.
#include "audio.h"

#include <AL/al.h>
#include <sndfile.h>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sstream>
#include <sys/wait.h>

#include "config.h"
#include "logger.h"
#include "process.h"

// The oldest libraries accepted: OpenAL Soft 1.19 for the source latency query the clock
// reads and for float buffers, libsndfile 1.0.28 for the decoder
static const unsigned int OPENAL_REQUIRED = 1u << 16 | 19u << 8 | 0u;
static const unsigned int SNDFILE_REQUIRED = 1u << 16 | 0u << 8 | 28u;

// One choice of `AUDIO`: the name it is logged under and the OpenAL Soft backend behind it
struct Output {
    const char* setting;
    const char* name;
    const char* driver;
};

// Matched exactly and in this order; PulseAudio took over the role ESD had
static const Output OUTPUTS[] = {
    { "auto", "Auto", nullptr },
    { "alsa", "ALSA", "alsa" },
    { "esd", "ESD", "pulse" },
    { "oss", "OSS", "oss" },
    { "nosound", "No sound", "null" },
};

// Packs "major.minor.patch" found after `prefix` in `text`; 0 when it is not there
static unsigned int packVersion(const char* text, const char* prefix)
{
    const char* start = text ? std::strstr(text, prefix) : nullptr;
    unsigned int major = 0, minor = 0, patch = 0;
    if (!start || std::sscanf(start + std::strlen(prefix), "%u.%u.%u", &major, &minor, &patch) < 2) return 0;
    return major << 16 | minor << 8 | patch;
}

// Ends the program when `found` is older than `required`
static void requireVersion(const char* library, unsigned int found, unsigned int required)
{
    if (found >= required) return;
    std::ostringstream sentence;
    sentence << "Error! You are using an old version of " << library << " " << found << ". This program requires "
             << required;
    fatal("Audio: " + sentence.str(), sentence.str(), -1);
}

// Whether OpenAL Soft's own choice of output opens. Tried in a child process: the library
// settles on one backend at its first call, so the answer is needed before that call here.
// A child that has not answered within PROBE_SECONDS (a sound server that never replies)
// counts as no device, so start-up cannot hang on it.
static bool defaultOutputOpens()
{
    const double PROBE_SECONDS = 3.0;
    Process probe;
    Process::Setting quiet;
    quiet.err = Process::nowhere;  // the library complains loudly about a missing card: the expected answer here
    if (!probe.start([] { return alcOpenDevice(nullptr) ? 0 : 1; }, quiet).ok()) return true;  // opening for real will tell
    if (!probe.wait(PROBE_SECONDS)) return false;
    return WIFEXITED(probe.status()) && WEXITSTATUS(probe.status()) == 0;
}

// Sets ALSOFT_DRIVERS from `AUDIO` and logs the choice; must run before any AL call
static void chooseOutput(const std::string& setting)
{
    const Output* chosen = nullptr;
    for (const Output& output : OUTPUTS) {
        if (setting == output.setting) {
            chosen = &output;
            break;
        }
    }
    if (chosen) logger << "Audio: Setting output to: " << chosen->name << std::endl;
    if (chosen && chosen->driver) {
        setenv("ALSOFT_DRIVERS", chosen->driver, 1);
        return;
    }
    // Autodetection, asked for or by an unknown setting: the library's pick, or silence. Only
    // "auto" says so in the log; an unknown setting autodetects without a word.
    if (defaultOutputOpens()) return;
    if (chosen) logger << "Audio: No sound device found, setting output to: No sound" << std::endl;
    setenv("ALSOFT_DRIVERS", "null", 1);
}

Audio::Audio()
    : system(nullptr), context(nullptr), result(0), version(0), library(CONTEXT), detail(nullptr), refill(nullptr)
{
    logger << "Audio: Initializing (OpenAL)..." << std::endl;
    chooseOutput(Config::audio);

    system = alcOpenDevice(nullptr);
    if (!system) check(alcGetError(nullptr), DEVICE);
    context = alcCreateContext(system, nullptr);
    if (!context || !alcMakeContextCurrent(context)) check(alcGetError(system), DEVICE);

    version = packVersion(alGetString(AL_VERSION), "ALSOFT ");
    requireVersion("OpenAL", version, OPENAL_REQUIRED);
    requireVersion("libsndfile", packVersion(sf_version_string(), "libsndfile-"), SNDFILE_REQUIRED);
}

Audio::~Audio()
{
    logger << "Audio: Closing (OpenAL)..." << std::endl;
    alcMakeContextCurrent(nullptr);
    alcDestroyContext(context);
    check(alcGetError(system), DEVICE);
    if (!alcCloseDevice(system)) check(alcGetError(system), DEVICE);
}

void Audio::update()
{
    if (refill) refill();
    check(alGetError(), CONTEXT);
}

void Audio::check(int code, Library from, const char* text, int tolerated)
{
    result = code;
    library = from;
    detail = text;
    if (code != tolerated) checkError(result);
}

void Audio::pump(void (*music)()) { refill = music; }

void Audio::checkError(int result)
{
    if (result == 0) return;

    const char* text = result == this->result ? detail : nullptr;
    if (!text) {
        if (library == DECODER) text = sf_error_number(result);
        else if (library == DEVICE) text = alcGetString(system, result);
        else text = alGetString(result);
    }
    std::ostringstream message;
    message << "OpenAL error! (" << result << ") " << (text ? text : "");
    fatal("Audio: " + message.str(), message.str(), -1);
}
