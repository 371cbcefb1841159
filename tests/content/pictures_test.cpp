// The generated pictures, read back from data/textures/ as the demo's loader reads them.
#include "content_support.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <set>

using content::Picture;
using content::readPicture;

namespace {

const std::string textures = "data/textures/";

const std::set<std::string> opaque = {"logo_vek.png", "logo_ka.png", "title_brun.png", "intro_bg.png",
                                      "bg.png", "guillotine.png", "credits.png", "font1.png",
                                      "greets.png", "bakgrunn2.png"};
const std::set<std::string> square = {"font1.png", "greets.png", "bakgrunn2.png"};

// Rows [top, bottom] holding any visible pixel.
std::pair<int, int> visibleRows(const Picture& picture)
{
    int top = picture.height, bottom = -1;
    for (int y = 0; y < picture.height; ++y)
        for (int x = 0; x < picture.width; ++x)
            if (picture.pixel(x, y)[3] > 8) {
                top = std::min(top, y);
                bottom = std::max(bottom, y);
            }
    return {top, bottom};
}

}  // namespace

TEST(Pictures, EveryTextureIsAnEightBitRgbaPngOfItsShape)
{
    for (const std::string& file : content::pictureFiles()) {
        SCOPED_TRACE(file);
        const Picture picture = readPicture(textures + file);
        ASSERT_NE(picture.colorType, -1) << "missing or not a PNG";
        EXPECT_EQ(picture.colorType, 6) << "not RGBA";
        EXPECT_EQ(picture.bitDepth, 8);
        if (file == "credits.png") {
            EXPECT_EQ(picture.width, 1024);
            EXPECT_EQ(picture.height, 1152);
        } else if (square.count(file)) {
            EXPECT_EQ(picture.width, picture.height);
        } else {
            EXPECT_EQ(picture.width * 9, picture.height * 16) << "not 16:9";
        }
    }
}

TEST(Pictures, CardsAndBackdropsAreOpaqueAndLayersAreCutOut)
{
    for (const std::string& file : content::pictureFiles()) {
        SCOPED_TRACE(file);
        const Picture picture = readPicture(textures + file);
        ASSERT_FALSE(picture.rgba.empty());
        size_t clear = 0, solid = 0;
        for (size_t i = 3; i < picture.rgba.size(); i += 4) {
            clear += picture.rgba[i] == 0;
            solid += picture.rgba[i] == 255;
        }
        const size_t pixels = picture.rgba.size() / 4;
        if (opaque.count(file)) {
            EXPECT_EQ(solid, pixels);
        } else {
            // A layer shows something and lets the picture under it show through.
            EXPECT_GT(solid, pixels / 500);
            EXPECT_GT(clear, pixels / 4);
        }
    }
}

TEST(Pictures, TransparentPixelsCarryTheColourOfTheirEdge)
{
    // Linear filtering blends a cut-out edge with its transparent neighbour's colour; black
    // there would draw a dark rim round every shape.
    for (const std::string& file : content::pictureFiles()) {
        if (opaque.count(file)) continue;
        SCOPED_TRACE(file);
        const Picture picture = readPicture(textures + file);
        ASSERT_FALSE(picture.rgba.empty());
        size_t edges = 0, dark = 0;
        const auto compare = [&](const uint8_t* clear, const uint8_t* solid) {
            if (clear[3] != 0 || solid[3] < 64) return;
            ++edges;
            int difference = 0;
            for (int c = 0; c < 3; ++c) difference += std::abs(int(clear[c]) - int(solid[c]));
            dark += difference > 150;
        };
        for (int y = 1; y < picture.height; ++y)
            for (int x = 1; x < picture.width; ++x) {
                const uint8_t* here = picture.pixel(x, y);
                for (const uint8_t* other : {picture.pixel(x - 1, y), picture.pixel(x, y - 1)}) {
                    compare(here, other);
                    compare(other, here);
                }
            }
        EXPECT_GT(edges, 0u);
        EXPECT_LT(dark, edges / 10 + 1) << dark << " of " << edges << " edge pixels differ sharply";
    }
}

TEST(Pictures, ParallaxLayersTileSeamlesslyLeftToRight)
{
    for (const char* file : {"scroll1.png", "scroll2.png", "scroll3.png"}) {
        SCOPED_TRACE(file);
        const Picture picture = readPicture(textures + file);
        ASSERT_FALSE(picture.rgba.empty());
        EXPECT_LT(content::seamMismatch(picture), 1.5);
    }
}

TEST(Pictures, SeamCheckRejectsALayerThatDoesNotWrap)
{
    // The same layer with its right third cut away no longer meets itself.
    const Picture full = readPicture(textures + "scroll2.png");
    ASSERT_FALSE(full.rgba.empty());
    Picture cut = full;
    cut.width = full.width * 2 / 3;
    cut.rgba.clear();
    for (int y = 0; y < full.height; ++y)
        cut.rgba.insert(cut.rgba.end(), full.pixel(0, y), full.pixel(0, y) + cut.width * 4);
    EXPECT_GT(content::seamMismatch(cut), 1.5);
}

TEST(Pictures, RiderStaysOnScreenThroughItsBob)
{
    // The scene lifts the rider by up to 0.3 and lowers it by up to 0.1 of the screen height.
    for (const char* file : {"ri_hest_ri0.png", "ri_hest_ri1.png"}) {
        SCOPED_TRACE(file);
        const Picture picture = readPicture(textures + file);
        ASSERT_FALSE(picture.rgba.empty());
        const auto [top, bottom] = visibleRows(picture);
        EXPECT_GE(top, int(picture.height * 0.3));
        EXPECT_LE(bottom, int(picture.height * 0.9));
    }
}

TEST(Pictures, FacadeCornersShareTheRoofColour)
{
    // Roofs and floors of the buildings sample the facade at its corner, where a repeating
    // texture blends all four corner pixels.
    const Picture facade = readPicture(textures + "bakgrunn2.png");
    ASSERT_FALSE(facade.rgba.empty());
    const int w = facade.width - 1, h = facade.height - 1;
    for (const uint8_t* corner : {facade.pixel(w, 0), facade.pixel(0, h), facade.pixel(w, h)})
        EXPECT_TRUE(std::equal(corner, corner + 4, facade.pixel(0, 0)));
}

TEST(Pictures, BladeRestsAboveTheHead)
{
    const auto [bladeTop, bladeBottom] = visibleRows(readPicture(textures + "guillotine_blad.png"));
    const auto [headTop, headBottom] = visibleRows(readPicture(textures + "guillotine_head.png"));
    EXPECT_LT(bladeTop, bladeBottom);
    EXPECT_LT(headTop, headBottom);
    EXPECT_LT(bladeBottom, headTop);
}
