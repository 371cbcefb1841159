// The soundtrack's arrangement: every note of the piece, placed on the demo's schedule.
#pragma once

#include "synth.h"

#include <vector>

constexpr double trackSeconds = 140.0;

// When the final fade starts and when it has reached silence.
constexpr double fadeStart = 130.0, fadeEnd = 139.5;

// All notes of the piece, in no particular order.
std::vector<Note> composeSoundtrack();
