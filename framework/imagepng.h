// ImagePNG: decodes one PNG file into an Image ready for upload.
//
// Depends on: libpng 1.6. Owns: nothing; the Image it returns belongs to the caller.
#pragma once

#include <string>

#include "image.h"
#include "logger.h"

class ImagePNG {
public:
    // A new Image owned by the caller, or null when libpng fails while decoding. A file that
    // cannot be opened or is no regular file, a file that is not a PNG, or an unusable colour
    // type end the program (status 1)
    Image* load(std::string filename);
    // The same decoding for a reload on save, which hands every problem back: refused with what
    // load() would end the program with, or with why libpng could not decode the picture
    Result read(std::string filename, Image*& image);
};
