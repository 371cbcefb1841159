// The arrangement, at 120 beats a minute in A minor: a bar is two seconds, so the demo's
// schedule falls on bar lines. Sections, by bar:
//    0-18  intro: pad and arpeggio, drums entering; stabs on the cards at 10, 24 and 38 s
//   19-21  title: held chord and a tom build
//   22-29  the ride: a galloping groove with its own riff
//   30-36  the guillotine: a sparse, ticking drone; blade blows at 62, 66 and 70 s, each
//          followed 0.8 s later by the head's thud
//   37-60  the district: the main theme three times over a full beat
//   61-69  outro: pad and arpeggio thinning out, fading before the end
#include "score.h"

#include <cstdlib>
#include <map>
#include <sstream>
#include <string>

namespace {

const double beat = 0.5, bar = 4 * beat;

double at(double bars, double beats = 0) { return bars * bar + beats * beat; }

// Chord tones (MIDI) in the pad's register; the first is the root.
const std::map<std::string, std::vector<int>> chords = {
    {"Am", {57, 60, 64}}, {"F", {53, 57, 60}}, {"C", {48, 52, 55}}, {"G", {55, 59, 62}},
    {"E", {52, 56, 59}}, {"Dm", {50, 53, 57}},
};

int root(const std::string& chord) { return chords.at(chord)[0]; }

// "C#5" -> 73.
int pitchOf(const std::string& name)
{
    static const int steps[7] = {9, 11, 0, 2, 4, 5, 7};  // A B C D E F G
    int pitch = steps[name[0] - 'A'];
    size_t i = 1;
    if (name[i] == '#') { ++pitch; ++i; }
    if (name[i] == 'b') { --pitch; ++i; }
    return pitch + 12 * (std::atoi(name.c_str() + i) + 1);
}

class Arranger {
public:
    std::vector<Note> notes;

    void add(double time, double length, Voice voice, int pitch, double gain, double pan = 0)
    {
        notes.push_back({time, length, voice, pitch, gain, pan});
    }

    void hit(double time, Voice voice, double gain, double pan = 0) { add(time, 0.1, voice, 0, gain, pan); }

    // A melody written "E5:1.5 D5:.5 r:1 ...", lengths in beats, bar lines "|" ignored;
    // notes from `until` on are left out.
    void melody(double start, const std::string& text, Voice voice, double gain, int transpose = 0,
                double until = trackSeconds)
    {
        std::istringstream words(text);
        std::string word;
        double time = start;
        while (words >> word) {
            if (word == "|") continue;
            const size_t colon = word.find(':');
            const double beats = std::strtod(word.c_str() + colon + 1, nullptr);
            const std::string name = word.substr(0, colon);
            if (time >= until) break;
            if (name != "r") add(time, beats * beat * 0.92, voice, pitchOf(name) + transpose, gain, 0.1);
            time += beats * beat;
        }
    }

    // One step pattern per bar, a sixteenth a step: 'x' full, 'o' soft, '.' rest. A pattern
    // shorter than 16 steps rests for the rest of the bar.
    void pattern(double startBar, int bars, const std::string& steps, Voice voice, double gain, int pitch = 0,
                 double pan = 0)
    {
        for (int b = 0; b < bars; ++b)
            for (size_t s = 0; s < steps.size(); ++s) {
                if (steps[s] == '.') continue;
                const double level = steps[s] == 'x' ? gain : gain * 0.55;
                add(at(startBar + b, s / 4.0), 0.25 * beat, voice, pitch, level, pan);
            }
    }

    // Held chords, one per bar, voices spread across the stereo field.
    void pads(double startBar, const std::vector<std::string>& progression, double gain, int bars = 1)
    {
        for (size_t i = 0; i < progression.size(); ++i) {
            const std::vector<int>& tones = chords.at(progression[i]);
            for (size_t t = 0; t < tones.size(); ++t)
                add(at(startBar + i * bars), bars * bar - 0.05, Voice::Pad, tones[t], gain, -0.5 + 0.5 * t);
        }
    }

    // Bass line, one chord per bar, following a step pattern; 'o' steps jump an octave up.
    void bassline(double startBar, const std::vector<std::string>& progression, const std::string& steps,
                  double gain)
    {
        for (size_t i = 0; i < progression.size(); ++i)
            for (size_t s = 0; s < steps.size(); ++s) {
                if (steps[s] == '.') continue;
                const int pitch = root(progression[i]) - 24 + (steps[s] == 'o' ? 12 : 0);
                add(at(startBar + i, s / 4.0), 0.22 * beat, Voice::Bass, pitch, gain);
            }
    }

