// PNG decoding in process: every colour type and bit depth the format has, made here with
// libpng's writer, must come out as 8-bit samples in the right component count and GL format,
// bottom row first with a four-byte row pitch; broken files give null, bad names end the program.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>

#include "framework/imagepng.h"
#include "tests/support/fixture.h"
#include "tests/support/inprocess.h"

namespace {

using fixture::PngSpec;
using Pixel = std::vector<int>;

struct Case {
    const char* name;
    int colorType, bitDepth;
    bool interlaced;
    bool transparency;  // a tRNS chunk
    int components, format;
};

int channelsOf(int colorType)
{
    switch (colorType) {
    case 0: return 1;  // grey
    case 2: return 3;  // RGB
    case 3: return 1;  // palette index
    case 4: return 2;  // grey + alpha
    default: return 4; // RGBA
    }
}

// Source samples that differ from pixel to pixel, row to row and channel to channel; 16-bit
// samples have distinct high and low bytes, so keeping the wrong byte shows.
unsigned sampleAt(const Case& c, int x, int y, int channel)
{
    if (c.bitDepth == 16) return (x * 4099u + y * 16411u + channel * 771u + 0x0102u) & 0xFFFFu;
    unsigned levels = 1u << c.bitDepth;
    if (c.colorType == 3) levels = std::min(levels, 40u);  // palette entries in use
    return (x * 37u + y * 71u + channel * 101u + 11u) % levels;
}

unsigned paletteSize(const Case& c) { return std::min(1u << c.bitDepth, 40u); }

uint8_t paletteEntry(unsigned index, int channel)
{
    const unsigned factors[] = {53, 97, 31};
    return static_cast<uint8_t>(index * factors[channel] + 7 * channel + 1);
}

// Alpha of a palette entry: only the first half of the palette has a tRNS value.
int paletteAlpha(const Case& c, unsigned index)
{
    if (!c.transparency || index >= paletteSize(c) / 2) return 255;
    return static_cast<uint8_t>(index * 60 + 5);
}

// The colour key of a grey or RGB picture: the colour of pixel (0, 0).
unsigned keyOf(const Case& c, int channel) { return sampleAt(c, 0, 0, channel); }

// Packs one row of samples as the PNG format stores it: low depths most significant bit first,
// 16 bits big-endian.
std::vector<uint8_t> packRow(const Case& c, int width, int y)
{
    std::vector<uint8_t> row;
    int channels = channelsOf(c.colorType);
    int bits = 0;
    for (int x = 0; x < width; x++) {
        for (int ch = 0; ch < channels; ch++) {
            unsigned value = sampleAt(c, x, y, ch);
            if (c.bitDepth == 16) {
                row.push_back(static_cast<uint8_t>(value >> 8));
                row.push_back(static_cast<uint8_t>(value));
            } else if (c.bitDepth == 8) {
                row.push_back(static_cast<uint8_t>(value));
            } else {
                if (bits % 8 == 0) row.push_back(0);
                row.back() |= static_cast<uint8_t>(value << (8 - c.bitDepth - bits % 8));
                bits += c.bitDepth;
            }
        }
    }
    return row;
}

PngSpec specOf(const Case& c, int width, int height)
{
    PngSpec spec;
    spec.width = width;
    spec.height = height;
    spec.colorType = c.colorType;
    spec.bitDepth = c.bitDepth;
    spec.interlaced = c.interlaced;
    for (int y = 0; y < height; y++) spec.rows.push_back(packRow(c, width, y));
    if (c.colorType == 3) {
        for (unsigned i = 0; i < paletteSize(c); i++)
            for (int ch = 0; ch < 3; ch++) spec.palette.push_back(paletteEntry(i, ch));
        if (c.transparency)
            for (unsigned i = 0; i < paletteSize(c) / 2; i++) spec.trns.push_back(paletteAlpha(c, i));
    } else if (c.transparency) {
        for (int ch = 0; ch < channelsOf(c.colorType); ch++) {
            spec.trns.push_back(static_cast<uint8_t>(keyOf(c, ch) >> 8));
            spec.trns.push_back(static_cast<uint8_t>(keyOf(c, ch)));
        }
    }
    return spec;
}

// A source sample widened or narrowed to 8 bits the way the decoder must.
int to8(const Case& c, unsigned value)
{
    if (c.bitDepth == 16) return static_cast<int>(value >> 8);
    return static_cast<int>(value * 255 / ((1u << c.bitDepth) - 1));
}

// What pixel (x, y), y = 0 the top row, must decode to.
Pixel expected(const Case& c, int x, int y)
{
    Pixel pixel;
    if (c.colorType == 3) {
        unsigned index = sampleAt(c, x, y, 0);
        for (int ch = 0; ch < 3; ch++) pixel.push_back(paletteEntry(index, ch));
        if (c.transparency) pixel.push_back(paletteAlpha(c, index));
        return pixel;
    }
    bool keyed = c.transparency;
    for (int ch = 0; ch < channelsOf(c.colorType); ch++) {
        pixel.push_back(to8(c, sampleAt(c, x, y, ch)));
        keyed = keyed && sampleAt(c, x, y, ch) == keyOf(c, ch);
    }
    if (c.transparency) pixel.push_back(keyed ? 0 : 255);
    return pixel;
}

// Pixel (x, y) of a decoded image, y = 0 the top row of the picture.
Pixel decodedAt(const Image& image, int x, int y)
{
    const uint8_t* row = image.data + (image.height - 1 - y) * image.width * 4;
    return Pixel(row + x * image.components, row + (x + 1) * image.components);
}

const Case cases[] = {
    {"palette8", 3, 8, false, false, 3, 6407},
    {"palette8trns", 3, 8, false, true, 4, 6408},
    {"palette4", 3, 4, false, false, 3, 6407},
    {"palette2trns", 3, 2, false, true, 4, 6408},
    {"palette1", 3, 1, false, false, 3, 6407},
    {"grey1", 0, 1, false, false, 1, 6409},
    {"grey2", 0, 2, false, false, 1, 6409},
    {"grey4", 0, 4, false, false, 1, 6409},
    {"grey8", 0, 8, false, false, 1, 6409},
    {"grey16", 0, 16, false, false, 1, 6409},
    {"grey4trns", 0, 4, false, true, 2, 6410},
    {"grey8trns", 0, 8, false, true, 2, 6410},
    {"greyalpha8", 4, 8, false, false, 2, 6410},
    {"greyalpha16", 4, 16, false, false, 2, 6410},
    {"rgb8", 2, 8, false, false, 3, 6407},
    {"rgb16", 2, 16, false, false, 3, 6407},
    {"rgb8trns", 2, 8, false, true, 4, 6408},
    {"rgb16trns", 2, 16, false, true, 4, 6408},
    {"rgba8", 6, 8, false, false, 4, 6408},
    {"rgba16", 6, 16, false, false, 4, 6408},
    {"interlacedrgba8", 6, 8, true, false, 4, 6408},
    {"interlacedgrey2", 0, 2, true, false, 1, 6409},
    {"interlacedpalette8trns", 3, 8, true, true, 4, 6408},
};

TEST(Png, EveryColourTypeAndDepthDecodesToEightBitsBottomRowFirst)
{
    fixture::LogCapture log;
    fixture::Directory scratch;
    // Odd sizes: low-depth rows end in a part-filled byte, and every Adam7 pass has pixels.
    const int width = 11, height = 9;
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        std::string path = scratch.file(std::string(c.name) + ".png");
        fixture::writePng(path, specOf(c, width, height));

        Image* image = ImagePNG().load(path);
        ASSERT_NE(image, nullptr);
        EXPECT_EQ(image->components, c.components);
        EXPECT_EQ(image->format, c.format);
        EXPECT_EQ(image->width, 11u);
        EXPECT_EQ(image->height, 9u);
        // The first bytes of the block are the bottom-left pixel.
        Pixel bottomLeft(image->data, image->data + c.components);
        EXPECT_EQ(bottomLeft, expected(c, 0, height - 1));
        for (int y = 0; y < height; y++)
            for (int x = 0; x < width; x++) ASSERT_EQ(decodedAt(*image, x, y), expected(c, x, y)) << x << "," << y;

        std::vector<std::string> lines = log.lines();
        EXPECT_THAT(lines, testing::Contains("Image: Loading " + path));
        EXPECT_THAT(lines, testing::Contains("Image: " + path + " info: width=11, height=9, color=" +
                                             std::to_string(c.format) + ", components=" +
                                             std::to_string(c.components)));
        image->releaseData();
        EXPECT_EQ(image->data, nullptr);
        delete image;
    }
}

