// Writing 8-bit RGBA PNG files byte-for-byte reproducibly.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

// Writes straight-alpha RGBA rows (top row first) to `path`; exits with a message on failure.
void writePng(const std::string& path, int width, int height, const std::vector<uint8_t>& rgba);
