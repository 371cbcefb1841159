// Mastering: every stage works offline on the whole piece, so the limiter can look ahead
// without delaying the sound and the hits stay exactly on their times.
#include "master.h"

#include <algorithm>
#include <cmath>
#include <deque>

namespace {

// One second-order section, transposed direct form II, in double precision.
struct Biquad {
    double b0, b1, b2, a1, a2;
    double z1 = 0, z2 = 0;

    double run(double x)
    {
        const double y = b0 * x + z1;
        z1 = b1 * x - a1 * y + z2;
        z2 = b2 * x - a2 * y;
        return y;
    }
};

// A high-pass section from the bilinear transform of the analogue prototype.
Biquad highPass(double cutoff, double q)
{
    const double k = std::tan(M_PI * cutoff / sampleRate), norm = 1.0 / (1.0 + k / q + k * k);
    return {norm, -2.0 * norm, norm, 2.0 * (k * k - 1.0) * norm, (1.0 - k / q + k * k) * norm};
}

// The two stages of the K-weighting (a shelf lifting the highs as the head does, then a
// high-pass), derived for this sample rate from the same analogue filters as the standard's
// 48 kHz coefficients.
std::vector<Biquad> kWeighting()
{
    const double shelfFreq = 1681.974450955533, shelfGainDb = 3.999843853973347, shelfQ = 0.7071752369554196;
    const double k = std::tan(M_PI * shelfFreq / sampleRate);
    const double vh = std::pow(10.0, shelfGainDb / 20.0), vb = std::pow(vh, 0.4996667741545416);
    const double a0 = 1.0 + k / shelfQ + k * k;
    const Biquad shelf = {(vh + vb * k / shelfQ + k * k) / a0, 2.0 * (k * k - vh) / a0,
                          (vh - vb * k / shelfQ + k * k) / a0, 2.0 * (k * k - 1.0) / a0,
                          (1.0 - k / shelfQ + k * k) / a0};
    Biquad low = highPass(38.13547087602444, 0.5003270373238773);
    // The standard's high-pass stage has unit numerator, not the normalised one.
    low.b0 = 1.0;
    low.b1 = -2.0;
    low.b2 = 1.0;
    return {shelf, low};
}

// Per-channel sum of K-weighted squares, accumulated: prefix[i] covers frames [0, i).
std::vector<double> weightedEnergy(const Stereo& audio)
{
    std::vector<double> prefix(audio.frames() + 1, 0.0);
    std::vector<Biquad> left = kWeighting(), right = kWeighting();
    for (size_t i = 0; i < audio.frames(); ++i) {
        double l = audio.left[i], r = audio.right[i];
        for (size_t s = 0; s < left.size(); ++s) {
            l = left[s].run(l);
            r = right[s].run(r);
        }
        prefix[i + 1] = prefix[i] + l * l + r * r;
    }
    return prefix;
}

double blockLoudness(double meanSquare) { return -0.691 + 10.0 * std::log10(meanSquare); }

// Four-times oversampling: a 16-tap Blackman-windowed sinc per fractional position, each phase
// normalised to unit gain at DC.
const int taps = 16, phases = 3;

struct Interpolator {
    double kernel[phases][taps];

    Interpolator()
    {
        for (int p = 0; p < phases; ++p) {
            const double fraction = (p + 1) / 4.0;
            double sum = 0;
            for (int m = 0; m < taps; ++m) {
                const double t = fraction - (m - taps / 2 + 1);
                const double sinc = std::sin(M_PI * t) / (M_PI * t);
                const double window = 0.42 + 0.5 * std::cos(M_PI * t / (taps / 2)) + 0.08 * std::cos(2 * M_PI * t / (taps / 2));
                kernel[p][m] = sinc * window;
                sum += kernel[p][m];
            }
            for (int m = 0; m < taps; ++m) kernel[p][m] /= sum;
        }
    }

