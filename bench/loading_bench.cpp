// Loading benchmark: what start-up spends on pictures. Decoding and uploading one megapixel
// (a 1000 x 1000 RGBA picture with the mix of smooth areas and noise the demo's art has), then
// the demo's own generated pictures in data/textures/ of the source tree: decoding all, uploading
// all, and the texture manager's whole loadImages with its loading-screen frames.
// Every figure is the median of five repetitions.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <GL/glew.h>

#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "framework/imagepng.h"
#include "framework/loader.h"
#include "framework/texture.h"
#include "framework/texturemanager.h"
#include "tests/support/fixture.h"

namespace fs = std::filesystem;

// The source tree's root, where the content generator writes the demo's data/.
static fs::path sourceRoot() { return fs::path(__FILE__).parent_path().parent_path(); }

static std::vector<std::string> demoPictures()
{
    std::vector<std::string> files;
    fs::path directory = sourceRoot() / "data" / "textures";
    if (!fs::is_directory(directory)) return files;
    for (const fs::directory_entry& entry : fs::directory_iterator(directory))
        if (entry.path().extension() == ".png") files.push_back(entry.path().string());
    return files;
}

// A megapixel picture, written once per run (over the last run's).
static const std::string& megapixelPicture()
{
    static const std::string path = [] {
        std::string file = fs::temp_directory_path() / "loading_bench_megapixel.png";
        unsigned int noise = 12345;
        fixture::writeRgbaPng(file, 1000, 1000, [&noise](int x, int y) {
            noise = noise * 1103515245u + 12345u;
            uint8_t grain = static_cast<uint8_t>((noise >> 16) & 15);
            return fixture::Rgba{static_cast<uint8_t>(x / 4 + grain), static_cast<uint8_t>(y / 4),
                                 static_cast<uint8_t>((x + y) / 8), static_cast<uint8_t>(y < 500 ? 255 : x / 4)};
        });
        return file;
    }();
    return path;
}

static void release(std::vector<Image*>& images)
{
    for (Image* image : images) {
        image->releaseData();
        delete image;
    }
    images.clear();
}

static double megapixels(const std::vector<Image*>& images)
{
    double pixels = 0;
    for (const Image* image : images) pixels += static_cast<double>(image->width) * image->height;
    return pixels / 1e6;
}

static void BM_DecodeMegapixel(benchmark::State& state)
{
    ImagePNG png;
    for (auto _ : state) {
        Image* image = png.load(megapixelPicture());
        image->releaseData();
        delete image;
    }
}
BENCHMARK(BM_DecodeMegapixel)->Unit(benchmark::kMillisecond)->Repetitions(5)->ReportAggregatesOnly(true);

// glFinish makes the figure include the copy into the texture, not only the call. Sixteen
// copies in turn (64 MB), so the pixels come from memory as at start-up, not from the cache.
static void BM_UploadMegapixel(benchmark::State& state)
{
    std::vector<Image*> images;
    for (int i = 0; i < 16; i++) images.push_back(ImagePNG().load(megapixelPicture()));
    std::vector<Texture> textures(images.size());
    size_t next = 0;
    for (auto _ : state) {
        textures[next].upload(*images[next]);
        glFinish();
        next = (next + 1) % images.size();
    }
    release(images);
}
BENCHMARK(BM_UploadMegapixel)->Unit(benchmark::kMillisecond)->Repetitions(5)->ReportAggregatesOnly(true);

static void BM_DecodeDemoPictures(benchmark::State& state)
{
    std::vector<std::string> files = demoPictures();
    if (files.empty()) return state.SkipWithError("no generated pictures in data/textures/ of the source tree");
    ImagePNG png;
    std::vector<Image*> images;
    for (auto _ : state) {
        for (const std::string& file : files) images.push_back(png.load(file));
        state.PauseTiming();
        state.counters["pictures"] = static_cast<double>(images.size());
        state.counters["megapixels"] = megapixels(images);
        release(images);
        state.ResumeTiming();
    }
}
BENCHMARK(BM_DecodeDemoPictures)->Unit(benchmark::kMillisecond)->Iterations(3)->Repetitions(5)
    ->ReportAggregatesOnly(true);

static void BM_UploadDemoPictures(benchmark::State& state)
{
    std::vector<std::string> files = demoPictures();
    if (files.empty()) return state.SkipWithError("no generated pictures in data/textures/ of the source tree");
    std::vector<Image*> images;
    for (const std::string& file : files) images.push_back(ImagePNG().load(file));
    std::vector<Texture> textures(images.size());
    for (auto _ : state) {
        for (size_t i = 0; i < images.size(); i++) textures[i].upload(*images[i]);
        glFinish();
    }
    state.counters["megapixels"] = megapixels(images);
    release(images);
}
BENCHMARK(BM_UploadDemoPictures)->Unit(benchmark::kMillisecond)->Iterations(3)->Repetitions(5)
    ->ReportAggregatesOnly(true);

// What start-up really pays: listing, decoding, uploading, and one loading-screen frame (10 ms
// wait and a buffer swap) per decoded and per uploaded picture.
static void BM_LoadImagesOfTheDemo(benchmark::State& state)
{
    if (demoPictures().empty()) return state.SkipWithError("no generated pictures in data/textures/ of the source tree");
    char* previous = getcwd(nullptr, 0);
    if (chdir(sourceRoot().c_str()) != 0) return state.SkipWithError("cannot enter the source tree");
    for (auto _ : state) {
        loader.clear();
        texturemanager.clearImages();
        texturemanager.loadImages();
    }
    state.counters["textures"] = static_cast<double>(texturemanager.textures.size());
    if (chdir(previous) != 0) state.SkipWithError("cannot return to the fixture");
    free(previous);
}
BENCHMARK(BM_LoadImagesOfTheDemo)->Unit(benchmark::kMillisecond)->Iterations(1)->Repetitions(5)
    ->ReportAggregatesOnly(true);

BENCHMARK_MAIN();
