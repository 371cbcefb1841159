// Mastering of the mixed soundtrack: the filter that clears the subsonic range, the loudness
// meter, the true-peak estimate and the limiter that brings the mix to its release level.
#pragma once

#include "synth.h"

// A fourth-order high-pass below the lowest bass note: removes DC and rumble.
void removeRumble(Stereo& audio);

// Integrated loudness in LUFS: K-weighted, in gated 400 ms blocks (EBU R128).
double integratedLoudness(const Stereo& audio);

// Highest level between and at the samples, from four-times oversampling, as a linear factor.
double truePeak(const Stereo& audio);

// Scales `audio` to `lufs` integrated loudness, holding its true peak at or under
// `ceilingDb` dBTP with a look-ahead limiter.
void masterTo(Stereo& audio, double lufs, double ceilingDb);