    // Largest magnitude at sample i and at the three points between it and the next.
    double peakAfter(const std::vector<float>& x, size_t i) const
    {
        double peak = std::fabs(x[i]);
        const long first = long(i) - taps / 2 + 1;
        for (int p = 0; p < phases; ++p) {
            double v = 0;
            for (int m = 0; m < taps; ++m) {
                const long at = first + m;
                if (at >= 0 && at < long(x.size())) v += x[size_t(at)] * kernel[p][m];
            }
            peak = std::max(peak, std::fabs(v));
        }
        return peak;
    }
};

// Per frame, the true peak of either channel from that sample to the next.
std::vector<float> peakEnvelope(const Stereo& audio)
{
    const Interpolator interpolator;
    std::vector<float> peaks(audio.frames());
    for (size_t i = 0; i < peaks.size(); ++i)
        peaks[i] = float(std::max(interpolator.peakAfter(audio.left, i), interpolator.peakAfter(audio.right, i)));
    return peaks;
}

// The limiter's gain per frame for input peaks `peaks` scaled by `gain`: the gain each peak
// needs, held over the look-ahead, released slowly, then averaged over the look-ahead so that
// it closes smoothly yet is fully down by the time the peak arrives.
std::vector<float> limiterGain(const std::vector<float>& peaks, double gain, double ceiling)
{
    const size_t ahead = size_t(0.002 * sampleRate);
    const double release = 1.0 - std::exp(-1.0 / (0.08 * sampleRate));
    const size_t n = peaks.size();
    const auto need = [&](size_t i) { return std::min(1.0, ceiling / std::max(1e-9, gain * peaks[i])); };

    // Held: the smallest need in [i, i + ahead], from a window kept in increasing order.
    std::vector<double> held(n);
    std::deque<size_t> window;
    for (size_t j = 0; j < n + ahead; ++j) {
        if (j < n) {
            while (!window.empty() && need(window.back()) >= need(j)) window.pop_back();
            window.push_back(j);
        }
        if (j < ahead) continue;
        const size_t i = j - ahead;
        while (window.front() < i) window.pop_front();
        held[i] = need(window.front());
    }

    std::vector<float> out(n);
    std::vector<double> recent(ahead + 1, 1.0);
    double released = 1.0, sum = double(recent.size());
    for (size_t i = 0; i < n; ++i) {
        released = std::min(held[i], released + (1.0 - released) * release);
        double& slot = recent[i % recent.size()];
        sum += released - slot;
        slot = released;
        out[i] = float(sum / recent.size());
    }
    return out;
}

Stereo scaled(const Stereo& audio, const std::vector<float>& envelope, double gain)
{
    Stereo out(audio.frames());
    for (size_t i = 0; i < audio.frames(); ++i) {
        out.left[i] = float(audio.left[i] * gain * envelope[i]);
        out.right[i] = float(audio.right[i] * gain * envelope[i]);
    }
    return out;
}

}  // namespace

void removeRumble(Stereo& audio)
{
    // Butterworth in two sections; at 25 Hz it leaves the lowest bass note (C1, 33 Hz) within
    // half a decibel and takes 15 Hz down by 18 dB.
    const double cutoff = 25.0, q[2] = {0.5411961001461970, 1.3065629648763766};
    for (std::vector<float>* channel : {&audio.left, &audio.right}) {
        Biquad sections[2] = {highPass(cutoff, q[0]), highPass(cutoff, q[1])};
        for (float& sample : *channel) sample = float(sections[1].run(sections[0].run(sample)));
    }
}

double integratedLoudness(const Stereo& audio)
{
    const std::vector<double> energy = weightedEnergy(audio);
    const size_t block = size_t(0.4 * sampleRate), hop = block / 4;
    std::vector<double> powers;
    for (size_t start = 0; start + block <= audio.frames(); start += hop) {
        const double power = (energy[start + block] - energy[start]) / block;
        if (power > 0 && blockLoudness(power) > -70.0) powers.push_back(power);
    }
    const auto meanOf = [&](double floor) {
        double sum = 0;
        size_t count = 0;
        for (double power : powers)
            if (blockLoudness(power) > floor) {
                sum += power;
                ++count;
            }
        return count ? sum / count : 0.0;
    };
    const double relativeGate = blockLoudness(meanOf(-70.0)) - 10.0;
    return blockLoudness(meanOf(relativeGate));
}

double truePeak(const Stereo& audio)
{
    const std::vector<float> peaks = peakEnvelope(audio);
    return peaks.empty() ? 0.0 : *std::max_element(peaks.begin(), peaks.end());
}

void masterTo(Stereo& audio, double lufs, double ceilingDb)
{
    const double ceiling = std::pow(10.0, ceilingDb / 20.0);
    const std::vector<float> peaks = peakEnvelope(audio);
    // Limiting takes a little loudness off, so the gain is found again after each pass.
    double gain = std::pow(10.0, (lufs - integratedLoudness(audio)) / 20.0);
    Stereo out(0);
    for (int pass = 0; pass < 6; ++pass) {
        out = scaled(audio, limiterGain(peaks, gain, ceiling), gain);
        const double error = lufs - integratedLoudness(out);
        if (std::fabs(error) < 0.02) break;
        gain *= std::pow(10.0, error / 20.0);
    }
    // The gain works from the input's peaks; its changes can lift a peak a hair above them.
    const double over = std::max(1.0, truePeak(out) / ceiling);
    for (size_t i = 0; i < out.frames(); ++i) {
        out.left[i] = float(out.left[i] / over);
        out.right[i] = float(out.right[i] / over);
    }
    audio = std::move(out);
}