    // Broken chords in sixteenths (or eighths with `every` = 2), rising through two octaves.
    void arpeggio(double startBar, const std::vector<std::string>& progression, double gain, int every = 1)
    {
        static const int order[8] = {0, 1, 2, 3, 4, 5, 4, 2};
        for (size_t i = 0; i < progression.size(); ++i) {
            const std::vector<int>& tones = chords.at(progression[i]);
            for (int s = 0; s < 16; s += every) {
                const int k = order[(s / every) % 8];
                const int pitch = tones[k % 3] + 12 * (k / 3) + (tones[0] < 55 ? 12 : 0);
                add(at(startBar + i, s / 4.0), 0.2 * beat, Voice::Pluck, pitch, gain, (k % 2) ? 0.35 : -0.35);
            }
        }
    }

    // The accent on a card: kick, crash, a sub knock and a stabbed chord.
    void accent(double time, const std::string& chord, double gain)
    {
        hit(time, Voice::Kick, 0.8 * gain);
        hit(time, Voice::Crash, 0.4 * gain);
        for (int tone : chords.at(chord)) add(time, 0.5, Voice::Stab, tone, 0.22 * gain, 0);
        add(time, 0.5, Voice::Stab, root(chord) - 12, 0.22 * gain);
        add(time, 0.5, Voice::Bass, root(chord) - 24, 0.6 * gain);
    }

