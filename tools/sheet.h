// A contact sheet: every picture as a labelled thumbnail on one page.
#pragma once

#include "canvas.h"

#include <memory>
#include <string>
#include <vector>

struct Thumbnail {
    std::string label;
    std::unique_ptr<Canvas> picture;
};

// Writes the sheet of `thumbnails`, followed by the layered scenes composed from them, as a
// PNG to `path`.
void writeContactSheet(const std::string& path, std::vector<Thumbnail> thumbnails);
