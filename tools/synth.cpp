// Voices and effects of the soundtrack. Voices work in double precision and return float
// samples; everything is computed from the note and its seed, so rendering is reproducible.
#include "synth.h"

#include "rng.h"

#include <algorithm>
#include <cmath>

namespace {

const double dt = 1.0 / sampleRate;

double hz(double midi) { return 440.0 * std::pow(2.0, (midi - 69.0) / 12.0); }

// Band-limited step correction for the oscillators' discontinuities.
double polyBlep(double phase, double step)
{
    if (phase < step) {
        const double t = phase / step;
        return t + t - t * t - 1.0;
    }
    if (phase > 1.0 - step) {
        const double t = (phase - 1.0) / step;
        return t * t + t + t + 1.0;
    }
    return 0.0;
}

// Phase-accumulating oscillator with anti-aliased saw and pulse outputs.
struct Oscillator {
    double phase = 0.0;

    double saw(double freq)
    {
        const double step = freq * dt;
        const double out = 2.0 * phase - 1.0 - polyBlep(phase, step);
        advance(step);
        return out;
    }

    // Centred on zero whatever the width: a narrow pulse would otherwise carry a DC offset of
    // 2 * width - 1 that steps in and out with every note.
    double pulse(double freq, double width)
    {
        const double step = freq * dt;
        double shifted = phase + 1.0 - width;
        shifted -= std::floor(shifted);
        const double out = (phase < width ? 1.0 : -1.0) + polyBlep(phase, step) - polyBlep(shifted, step) -
                           (2.0 * width - 1.0);
        advance(step);
        return out;
    }

    double sine(double freq)
    {
        const double out = std::sin(2.0 * M_PI * phase);
        advance(freq * dt);
        return out;
    }

    void advance(double step)
    {
        phase += step;
        phase -= std::floor(phase);
    }
};

// Trapezoidal state-variable filter; low, band and high outputs from one update.
struct Filter {
    double ic1 = 0, ic2 = 0, low = 0, band = 0, high = 0;
    double tuned = -1, g = 0;