    void fill(double startBar, double gain)
    {
        // Six sixteenths down the toms, then a breath before the downbeat.
        static const int toms[6] = {50, 50, 47, 47, 43, 40};
        for (int s = 0; s < 6; ++s) add(at(startBar, 2 + s / 4.0), 0.1, Voice::Tom, toms[s], gain, 0.4 - 0.15 * s);
    }
};

const char* const mainTheme =
    "E5:1.5 D5:.5 C5:1 E5:1 | A5:2 G5:1 F5:1 | E5:1.5 D5:.5 C5:1 G4:1 | D5:3 r:1 | "
    "E5:1.5 D5:.5 C5:1 E5:1 | A5:1.5 B5:.5 C6:1 A5:1 | B5:1.5 A5:.5 G5:1 B5:1 | B5:1 G#5:1 E5:2";

const char* const gallopRiff =
    "A4:.5 C5:.5 E5:.5 A5:.5 G5:.5 E5:.5 C5:.5 E5:.5 | A5:1.5 G5:.5 E5:1 C5:1 | "
    "G4:.5 B4:.5 D5:.5 G5:.5 F5:.5 D5:.5 B4:.5 D5:.5 | G5:1.5 F5:.5 D5:1 B4:1 | "
    "F4:.5 A4:.5 C5:.5 F5:.5 E5:.5 C5:.5 A4:.5 C5:.5 | F5:1.5 E5:.5 C5:1 A4:1 | "
    "E5:.5 G#5:.5 B5:.5 E6:.5 D6:.5 B5:.5 G#5:.5 B5:.5 | E6:2 B5:1 G#5:1";

const std::vector<std::string> cycle = {"Am", "F", "C", "G"};
const std::vector<std::string> themeChords = {"Am", "F", "C", "G", "Am", "F", "G", "E"};

void intro(Arranger& a)
{
    a.pads(0, {"Am", "F", "C", "G", "E"}, 0.2);
    a.arpeggio(1, {"F", "C", "G", "E"}, 0.13, 2);
    a.pattern(3, 2, "..o...o...o...o.", Voice::HatClosed, 0.14);
    a.add(at(4), 2.0, Voice::Riser, 0, 0.20);

    // First card: half-time drums and bass enter.
    a.accent(at(5), "Am", 0.9);
    a.pads(5, {"Am", "F", "C", "G", "Am", "F", "E"}, 0.15);
    a.arpeggio(5, {"Am", "F", "C", "G", "Am", "F", "E"}, 0.09);
    a.pattern(5, 6, "x.........x.....", Voice::Kick, 0.75);
    a.pattern(5, 6, "........x.......", Voice::Snare, 0.45);
    a.pattern(5, 6, "x.o.x.o.x.o.x.o.", Voice::HatClosed, 0.16);
    a.bassline(5, {"Am", "F", "C", "G", "Am", "F"}, "x.x.x.x.x.x.x.x.", 0.5);
    a.pattern(11, 1, "x.......", Voice::Kick, 0.75);
    a.add(at(11, 2), 1.0, Voice::Riser, 0, 0.18);

    // Second card: the full beat and a first, quieter statement of the theme.
    a.accent(at(12), "F", 0.9);
    a.pads(12, {"Am", "F", "C", "G", "Am", "F"}, 0.13);
    a.arpeggio(12, {"Am", "F", "C", "G", "Am", "F"}, 0.07);
    a.pattern(12, 6, "x.......x.x.....", Voice::Kick, 0.8);
    a.pattern(12, 6, "....x.......x...", Voice::Snare, 0.5);
    a.pattern(12, 6, "x.o.x.o.x.o.x.oo", Voice::HatClosed, 0.16);
    a.bassline(12, {"Am", "F", "C", "G", "Am", "F"}, "x.x.x.o.x.x.x.o.", 0.5);
    a.melody(at(12), mainTheme, Voice::Lead, 0.11, -12, at(18, 3));
    // A bar of breath before the title: the chord let go early, a tom fill into silence.
    for (int tone : chords.at("E")) a.add(at(18), 1.2, Voice::Pad, tone, 0.13);
    a.pattern(18, 1, "x.......", Voice::Kick, 0.8);
    a.fill(18, 0.4);

    // Title card: a held chord while toms build into the ride.
    a.accent(at(19), "Am", 1.1);
    a.pads(19, {"Am", "Dm", "E"}, 0.17);
    a.bassline(19, {"Am", "Dm", "E"}, "x...............", 0.5);
    a.pattern(20, 1, "x...x...x...x...", Voice::Tom, 0.35, 40);
    a.pattern(21, 1, "x.x.x.x.xxxxxxxx", Voice::Tom, 0.45, 43);
}

void ride(Arranger& a)
{
    const std::vector<std::string> chords = {"Am", "Am", "G", "G", "F", "F", "E", "E"};
    a.hit(at(22), Voice::Crash, 0.45);
    a.pads(22, chords, 0.11);
    a.pattern(22, 8, "x...x...x...x...", Voice::Kick, 0.8);
    a.pattern(22, 8, "....x.......x...", Voice::Snare, 0.5);
    a.pattern(22, 8, "x.xxx.xxx.xxx.xx", Voice::HatClosed, 0.17);
    a.pattern(22, 8, "..x...x...x...x.", Voice::Tom, 0.18, 45, 0.3);
    a.bassline(22, chords, "x.xxx.xxx.xxx.xo", 0.5);
    a.melody(at(22), gallopRiff, Voice::Lead, 0.15);
}

void guillotine(Arranger& a)
{
    const double blows[3] = {62.0, 66.0, 70.0};
    a.hit(at(30), Voice::Crash, 0.35);
    a.add(at(30), 14.0, Voice::Pad, 33, 0.22, -0.3);
    a.add(at(30), 14.0, Voice::Pad, 40, 0.16, 0.3);
    a.pads(30, {"Am", "Dm", "E", "Am", "Dm", "E"}, 0.08);
    // A clock ticking on the beat under the drone.
    a.pattern(30, 6, "x...o...x...o...", Voice::HatClosed, 0.18, 0, 0.4);
    for (double time : blows) {
        a.hit(time, Voice::Blow, 1.0);
        a.hit(time, Voice::Crash, 0.45);
        a.hit(time + 0.8, Voice::Thud, 0.95);
    }
    a.pattern(36, 1, "o.o.o.o.x.x.xxxx", Voice::Snare, 0.45);
    a.add(at(36), 2.0, Voice::Riser, 0, 0.25);
}

void district(Arranger& a)
{
    for (int phrase = 0; phrase < 3; ++phrase) {
        const double start = 37 + 8 * phrase;
        a.hit(at(start), Voice::Crash, 0.5);
        a.pads(start, themeChords, 0.12);
        a.arpeggio(start, themeChords, phrase == 1 ? 0.085 : 0.07);
        a.pattern(start, 7, "x.......x.x.....", Voice::Kick, 0.85);
        a.pattern(start, 7, "....x.......x...", Voice::Snare, 0.55);
        a.pattern(start, 7, phrase == 0 ? "x.o.x.o.x.o.x.o." : "xoxoxoxoxoxoxoxo", Voice::HatClosed, 0.16);
        a.pattern(start + 7, 1, "x.......", Voice::Kick, 0.85);
        a.pattern(start + 7, 1, "....x...", Voice::Snare, 0.55);
        a.fill(start + 7, 0.5);
        a.pattern(start, 8, "..............x.", Voice::HatOpen, 0.12);
        a.bassline(start, themeChords, "x.x.o.x.x.x.o.x.", 0.55);
        a.melody(at(start), mainTheme, Voice::Lead, 0.16);
        // The second time round a harmony a sixth below joins the theme.
        if (phrase == 1) a.melody(at(start), mainTheme, Voice::Lead, 0.08, -9);
    }
}

void outro(Arranger& a)
{
    a.hit(at(61), Voice::Crash, 0.35);
    a.pads(61, {"Am", "F", "C", "G", "Am", "F", "E", "Am", "Am"}, 0.15);
    a.arpeggio(61, {"Am", "F", "C", "G", "Am", "F", "E", "Am"}, 0.06, 2);
    a.pattern(61, 4, "x...............", Voice::Kick, 0.5);
    a.bassline(61, {"Am", "F", "C", "G"}, "x.......x.......", 0.35);
    a.melody(at(61), "E5:1.5 D5:.5 C5:1 E5:1 | A5:2 G5:1 F5:1 | E5:1.5 D5:.5 C5:1 G4:1 | D5:3 r:1 | "
                     "E5:1.5 D5:.5 C5:1 E5:1 | A5:4 | G#5:4 | A5:4", Voice::Lead, 0.09);
}

}  // namespace

std::vector<Note> composeSoundtrack()
{
    Arranger arranger;
    intro(arranger);
    ride(arranger);
    guillotine(arranger);
    district(arranger);
    outro(arranger);
    return arranger.notes;
}
