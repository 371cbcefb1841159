// The generated pictures, read back from data/textures/ as the demo's loader reads them.
#include "content_support.h"
#include "tests/support/fixture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

using content::Picture, content::readPicture;

static const std::vector<std::string> opaque = {"logo_vek.png", "logo_ka.png", "title_brun.png", "intro_bg.png", "bg.png",
                                                "guillotine.png", "credits.png", "font1.png", "greets.png", "bakgrunn2.png"};

TEST(Pictures, EveryTextureIsAnEightBitRgbaPngOfItsShapeOpaqueOrCutOut)
{
    for (const std::string& file : fixture::pictureFiles()) {
        const Picture p = readPicture(file);
        ASSERT_FALSE(p.rgba.empty()) << file << " is missing or not an 8-bit RGBA PNG";
        EXPECT_TRUE(file == "credits.png" ? p.width == 1024 && p.height == 1152 : p.width == p.height || p.width * 9 == p.height * 16) << file;
        size_t clear = 0, solid = 0, pixels = p.rgba.size() / 4;
        for (size_t i = 3; i < p.rgba.size(); i += 4) clear += p.rgba[i] == 0, solid += p.rgba[i] == 255;
        EXPECT_TRUE(std::count(opaque.begin(), opaque.end(), file) ? solid == pixels : solid > pixels / 500 && clear > pixels / 4) << file;
    }
}

TEST(Pictures, RiderStaysOnScreenThroughItsBobAndFacesTheWayItTravels)
{
    // The scene lifts the rider by up to 0.3 and lowers it by up to 0.1 of the screen height, and
    // scrolls the landscape left: head and neck lead on the right.
    for (const char* file : {"ri_hest_ri0.png", "ri_hest_ri1.png"}) {
        const Picture p = readPicture(file);
        int top = p.height, bottom = -1;
        for (int i = 0; i < p.width * p.height; ++i)
            if (p.rgba[i * 4 + 3] > 8) top = std::min(top, i / p.width), bottom = i / p.width;
        EXPECT_TRUE(top >= p.height * 0.3 && bottom <= p.height * 0.9) << file << " leaves the screen";
        double sum = 0, count = 0;
        for (int i = top * p.width; i < (top + (bottom - top) * 45 / 100) * p.width; ++i)
            if (p.rgba[i * 4 + 3] > 128) sum += i % p.width, ++count;
        EXPECT_GT(sum / count, p.width / 2 + 20) << file << ": the upper body leans left";
    }
}

TEST(Pictures, SkiesAndGlowsAreSmoothRampsWithoutBands)
{
    // A row's luma as its median, which shapes covering less than half of it leave be: flat bands
    // step it by several levels at each seam, a dithered ramp by one at most.
    for (const auto& [file, rows] : {std::pair{"intro_bg.png", 240}, {"bg.png", 560}, {"guillotine.png", 280},
                                     {"logo_vek.png", 90}, {"logo_ka.png", 50}}) {
        const Picture p = readPicture(file);
        double last = -1;
        for (int y = 0; y < rows; ++y) {
            std::vector<double> row;
            for (int x = 0; x < p.width; ++x) row.push_back(content::luma(&p.rgba[(size_t(y) * p.width + x) * 4]));
            std::nth_element(row.begin(), row.begin() + row.size() / 2, row.end());
            EXPECT_TRUE(last < 0 || std::fabs(row[row.size() / 2] - last) <= 2.0) << file << " steps at row " << y;
            last = row[row.size() / 2];
        }
    }
}

TEST(Pictures, ClosingCreditsAreLargeWhiteTypeOnBlack)
{
    // The lower half is on screen once the scroll is over, behind the district's lighting at a
    // fifth of its brightness: only full white on black still reads there.
    const Picture credits = readPicture("credits.png");
    size_t black = 0, white = 0, coloured = 0, half = credits.rgba.size() / 8;
    for (size_t i = half * 4; i < credits.rgba.size(); i += 4) {
        const uint8_t* p = &credits.rgba[i];
        black += content::luma(p) <= 8, white += content::luma(p) >= 250, coloured += p[0] != p[1] || p[1] != p[2];
    }
    EXPECT_GT(black, half * 8 / 10);
    EXPECT_GT(white, half / 30) << "too little of it is full white for large bold type";
    EXPECT_EQ(coloured, 0u);
}
