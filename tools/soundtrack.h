// The demo's soundtrack: synthesised, mixed and written as Ogg Vorbis.
#pragma once

#include <string>

// Renders the whole piece and writes it to `path` as a stereo 44.1 kHz Ogg Vorbis file.
void writeSoundtrack(const std::string& path);
