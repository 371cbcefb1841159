// Sync tracks with the real programs and the track scene (support/withtrackscene.cpp), whose
// red is the track's value: a rehearsal steered by a stand-in editor that serves keys, pauses,
// seeks and saves; then a showing of the saved file, and a capture of a range of it.
#include <gtest/gtest.h>

#include <cstdlib>

#include "tests/support/editor.h"
#include "tests/support/fixture.h"
#include "tests/support/program.h"

namespace {

// Whether the window's centre comes to show the red `red`, within the rounding of the colour
bool shows(program::Program& demo, int red)
{
    return program::waitFor(5, [&] { return std::abs(demo.centre().r - red) <= 1; });
}

TEST(SyncEditor, KeysServedInARehearsalAreSavedThenShownAndCaptured)
{
    fixture::Directory directory;
    directory.schedule("addSceneToTimeline(\"tracks\", 0, 150000)\n");
    StandInEditor editor;
    directory.config({{"SYNC_EDITOR", "\"" + editor.address() + "\""}});
    program::Program rehearsal(directory);
    rehearsal.binary = TRACKS_DEMO;
    rehearsal.start();
    ASSERT_TRUE(editor.accept(20));
    EXPECT_EQ(editor.receive(19), "hello, synctracker!");
    editor.send("hello, demo!");
    EXPECT_EQ(editor.receive(19), bytes({2, 0, 0, 0, 14}) + "test/level:red");

    // Rows 0, 160 and 192 (0, 10 and 12 s): 0.25 in a step, 0.5 rising linearly to 1; paused at row 16
    editor.send(bytes({0, 0, 0, 0, 0, 0, 0, 0, 0, 0x3E, 0x80, 0,   0,    0,    0, 0, 0, 0, 0, 0, 0, 0, 160, 0x3F, 0,
                       0, 0, 1, 0, 0, 0, 0, 0, 0, 0,    0,    192, 0x3F, 0x80, 0, 0, 0, 4, 1, 3, 0, 0, 0,   16}));
    EXPECT_TRUE(shows(rehearsal, 64));
    editor.send(bytes({0, 0, 0, 0, 0, 0, 0, 0, 0, 0x3E, 0, 0, 0, 0}));  // 0.125 at row 0, still paused
    EXPECT_TRUE(shows(rehearsal, 32));
    editor.send(bytes({3, 0, 0, 0, 176}));  // halfway from 0.5 to 1
    EXPECT_TRUE(shows(rehearsal, 191));

    editor.send(bytes({5, 4, 0}));  // saved, and playing on from row 176
    const std::string saved = bytes(
        {3, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0x3E, 0, 160, 0, 0, 0, 0, 0, 0, 0x3F, 1, 192, 0, 0, 0, 0, 0, 0x80, 0x3F, 0});
    EXPECT_TRUE(program::waitFor(5, [&] { return directory.read("data/sync/track_test/level-3Ared.track") == saved; }));
    EXPECT_TRUE(rehearsal.waitForTitle(" - Sync editor connected")) << rehearsal.title();
    EXPECT_TRUE(shows(rehearsal, 255)) << "past row 192";
    EXPECT_EQ(program::occurrences(rehearsal.log(), "reading data/ once"), 0) << "the demo's own save reloads nothing";
    EXPECT_EQ(rehearsal.quit().status, 0);

    // A showing reads the file, and opens no socket: 0.125 for the first ten seconds.
    directory.config({{"SYNC_EDITOR", "\"" + editor.address() + "\""}, {"DEBUG", "false"}});
    program::Program showing(directory);
    showing.binary = TRACKS_DEMO;
    showing.start();
    EXPECT_TRUE(shows(showing, 32));
    EXPECT_FALSE(editor.accept(0));
    EXPECT_EQ(showing.quit().status, 0);

    // A capture of 10 to 12.5 s, four frames a second, draws each frame at its own moment.
    const std::string capture = "cd " + directory.path() + " && mkdir frames && " + TRACKS_CAPTURE +
                                " --from 10000 --to 12500 --fps 4 --size 64x36 --output frames/%05d.png 2>/dev/null";
    ASSERT_EQ(std::system(capture.c_str()), 0);
    std::string frames =
        program::output("ffmpeg -v error -i " + directory.file("frames/%05d.png") + " -f rawvideo -pix_fmt rgb24 -");
    ASSERT_EQ(frames.size(), 10u * 64 * 36 * 3);
    for (int k = 0; k < 10; k++) {
        double value = k < 8 ? 0.5 + 0.5 * k * 250 / 2000 : 1.0;
        EXPECT_NEAR(static_cast<unsigned char>(frames[(k * 64 * 36 + 18 * 64 + 32) * 3]), value * 255, 1)
            << "frame " << k;
    }
}

}  // namespace
