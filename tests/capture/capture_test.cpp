// The capture program as a user runs it: a short stretch of the fixture demo to a file, looked
// at with ffprobe and decoded with ffmpeg.
#include <GL/glew.h>
#include <sys/wait.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "framework/config.h"
#include "framework/demo.h"
#include "framework/music.h"
#include "framework/opengl.h"
#include "tests/support/fixture.h"

void addScenes();  // main.cpp

namespace {

// Runs the capture in `directory` with `arguments`; its exit status, standard error in `err`
int capture(const fixture::Directory& directory, const std::string& arguments, std::string* err = nullptr)
{
    std::string command = "cd " + directory.path() + " && " + CAPTURE_BINARY + " " + arguments + " 2>err.txt >/dev/null";
    int status = std::system(command.c_str());
    if (err) *err = directory.read("err.txt");
    directory.remove("err.txt");
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

std::string output(const std::string& command)
{
    std::string text;
    FILE* pipe = popen(command.c_str(), "r");
    for (int c; pipe && (c = fgetc(pipe)) != EOF;) text += static_cast<char>(c);
    if (pipe) pclose(pipe);
    return text;
}

std::string probe(const std::string& file, const std::string& entries)
{
    return output("ffprobe -v error -of default=nw=1 -show_entries " + entries + " " + file);
}

// Frame n of the video as 8-bit RGB, top row first
std::string decoded(const std::string& file, int n)
{
    return output("ffmpeg -v error -i " + file + " -vf 'select=eq(n\\," + std::to_string(n) +
                  ")' -frames:v 1 -f rawvideo -pix_fmt rgb24 -");
}

// Share of pixels that differ by more than the encoder's rounding in some channel
double differing(const std::string& a, const std::string& b)
{
    if (a.size() != b.size() || a.empty()) return 1.0;
    size_t count = 0;
    for (size_t i = 0; i < a.size(); i += 3)
        for (size_t c = i; c < i + 3; c++)
            if (std::abs(static_cast<unsigned char>(a[c]) - static_cast<unsigned char>(b[c])) > 40) {
                count++;
                break;
            }
    return static_cast<double>(count) / (a.size() / 3);
}

// A fixture directory without a log, so that the capture is the only thing that writes there
struct CaptureDirectory : fixture::Directory {
    CaptureDirectory() { config({{"DEBUG", "false"}}); }
    std::vector<std::string> entries() const
    {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(path())) names.push_back(entry.path().filename());
        return names;
    }
};

const std::vector<std::string> onlyData = {"data"};

}  // namespace

TEST(Capture, ShortRangeHasTheFramesDurationStreamsAndSizeAsked)
{
    CaptureDirectory directory;
    ASSERT_EQ(capture(directory, "--from 2000 --to 3000 --fps 10 --size 160x96 --output v.mp4"), 0);
    std::string file = directory.file("v.mp4");
    EXPECT_EQ(probe(file, "stream=codec_name,width,height,pix_fmt,nb_frames,duration -select_streams v"),
              "codec_name=h264\nwidth=160\nheight=96\npix_fmt=yuv420p\nduration=1.000000\nnb_frames=10\n");
    EXPECT_EQ(probe(file, "stream=codec_name,channels -select_streams a"), "codec_name=aac\nchannels=2\n");
    EXPECT_NEAR(std::stod(probe(file, "stream=duration -select_streams a").substr(9)), 1.0, 0.025);
    // The index comes before the media data, so the file plays while it downloads.
    std::string bytes = directory.read("v.mp4");
    EXPECT_LT(bytes.find("moov"), bytes.find("mdat"));
    EXPECT_EQ(directory.entries().size(), 2u);  // data/ and the video, nothing half-written
}