    void run(double input, double cutoff, double resonance)
    {
        // The tangent is the costly part: it is recomputed only once the cutoff has moved by
        // more than a fraction of a semitone.
        if (std::fabs(cutoff - tuned) > tuned * 0.003) {
            tuned = cutoff;
            g = std::tan(M_PI * std::min(cutoff, sampleRate * 0.45) * dt);
        }
        const double k = 1.0 / resonance;
        const double a1 = 1.0 / (1.0 + g * (g + k)), a2 = g * a1, a3 = g * a2;
        const double v3 = input - ic2;
        const double v1 = a1 * ic1 + a2 * v3;
        const double v2 = ic2 + a2 * ic1 + a3 * v3;
        ic1 = 2 * v1 - ic1;
        ic2 = 2 * v2 - ic2;
        low = v2;
        band = v1;
        high = input - k * v1 - v2;
    }
};

// Attack, hold at full level until the note is released, then an exponential release.
double gate(double t, double length, double attack, double release)
{
    if (t < attack) return t / attack;
    if (t < length) return 1.0;
    return std::exp(-(t - length) / release);
}

double decay(double t, double time) { return std::exp(-t / time); }

// Six square waves at inharmonic ratios: the metallic body of hats and cymbals.
struct Metal {
    Oscillator partials[6];
    double next()
    {
        static const double ratios[6] = {2.0, 3.0, 4.16, 5.43, 6.79, 8.21};
        double sum = 0;
        for (int i = 0; i < 6; ++i) sum += partials[i].pulse(205.3 * ratios[i], 0.5);
        return sum / 6.0;
    }
};

std::vector<float> samples(double seconds) { return std::vector<float>(size_t(seconds * sampleRate)); }

std::vector<float> kick(const Note&, Rng& rng)
{
    std::vector<float> out = samples(0.6);
    Oscillator body;
    Filter click;
    for (size_t i = 0; i < out.size(); ++i) {
        const double t = i * dt;
        const double freq = 44.0 + 120.0 * decay(t, 0.04);
        click.run(rng.bipolar(), 3000, 0.7);
        const double x = body.sine(freq) * decay(t, 0.24) + click.low * decay(t, 0.004) * 0.6;
        out[i] = float(std::tanh(1.6 * x));
    }
    return out;
}

std::vector<float> snare(const Note&, Rng& rng)
{
    std::vector<float> out = samples(0.45);
    Oscillator low, high;
    Filter noise;
    for (size_t i = 0; i < out.size(); ++i) {
        const double t = i * dt;
        noise.run(rng.bipolar(), 4200, 0.6);
        const double tone = (low.sine(182) + 0.5 * high.sine(334)) * decay(t, 0.05);
        out[i] = float(0.55 * tone + 0.9 * (noise.band + 0.5 * noise.high) * decay(t, 0.13));
    }
    return out;
}

std::vector<float> cymbal(Rng& rng, double seconds, double ring, double cutoff)
{
    std::vector<float> out = samples(seconds);
    Metal metal;
    Filter filter;
    for (size_t i = 0; i < out.size(); ++i) {
        const double t = i * dt;
        filter.run(0.6 * metal.next() + 0.7 * rng.bipolar(), cutoff, 0.8);
        out[i] = float(filter.high * decay(t, ring) * std::min(1.0, t / 0.0008));
    }
    return out;
}

std::vector<float> tom(const Note& note, Rng& rng)
{
    std::vector<float> out = samples(0.7);
    Oscillator body;
    const double base = hz(note.pitch);
    for (size_t i = 0; i < out.size(); ++i) {
        const double t = i * dt;
        const double x = body.sine(base * (1.0 + 0.6 * decay(t, 0.05))) * decay(t, 0.18);
        out[i] = float(std::tanh(1.3 * x + 0.08 * rng.bipolar() * decay(t, 0.02)));
    }
    return out;
}

std::vector<float> bass(const Note& note, Rng&)
{
    std::vector<float> out = samples(note.length + 0.3);
    Oscillator saw, sub;
    Filter filter;
    const double freq = hz(note.pitch);
    for (size_t i = 0; i < out.size(); ++i) {
        const double t = i * dt;
        filter.run(saw.saw(freq), 180 + 1500 * decay(t, 0.09), 1.4);
        const double x = filter.low + 0.7 * sub.sine(freq);
        out[i] = float(std::tanh(1.2 * x) * gate(t, note.length, 0.004, 0.05));
    }
    return out;
}

std::vector<float> pad(const Note& note, Rng&)
{
    std::vector<float> out = samples(note.length + 1.2);
    Oscillator voices[3];
    Filter filter;
    const double freq = hz(note.pitch);
    const double detune[3] = {1.0, 1.0045, 0.9962};
    for (size_t i = 0; i < out.size(); ++i) {
        const double t = i * dt;
        double x = 0;
        for (int v = 0; v < 3; ++v) x += voices[v].saw(freq * detune[v]);
        filter.run(x / 3.0, 900 + 500 * std::sin(2 * M_PI * 0.25 * t), 0.9);
        out[i] = float(filter.low * gate(t, note.length, 0.35, 0.45));
    }
    return out;
}

std::vector<float> pluck(const Note& note, Rng&)
{
    std::vector<float> out = samples(0.9);
    Oscillator saw, square;
    Filter filter;
    const double freq = hz(note.pitch);
    for (size_t i = 0; i < out.size(); ++i) {
        const double t = i * dt;
        filter.run(0.6 * saw.saw(freq) + 0.4 * square.pulse(freq * 2.0, 0.5), 350 + 3600 * decay(t, 0.07), 1.1);
        out[i] = float(filter.low * decay(t, 0.22) * std::min(1.0, t / 0.002));
    }
    return out;
}

std::vector<float> lead(const Note& note, Rng&)
{
    std::vector<float> out = samples(note.length + 0.4);
    Oscillator pulse, saw, vibrato;
    Filter filter;
    const double freq = hz(note.pitch);
    for (size_t i = 0; i < out.size(); ++i) {
        const double t = i * dt;
        // Vibrato eases in after the attack, as a player would.
        const double depth = 0.004 * std::min(1.0, std::max(0.0, (t - 0.18) / 0.3));
        const double f = freq * (1.0 + depth * vibrato.sine(5.6));
        filter.run(0.55 * pulse.pulse(f, 0.32) + 0.45 * saw.saw(f * 1.002), 2600 + 2200 * decay(t, 0.15), 1.0);
        out[i] = float(filter.low * gate(t, note.length, 0.008, 0.09));
    }
    return out;
}

// A brassy chord hit: bright saws that close down quickly, for the cards' accents.
std::vector<float> stab(const Note& note, Rng&)
{
    std::vector<float> out = samples(1.6);
    Oscillator voices[4];
    Filter filter;
    const double freq = hz(note.pitch);
    const double ratios[4] = {1.0, 1.0058, 0.9949, 2.0};
    for (size_t i = 0; i < out.size(); ++i) {
        const double t = i * dt;
        double x = 0;
        for (int v = 0; v < 4; ++v) x += voices[v].saw(freq * ratios[v]);
        filter.run(x / 4.0, 600 + 5000 * decay(t, 0.18), 0.9);
        out[i] = float(filter.low * decay(t, 0.5) * std::min(1.0, t / 0.002));
    }
    return out;
}

// Filtered noise sweeping upwards and swelling over the note, then dying away fast just
// before the note ends so the accent it leads into starts from near silence.
std::vector<float> riser(const Note& note, Rng& rng)
{
    std::vector<float> out = samples(note.length);
    Filter filter;
    const double cut = note.length - 0.12;
    for (size_t i = 0; i < out.size(); ++i) {
        const double t = i * dt, p = std::min(1.0, t / cut);
        filter.run(rng.bipolar(), 300 * std::pow(25.0, p), 2.5);
        const double level = t < cut ? p * p : std::exp(-(t - cut) / 0.015);
        out[i] = float(filter.band * level);
    }
    return out;
}

// The blade: a falling sub boom, a steel clang and a burst of grit.
std::vector<float> blow(const Note&, Rng& rng)
{
    std::vector<float> out = samples(2.0);
    Oscillator boom, clang[5];
    Filter grit;
    static const double partials[5] = {1.0, 1.52, 2.31, 2.97, 3.87};
    static const double rings[5] = {0.16, 0.12, 0.1, 0.08, 0.06};
    for (size_t i = 0; i < out.size(); ++i) {
        const double t = i * dt;
        const double sub = boom.sine(32.0 + 60.0 * decay(t, 0.12)) * decay(t, 0.22);
        double metal = 0;
        for (int p = 0; p < 5; ++p) metal += clang[p].sine(236.0 * partials[p]) * decay(t, rings[p]);
        grit.run(rng.bipolar(), 2400, 0.7);
        const double x = 1.4 * sub + 0.35 * metal + 0.9 * grit.low * decay(t, 0.05);
        out[i] = float(std::tanh(1.5 * x) * std::min(1.0, t / 0.001));
    }
    return out;
}

// The head landing: a short low knock.
std::vector<float> thud(const Note&, Rng& rng)
{
    std::vector<float> out = samples(0.6);
    Oscillator body;
    Filter knock;
    for (size_t i = 0; i < out.size(); ++i) {
        const double t = i * dt;
        knock.run(rng.bipolar(), 700, 0.8);
        const double x = body.sine(48.0 + 70.0 * decay(t, 0.03)) * decay(t, 0.16) + 0.8 * knock.low * decay(t, 0.025);
        out[i] = float(std::tanh(1.8 * x) * std::min(1.0, t / 0.001));
    }
    return out;
}

}  // namespace

