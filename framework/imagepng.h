// ImagePNG: decodes one PNG file into an Image ready for upload.
#pragma once

#include <string>

#include "image.h"

class ImagePNG {
public:
    // A new Image owned by the caller, or null when libpng fails while decoding. A missing
    // file, a file that is not a PNG, or an unusable colour type end the program (status 1)
    Image* load(std::string filename);
    // Decodes the file and drops the pixels again; false with what went wrong, nothing ended
    bool decodes(std::string filename, std::string& error);
};
