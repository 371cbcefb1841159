// What a real sound server plays, set against the music clock of the engine that feeds it: a
// private PulseAudio server plays into a null sink, whose monitor is recorded while the player
// (heardplayer.cpp) runs the engine's audio and music and logs every clock reading with the
// steady-clock moments around it. The track is noise, found again in the recording (noise.h).
//
// Depends on: PulseAudio 16 (pulseaudio, pactl, libpulse-simple), ALSA's pulse plugin.
#pragma once

#include <string>
#include <vector>

namespace heard {

// How far a frame's position lay from what was heard as it was read, `age` ms after its event
struct Error {
    double age, ms;
};

// The player's steps through the engine's `output` ("esd": PulseAudio's own protocol, "alsa":
// ALSA's pulse plugin) on a server of its own, recorded and found again in the track
class Listening {
public:
    Listening(const std::string& output, const std::string& steps);

    int status = -1;     // the player's exit status
    std::string errors;  // and its standard error

    // The frames from `fromMs` after each `kind` event (start, seek, resume) until the next
    // event. Those in silence, and those within `fromMs` of a dropout nobody asked for (a busy
    // machine starving the sound), are left out: they are a stall's business, not steady play's.
    std::vector<Error> errorsAfter(const std::string& kind, double fromMs) const;
    // For each pause: ms of the track heard past the position the picture froze at
    std::vector<double> overruns() const;

private:
    struct Frame {
        double before, after;  // steady-clock ms around one getPosition()
        int position;
    };
    struct Event {
        std::string kind;
        double wall;
    };
    std::vector<Frame> frames;
    std::vector<Event> events;
    std::vector<long> starts;  // the track sample each chunk of the recording holds, -1 for none
    double firstHeard = 0;     // steady-clock ms at which the first recorded sample was played

    void find(const std::vector<float>& recording);
    long chunk(double wall) const;
    // The track ms heard at steady-clock ms `wall`; NaN in silence or where nothing matched
    double heard(double wall) const;
    // Whether the heard track jumped (or came back from silence) within `ms` before `wall`
    bool jumped(double wall, double ms) const;
};

}  // namespace heard