std::vector<float> renderNote(const Note& note, uint64_t seed)
{
    Rng rng(seed);
    switch (note.voice) {
    case Voice::Kick: return kick(note, rng);
    case Voice::Snare: return snare(note, rng);
    case Voice::HatClosed: return cymbal(rng, 0.12, 0.028, 7000);
    case Voice::HatOpen: return cymbal(rng, 0.6, 0.2, 6500);
    case Voice::Crash: return cymbal(rng, 3.0, 0.9, 3800);
    case Voice::Tom: return tom(note, rng);
    case Voice::Bass: return bass(note, rng);
    case Voice::Pad: return pad(note, rng);
    case Voice::Pluck: return pluck(note, rng);
    case Voice::Lead: return lead(note, rng);
    case Voice::Stab: return stab(note, rng);
    case Voice::Riser: return riser(note, rng);
    case Voice::Blow: return blow(note, rng);
    case Voice::Thud: return thud(note, rng);
    }
    return {};
}

double mixLevel(Voice voice)
{
    switch (voice) {
    case Voice::Kick: return 0.7;
    case Voice::Snare: return 1.8;
    case Voice::HatClosed: case Voice::HatOpen: return 2.8;
    case Voice::Pad: return 1.4;
    case Voice::Pluck: return 2.0;
    case Voice::Lead: return 1.6;
    default: return 1.0;
    }
}

