// Fuzzes the PNG loader through a file, as the texture manager reads one. The input is a PNG
// stream after its signature, so the loader always gets past the signature test (a file
// without one ends the program by design); chunk checksums are recomputed first, or nearly
// every mutation would stop at libpng's CRC check instead of reaching the decoder.
#include <GL/gl.h>
#include <zlib.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <unistd.h>
#include <vector>

#include "framework/imagepng.h"

static std::string path;

extern "C" int LLVMFuzzerInitialize(int*, char***)
{
    char pattern[] = "/tmp/fuzz-png-XXXXXX";
    int descriptor = mkstemp(pattern);
    if (descriptor < 0) abort();
    close(descriptor);
    path = pattern;
    atexit([] { unlink(path.c_str()); });
    return 0;
}

static uint32_t readBig(const uint8_t* bytes) { return uint32_t(bytes[0]) << 24 | bytes[1] << 16 | bytes[2] << 8 | bytes[3]; }

// Rewrites the CRC of every complete chunk: length, type, data, CRC
static void fixChecksums(std::vector<uint8_t>& png)
{
    size_t at = 8;
    while (at + 12 <= png.size()) {
        uint32_t length = readBig(&png[at]);
        if (length > png.size() - at - 12) return;
        uint32_t crc = crc32(0, &png[at + 4], length + 4);
        uint8_t* out = &png[at + 8 + length];
        out[0] = crc >> 24, out[1] = crc >> 16, out[2] = crc >> 8, out[3] = crc;
        at += 12 + length;
    }
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size)
{
    static const uint8_t signature[8] = {0x89, 'P', 'N', 'G', '\r', '\n', 0x1a, '\n'};
    std::vector<uint8_t> png(signature, signature + 8);
    png.insert(png.end(), data, data + size);
    fixChecksums(png);

    FILE* file = fopen(path.c_str(), "wb");
    if (!file || fwrite(png.data(), 1, png.size(), file) != png.size() || fclose(file) != 0) abort();

    ImagePNG loader;
    Image* image = loader.load(path);
    if (!image) return 0;

    // What comes back must be something the texture upload can take as it is.
    static const int formats[] = {0, GL_LUMINANCE, GL_LUMINANCE_ALPHA, GL_RGB, GL_RGBA};
    if (image->components < 1 || image->components > 4 || image->format != formats[image->components] ||
        image->width == 0 || image->height == 0 || !image->data)
        __builtin_trap();
    // Every byte of the block is addressable (AddressSanitizer checks the last one).
    volatile uint8_t last = image->data[size_t(image->width) * image->height * 4 - 1];
    (void)last;
    image->releaseData();
    delete image;
    return 0;
}