TEST(Capture, FrameShowsWhatTheSceneDrawsAtItsMusicTime)
{
    CaptureDirectory directory;
    ASSERT_EQ(capture(directory, "--from 1000 --to 3000 --fps 4 --size 320x180 --output v.mp4"), 0);
    // The arm slides in over 0..5000 ms: frame 5 is 2250 ms, a frame off is 16 columns off.
    addScenes();
    demo.loadScript("data/demo.lua");
    demo.initScenes();
    music.start();
    music.setPause(true);
    music.setPosition(2250);
    Config::width = 320;
    Config::height = 180;
    opengl.resize(320, 180);
    demo.draw();
    std::string drawn(320 * 180 * 3, '\0'), flipped;
    glPixelStorei(GL_PACK_ALIGNMENT, 1);
    glReadPixels(0, 0, 320, 180, GL_RGB, GL_UNSIGNED_BYTE, &drawn[0]);
    for (int row = 179; row >= 0; row--) flipped += drawn.substr(row * 320 * 3, 320 * 3);
    EXPECT_LT(differing(decoded(directory.file("v.mp4"), 5), flipped), 0.01);
}

TEST(Capture, LateStartShowsTheStateAShowingFromTheStartReached)
{
    CaptureDirectory directory;
    // The rider's flip-book turns every 50 drawn frames: two seconds at 25 fps.
    directory.schedule("addSceneToTimeline(\"riderideranke\", 0, 150000)\n");
    ASSERT_EQ(capture(directory, "--to 3000 --fps 25 --size 160x96 --output whole.mp4"), 0);
    ASSERT_EQ(capture(directory, "--from 2400 --to 3000 --fps 25 --size 160x96 --output late.mp4"), 0);
    for (int k : {0, 14})
        EXPECT_LT(differing(decoded(directory.file("late.mp4"), k), decoded(directory.file("whole.mp4"), 60 + k)), 0.01)
            << "frame " << k;
}

TEST(Capture, TwoCapturesGiveIdenticalFrames)
{
    CaptureDirectory directory;
    // The swaying district follows processor time in a showing, and starts late here.
    std::string range = " --from 75000 --to 76000 --fps 10 --size 160x96";
    ASSERT_EQ(capture(directory, "--output a.mp4" + range), 0);
    ASSERT_EQ(capture(directory, "--output b.mp4" + range), 0);
    auto hashes = [&](const std::string& name) {
        return output("ffmpeg -v error -i " + directory.file(name) + " -map 0:v -f framemd5 - | grep -v '^#'");
    };
    std::string a = hashes("a.mp4");
    EXPECT_EQ(std::count(a.begin(), a.end(), '\n'), 10);
    EXPECT_EQ(a, hashes("b.mp4"));
}

TEST(Capture, BadInputNamesTheValueEndsWithStatusOneAndLeavesNoFile)
{
    const std::vector<std::pair<std::string, std::string>> rows = {
        {"--output missing/v.mp4", "missing/v.mp4"}, {"--output data", "data"},
        {"--size 161x96", "161x96"},                 {"--size 8x8", "8x8"},
        {"--size wide", "wide"},                     {"--fps 0", "--fps 0"},
        {"--fps 2000", "--fps 2000"},
        {"--from 3000 --to 2000", "--from 3000"},    {"--from -5", "-5"},
        {"--to 999999", "999999"},                   {"--loop", "--loop"},
        {"extra", "extra"},                          {"--fps", "--fps"},
    };
    CaptureDirectory directory;
    for (const auto& [arguments, value] : rows) {
        std::string err;
        EXPECT_EQ(capture(directory, arguments, &err), 1) << arguments;
        EXPECT_NE(err.find("capture: "), std::string::npos) << arguments;
        EXPECT_NE(err.find(value), std::string::npos) << arguments << ": " << err;
        EXPECT_EQ(directory.entries(), onlyData) << arguments;
    }
}

TEST(Capture, InterruptedCaptureLeavesNoFile)
{
    CaptureDirectory directory;
    std::string command = "cd " + directory.path() + " && { " + CAPTURE_BINARY +
                          " --size 640x360 2>/dev/null >/dev/null & sleep 3; kill -INT $!; wait $!; }";
    int status = std::system(command.c_str());
    EXPECT_EQ(WEXITSTATUS(status), 130);
    EXPECT_EQ(directory.entries(), onlyData);
}
