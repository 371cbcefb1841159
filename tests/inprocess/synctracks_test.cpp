// Sync tracks in process: the values between keys, the editor's protocol byte for byte against a
// stand-in editor (the tracks of a Synctracks of the test's own, driven frame by frame on a clock
// the test holds), and every bad byte and bad file with what comes of it. Each case works in a
// copy of the fixture's data/, at 120 bpm and 8 rows a beat: 16 rows a second.
#include <gtest/gtest.h>

#include <sys/stat.h>  // Required for: mkfifo()
#include <unistd.h>    // Required for: chdir(), truncate()

#include <filesystem>
#include <memory>

#include "framework/demo.h"
#include "framework/script.h"
#include "framework/stage.h"
#include "framework/synctracks.h"
#include "scenes/show.h"
#include "tests/support/editor.h"
#include "tests/support/fixture.h"
#include "tests/support/program.h"

namespace fs = std::filesystem;

namespace {

using Keys = std::vector<std::tuple<int, float, int>>;

Keys keysOf(const Synctracks::Keys& held)
{
    Keys keys;
    for (const Synctracks::Key& key : held) keys.emplace_back(key.row, key.value, key.interpolation);
    return keys;
}

TEST(Values, EachInterpolationFollowsItsFormulaAndTheEndsHoldTheirKeys)
{
    int track = synctracks.getTrack("interpolations"), empty = synctracks.getTrack("none");
    synctracks.tracks[track].keys = {{10, 1, 0}, {20, 3, 1}, {30, 5, 2}, {40, 9, 3}, {50, 2, 0}};
    auto at = [&](int ms) { return synctracks.getValue(track, ms); };
    EXPECT_FLOAT_EQ(at(0), 1) << "before the first key, the first key's value";
    EXPECT_FLOAT_EQ(at(1000), 1) << "row 16, a step";
    EXPECT_FLOAT_EQ(at(1250), 3) << "row 20, on a key";
    EXPECT_FLOAT_EQ(at(1500), 3 + (5 - 3) * 0.4) << "row 24, linear";
    EXPECT_FLOAT_EQ(at(2100), 5 + (9 - 5) * (0.36 * 0.36 * (3 - 2 * 0.36))) << "row 33.6, smooth";
    EXPECT_FLOAT_EQ(at(2800), 9 + (2 - 9) * (0.48 * 0.48)) << "row 44.8, ramp";
    EXPECT_FLOAT_EQ(at(3124), 9 + (2 - 9) * (0.9984 * 0.9984)) << "row 49.984, a ramp's end";
    EXPECT_FLOAT_EQ(at(3125), 2) << "row 50, the last key";
    EXPECT_FLOAT_EQ(at(600000), 2) << "after the last key, the last key's value";
    EXPECT_EQ(synctracks.getValue(empty, 1000), 0.0f) << "no keys";
    EXPECT_EQ(synctracks.getValue(99, 1000), 0.0f) << "no such handle";
    EXPECT_EQ(synctracks.getTrack("interpolations"), track) << "asked again, the same handle";
    GTEST_FLAG_SET(death_test_style, "threadsafe");  // the GL driver and the sound have threads
    EXPECT_EXIT(synctracks.getTrack("a/../b"), testing::ExitedWithCode(1),
                "Synctracks: Error! The track name \"a/../b\" has an empty, \".\" or \"..\" part between slashes");
}

// A Synctracks of the case's own with the tracks "cam:zoom" and "b", which a stand-in editor
// serves, in a copy of the fixture.
class Editing : public testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(chdir(copy.path().c_str()), 0); }
    void TearDown() override { ASSERT_EQ(chdir(home.c_str()), 0); }

    // A frame at the music position, which follows the editor's seeks as the director's would
    Synctracks::Requests frame()
    {
        Synctracks::Requests asked = client->update(now += 10, position);
        if (asked.seek >= 0) position = asked.seek;
        return asked;
    }
    // Runs frames until the demo has done something, for at most five seconds
    Synctracks::Requests frames()
    {
        Synctracks::Requests asked;
        program::waitFor(5, [&] {
            asked = frame();
            return asked.changed || asked.seek >= 0 || asked.pause >= 0 || asked.linked || !asked.refused.ok();
        });
        return asked;
    }
    // Frames until the demo has reached the editor and heard `answer` to its greeting
    Synctracks::Requests connect(const std::string& answer = "hello, demo!")
    {
        script.setString("SYNC_EDITOR", editor.address());
        client = std::make_unique<Synctracks>();
        client->getTrack("cam:zoom");
        client->getTrack("b");
        EXPECT_TRUE(program::waitFor(5, [&] { return frame().linked || editor.accept(0); }));
        EXPECT_EQ(editor.receive(19), "hello, synctracker!");
        editor.send(answer);
        return frames();
    }
    Synctracks::Requests take(const std::string& bytes)
    {
        editor.send(bytes);
        return frames();
    }

    const std::string home = fs::current_path();
    fixture::Directory copy;
    StandInEditor editor;
    std::unique_ptr<Synctracks> client;  // the tracks the editor serves
    unsigned int now = 0;
    int position = 0;  // ms of music
};