double reverbSend(Voice voice)
{
    switch (voice) {
    case Voice::Kick: case Voice::Bass: case Voice::Thud: return 0.02;
    case Voice::Pad: case Voice::Lead: case Voice::Stab: case Voice::Crash: return 0.45;
    case Voice::Blow: return 0.3;
    default: return 0.2;
    }
}

double echoSend(Voice voice)
{
    return voice == Voice::Lead ? 0.25 : voice == Voice::Pluck ? 0.12 : 0.0;
}

namespace {

// Feedback comb with a damped loop, the reverb's building block.
struct Comb {
    std::vector<float> line;
    size_t at = 0;
    double store = 0;
    explicit Comb(size_t length) : line(length) {}
    double run(double input, double feedback, double damping)
    {
        const double out = line[at];
        store = out * (1 - damping) + store * damping;
        line[at] = float(input + store * feedback);
        at = (at + 1) % line.size();
        return out;
    }
};

struct AllPass {
    std::vector<float> line;
    size_t at = 0;
    explicit AllPass(size_t length) : line(length) {}
    double run(double input)
    {
        const double delayed = line[at];
        line[at] = float(input + delayed * 0.5);
        at = (at + 1) % line.size();
        return delayed - input;
    }
};

// One channel of the reverb; `spread` lengthens every line a little so left and right differ.
std::vector<float> reverbChannel(const std::vector<float>& input, size_t spread)
{
    static const size_t combs[8] = {1116, 1188, 1277, 1356, 1422, 1491, 1557, 1617};
    static const size_t allPasses[4] = {556, 441, 341, 225};
    std::vector<Comb> bank;
    std::vector<AllPass> chain;
    for (size_t length : combs) bank.emplace_back(length + spread);
    for (size_t length : allPasses) chain.emplace_back(length + spread);
    std::vector<float> out(input.size());
    for (size_t i = 0; i < input.size(); ++i) {
        double sum = 0;
        for (Comb& comb : bank) sum += comb.run(input[i] * 0.015, 0.86, 0.3);
        for (AllPass& pass : chain) sum = pass.run(sum);
        out[i] = float(sum);
    }
    return out;
}

}  // namespace

Stereo reverb(const Stereo& input)
{
    std::vector<float> mono(input.frames());
    for (size_t i = 0; i < mono.size(); ++i) mono[i] = 0.5f * (input.left[i] + input.right[i]);
    Stereo out(input.frames());
    out.left = reverbChannel(mono, 0);
    out.right = reverbChannel(mono, 23);
    return out;
}

Stereo echo(const Stereo& input, double delay)
{
    const size_t lag = size_t(delay * sampleRate);
    Stereo out(input.frames());
    for (size_t i = lag; i < input.frames(); ++i) {
        // Each repeat crosses to the other side and loses half its level.
        out.left[i] = float(input.right[i - lag] + 0.5 * out.right[i - lag]);
        out.right[i] = float(input.left[i - lag] + 0.5 * out.left[i - lag]);
    }
    return out;
}
