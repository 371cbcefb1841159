// The capture program as a user runs it: stretches of the fixture demo, seen through ffmpeg.
#include <GL/glew.h>
#include <sys/wait.h>

#include <algorithm>
#include <filesystem>

#include <gtest/gtest.h>

#include "framework/demo.h"
#include "framework/music.h"
#include "framework/opengl.h"
#include "scenes/show.h"
#include "tests/support/fixture.h"
#include "tests/support/program.h"

using program::output;


// A fixture directory without the debug log, so that only the capture writes there
struct Directory : fixture::Directory {
    Directory() { config({{"DEBUG", "false"}}); }
    long written() const { return std::distance(std::filesystem::directory_iterator(path()), {}) - 1; }
};

// Runs the capture in `directory`: its exit status, and its standard error in `err`
static int capture(const Directory& directory, const std::string& arguments, std::string* err = nullptr)
{
    int status = std::system(("cd " + directory.path() + " && { " + CAPTURE_BINARY + " " + arguments +
                              "; } 2>err.txt >/dev/null").c_str());
    if (err) *err = directory.read("err.txt");
    directory.remove("err.txt");
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// Frame n of the video as 8-bit RGB, top row first, or with `flip` bottom row first as GL reads
static std::string decoded(const std::string& file, int n, bool flip = false)
{
    return output("ffmpeg -v error -i " + file + " -vf 'select=eq(n\\," + std::to_string(n) + ")" +
                  (flip ? ",vflip" : "") + "' -frames:v 1 -f rawvideo -pix_fmt rgb24 -");
}

// Share of colour values further apart than the encoder's rounding; 1 for unlike pictures
static double differing(const std::string& a, const std::string& b)
{
    if (a.size() != b.size() || a.empty()) return 1.0;
    long count = 0;
    for (size_t i = 0; i < a.size(); i++) count += std::abs(uint8_t(a[i]) - uint8_t(b[i])) > 40;
    return static_cast<double>(count) / a.size();
}

TEST(Capture, ShortRangeHasTheFramesDurationStreamsAndSizeAsked)
{
    Directory directory;
    ASSERT_EQ(capture(directory, "--from 2000 --to 3000 --fps 10 --size 160x96 --output v.mp4"), 0);
    std::string probe = "ffprobe -v error -of csv=p=0 " + directory.file("v.mp4") + " -show_entries stream=";
    EXPECT_EQ(output(probe + "codec_name,width,height,pix_fmt,channels,duration"),
              "h264,160,96,yuv420p,1.000000\naac,2,1.000000\n");
    EXPECT_EQ(output(probe + "nb_frames -select_streams v"), "10\n");
    // The index before the media data: the file plays while it downloads.
    EXPECT_LT(directory.read("v.mp4").find("moov"), directory.read("v.mp4").find("mdat"));
    EXPECT_EQ(directory.written(), 1);
}

TEST(Capture, FrameShowsWhatTheSceneDrawsAtItsMusicTime)
{
    Directory directory;
    ASSERT_EQ(capture(directory, "--from 1000 --to 3000 --fps 4 --size 320x180 --output v.mp4"), 0);
    // The arm slides in over 0..5000 ms: frame 5 is 2250 ms, and one frame off is 16 columns off.
    loadShow();
    music.hold(2250);
    opengl.resize(320, 180);
    demo.draw();
    std::string drawn(320 * 180 * 3, '\0');
    glReadPixels(0, 0, 320, 180, GL_RGB, GL_UNSIGNED_BYTE, &drawn[0]);
    EXPECT_LT(differing(decoded(directory.file("v.mp4"), 5, true), drawn), 0.01);
}

TEST(Capture, LateStartShowsTheStateAShowingFromTheStartReached)
{
    Directory directory;
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
    Directory directory;
    // The district sways with processor time in a showing; and this range starts late.
    std::string hashes[2];
    for (std::string& frames : hashes) {
        ASSERT_EQ(capture(directory, "--from 75000 --to 76000 --fps 10 --size 160x96 --output v.mp4"), 0);
        frames = output("ffmpeg -v error -i " + directory.file("v.mp4") + " -map 0:v -f framemd5 - | grep -v '^#'");
    }
    EXPECT_EQ(std::count(hashes[0].begin(), hashes[0].end(), '\n'), 10);
    EXPECT_EQ(hashes[0], hashes[1]);
}

TEST(Capture, BadInputNamesTheValueEndsWithStatusOneAndLeavesNoFile)
{
    const std::pair<std::string, std::string> rows[] = {
        {"--output missing/v.mp4", "missing/v.mp4"}, {"--output data", "data"}, {"--size 161x96", "161x96"},
        {"--size wide", "wide"}, {"--fps 0", "--fps 0"}, {"--from 3000 --to 2000", "--from 3000"},
        {"--to 999999", "999999"}, {"--loop", "--loop"}, {"extra", "extra"}, {"--fps", "--fps"},
    };
    Directory directory;
    for (const auto& [arguments, value] : rows) {
        std::string err;
        EXPECT_EQ(capture(directory, arguments, &err), 1) << arguments;
        EXPECT_TRUE(err.rfind("capture: ", 0) == 0 && err.find(value) != std::string::npos) << arguments << ": " << err;
        EXPECT_EQ(directory.written(), 0) << arguments;
    }
}

TEST(Capture, InterruptedCaptureLeavesNoFile)
{
    Directory directory;
    std::string err, interrupt = " & for i in $(seq 600); do ls demo.mp4.part* >/dev/null 2>&1 && break; sleep .1; done";
    // Once the file is being written, not while the program is still starting
    EXPECT_EQ(capture(directory, "--size 640x360" + interrupt + "; sleep 1; kill -INT $!; wait $!", &err), 130);
    EXPECT_NE(err.find("capture: interrupted"), std::string::npos);
    EXPECT_EQ(directory.written(), 0);
}