TEST_F(Editing, EveryCommandTravelsAsItsBytes)
{
    EXPECT_TRUE(connect().linked && client->connected);
    // Both tracks asked for by name, in the order the scenes asked, then the row the demo is at
    EXPECT_EQ(editor.receive(24), bytes({2, 0, 0, 0, 8}) + "cam:zoom" + bytes({2, 0, 0, 0, 1, 'b', 3, 0, 0, 0, 0}));

    // SET_KEY: track 1, row 16, 0.75 (0x3F400000), smooth; then row 8, -2 (0xC0000000), ramp
    EXPECT_TRUE(take(bytes({0, 0, 0, 0, 1, 0, 0, 0, 16, 0x3F, 0x40, 0, 0, 2})).changed);
    EXPECT_EQ(keysOf(client->tracks[1].keys), (Keys{{16, 0.75f, 2}}));
    take(bytes({0, 0, 0, 0, 1, 0, 0, 0, 8, 0xC0, 0, 0, 0, 3}));
    // DELETE_KEY: track 1, row 16
    EXPECT_TRUE(take(bytes({1, 0, 0, 0, 1, 0, 0, 0, 16})).changed);
    EXPECT_EQ(keysOf(client->tracks[1].keys), (Keys{{8, -2.0f, 3}}));
    // SET_ROW 32 seeks to 2000 ms; PAUSE 1 pauses, 0 plays
    EXPECT_EQ(take(bytes({3, 0, 0, 0, 32})).seek, 2000);
    EXPECT_EQ(take(bytes({4, 1})).pause, 1);
    EXPECT_EQ(take(bytes({4, 0})).pause, 0);

    // The demo's own row goes back when it changes, the row the editor gave it does not.
    for (int ms : {2000, 2062, 2063}) {
        position = ms;
        frame();
    }
    EXPECT_EQ(editor.receive(5), bytes({3, 0, 0, 0, 33}));

    // SAVE_TRACKS: a file per track, its key count, then each key's row, value and interpolation,
    // little-endian
    editor.send(bytes({5}));
    ASSERT_TRUE(program::waitFor(5, [&] { return frame().refused.ok() && fs::exists("data/sync/track_b.track"); }));
    EXPECT_EQ(copy.read("data/sync/track_b.track"), bytes({1, 0, 0, 0, 8, 0, 0, 0, 0, 0, 0, 0xC0, 3}));
    EXPECT_EQ(copy.read("data/sync/track_cam-3Azoom.track"), bytes({0, 0, 0, 0}));
    EXPECT_FALSE(client->filesChanged()) << "what the demo wrote is what it holds";
}