// Every row starts width x 4 bytes after the previous one, even with fewer components.
TEST(Png, RowsKeepAFourBytePitchWhateverTheComponents)
{
    fixture::Directory scratch;
    PngSpec spec;
    spec.width = 3;
    spec.height = 2;
    spec.colorType = 2;
    spec.rows = {{1, 2, 3, 4, 5, 6, 7, 8, 9}, {10, 11, 12, 13, 14, 15, 16, 17, 18}};
    fixture::writePng(scratch.file("rgb.png"), spec);

    Image* image = ImagePNG().load(scratch.file("rgb.png"));
    ASSERT_NE(image, nullptr);
    EXPECT_EQ(std::vector<int>(image->data, image->data + 9), std::vector<int>({10, 11, 12, 13, 14, 15, 16, 17, 18}));
    EXPECT_EQ(std::vector<int>(image->data + 12, image->data + 21), std::vector<int>({1, 2, 3, 4, 5, 6, 7, 8, 9}));
    image->releaseData();
    delete image;
}

TEST(Png, TruncatedOrCorruptFilesGiveNullWithoutCrashing)
{
    fixture::Directory scratch;
    Case rgba = {"rgba8", 6, 8, false, false, 4, 6408};
    fixture::writePng(scratch.file("good.png"), specOf(rgba, 64, 64));
    std::string good = fixture::readFile(scratch.file("good.png"));
    size_t idat = good.find("IDAT");
    ASSERT_NE(idat, std::string::npos);

    std::vector<std::pair<std::string, std::string>> broken = {
        {"signature only", good.substr(0, 8)},
        {"half a header", good.substr(0, 20)},
        {"half the pixels", good.substr(0, idat + (good.size() - idat) / 2)},
        {"no end chunk", good.substr(0, good.size() - 12)},
    };
    std::string flipped = good;
    flipped[idat + 20] ^= 0x55;  // inside the compressed pixels: the chunk's CRC no longer fits
    broken.push_back({"corrupt pixels", flipped});
    std::string header = good;
    header[17] ^= 0x01;  // the width in IHDR
    broken.push_back({"corrupt header", header});

    for (const auto& [what, bytes] : broken) {
        fixture::writeFile(scratch.file("broken.png"), bytes);
        EXPECT_EQ(ImagePNG().load(scratch.file("broken.png")), nullptr) << what;
    }
}

