// Image: plain pixel block; the texture manager decides when the pixels go.
#include "image.h"

Image::Image() { clear(); }

// Forgets the fields without freeing the pixels.
void Image::clear()
{
    components = 0;
    format = 0;
    width = 0;
    height = 0;
    data = nullptr;
}

void Image::releaseData()
{
    delete[] data;
    data = nullptr;
}