TEST_F(Editing, BadBytesDropTheEditorWithOneReasonKeepTheValuesAndItIsTriedAgain)
{
    const std::string key = bytes({0, 0, 0, 0, 0, 0, 0, 0, 4, 0x3F, 0x80, 0, 0, 1});  // track 0, row 4: 1, linear
    const struct {
        std::string answer, sent, reason;  // "" for a plain end
    } rows[] = {
        {"hello, demo!", key + "hello, demo!", "it greeted again"},
        {"hello, demo!", key + bytes({9}), "it sent the byte 9, which is no command"},
        {"hello, demo!", key + bytes({2, 0, 0, 0, 1, 'b'}), "it sent the byte 2, which is no command"},
        {"hello, demo!", key + bytes({0, 0, 0, 0, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0}),
         "it named track 2, which the demo never asked for"},
        {"hello, demo!", key + bytes({0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 4}),
         "it gave a key the interpolation 4, over 3"},
        {"hello, demo!", key + bytes({0, 0, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 0, 0, 0}), "it named the row -1"},
        {"hello, demo!", key + bytes({3, 0x80, 0, 0, 0}), "it named the row -2147483648"},
        {"hello, demo!", key + bytes({1, 0, 0, 0, 0, 0, 0, 0, 5}),
         "it deleted a key of cam:zoom at row 5, where there is none"},
        {"hello, demo!", key + bytes({0, 0, 0}), ""},  // the editor quits in the middle of a command
        {bytes({0x16, 3, 1}), "", "it answered \"\\x16\\x03\\x01\" to the greeting"},
    };
    for (const auto& row : rows) {
        Synctracks::Requests asked = connect(row.answer);
        if (client->connected) asked = take(row.sent);
        if (row.reason.empty()) {
            editor.hangUp();
            asked = frames();
        }
        EXPECT_FALSE(client->connected) << row.reason;
        EXPECT_EQ(asked.refused.reason(),
                  row.reason.empty() ? "" : "Synctracks: Disconnected the sync editor: " + row.reason);
        EXPECT_EQ(keysOf(client->tracks[0].keys), (row.answer == "hello, demo!" ? Keys{{4, 1.0f, 1}} : Keys{}))
            << row.reason;
    }
    now += 1000;
    EXPECT_TRUE(program::waitFor(5, [&] { return frame().linked || editor.accept(0); })) << "a second later, again";
}

// A bad track file saved in a rehearsal is refused by the reading of data/, naming the file,
// and nothing is taken; at start-up the same reason ends the program (tests/data/bad-input.table).
TEST_F(Editing, BadTrackFilesAreRefusedByName)
{
    if (demo.scenes.empty()) loadShow();
    const std::string key = bytes({0, 0, 0, 0, 0, 0, 0, 0, 0});
    const std::pair<std::string, std::string> rows[] = {
        {"", "is truncated: 0 bytes, too few for its key count"},
        {bytes({2, 0, 0, 0}) + key, "holds 13 bytes, where its 2 keys take 22"},
        {bytes({0, 0, 0, 0, 0}), "holds 5 bytes, where its 0 keys take 4"},
        {bytes({0xFF, 0xFF, 0xFF, 0xFF}), "holds 4 bytes, where its 4294967295 keys take 38654705659"},
        {bytes({1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 4}), ": key 0 at row 0 has the interpolation 4, over 3"},
        {bytes({2, 0, 0, 0}) + key + key, ": key 1 at row 0 does not come after row 0"},
        {bytes({1, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 0, 0, 0}), ": key 0 at row -1 lies before the first row"},
        {"huge", "holds 1073741824 bytes, more than the 1048576 keys a track may have"},
        {"pipe", "is not a regular file"},
        {"loop", "cannot be opened (Too many levels of symbolic links)"},
    };
    const std::string path = "data/sync/track_t/a.track";
    fixture::writeFile(path, bytes({1, 0, 0, 0, 4, 0, 0, 0, 0, 0, 0x80, 0x3F, 0}));
    ASSERT_TRUE(stage.read().ok());
    stage.swap();
    for (const auto& [content, reason] : rows) {
        fs::remove(path);
        if (content == "pipe") mkfifo(path.c_str(), 0644);
        if (content == "loop") fs::create_symlink("a.track", path);
        if (content != "pipe" && content != "loop") fixture::writeFile(path, content == "huge" ? "" : content);
        if (content == "huge") fs::resize_file(path, 1 << 30);
        Result read = stage.read();
        EXPECT_EQ(read.reason(), "Synctracks: Error! " + path + (reason[0] == ':' ? "" : " ") + reason);
    }
    EXPECT_EQ(keysOf(synctracks.files["t/a"]), (Keys{{4, 1.0f, 0}})) << "the values taken before stay";
    for (const std::string name : {"data/sync/a.track", "data/sync/track_t-2Fb.track", "data/sync/track_t-3a.track"}) {
        fs::remove(path);
        fixture::writeFile(name, bytes({0, 0, 0, 0}));
        EXPECT_EQ(stage.read().reason().rfind("Synctracks: Error! " + name + " is not a track's file name", 0), 0u);
        fs::remove(name);
    }
}

}  // namespace