// A declared size beyond what GL can take is a decoding error, not a gigabyte allocation.
TEST(Png, SizesAboveSixteenThousandPixelsGiveNull)
{
    fixture::Directory scratch;
    Case grey = {"grey1", 0, 1, false, false, 1, 6409};
    fixture::writePng(scratch.file("wide.png"), specOf(grey, 16385, 1));
    fixture::writePng(scratch.file("tall.png"), specOf(grey, 1, 16385));
    fixture::writePng(scratch.file("widest.png"), specOf(grey, 16384, 1));
    EXPECT_EQ(ImagePNG().load(scratch.file("wide.png")), nullptr);
    EXPECT_EQ(ImagePNG().load(scratch.file("tall.png")), nullptr);

    Image* widest = ImagePNG().load(scratch.file("widest.png"));
    ASSERT_NE(widest, nullptr);
    EXPECT_EQ(widest->width, 16384u);
    widest->releaseData();
    delete widest;
}

// Run in a child process only to read what it leaves on standard error.
TEST(PngDeathTest, InterlacedPictureDecodesWithoutAWarning)
{
    fixture::Directory scratch;
    Case interlaced = {"interlacedrgba8", 6, 8, true, false, 4, 6408};
    fixture::writePng(scratch.file("adam7.png"), specOf(interlaced, 11, 9));
    EXPECT_EXIT(
        {
            Image* image = ImagePNG().load(scratch.file("adam7.png"));
            std::_Exit(image ? 0 : 2);
        },
        testing::ExitedWithCode(0), testing::Eq(""));
}

TEST(PngDeathTest, MissingFileOrFileThatIsNotAPngEndsTheProgramNamingIt)
{
    fixture::Directory scratch;
    scratch.write("notes.png", "These are my notes, not a picture.\n");
    scratch.write("tiny.png", "\x89PN");
    const std::pair<std::string, std::string> cases[] = {
        {"data/textures/absent.png", " does not exist!\n"},
        {scratch.file("notes.png"), " is not a png file!\n"},
        {scratch.file("tiny.png"), " is not a png file!\n"}};
    for (const auto& [path, reason] : cases)
        EXPECT_EXIT(ImagePNG().load(path), testing::ExitedWithCode(1), testing::Eq("Image: Error! " + path + reason));
}

}  // namespace
