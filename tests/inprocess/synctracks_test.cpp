// Sync tracks in process: the values between keys, the editor's protocol byte for byte against a
// stand-in editor, bad bytes, and a bad file saved in a rehearsal (at start-up: bad-input.table).
// At 120 bpm and 8 rows a beat, the defaults: 16 rows a second.
#include <gtest/gtest.h>

#include <memory>
#include <tuple>

#include "framework/demo.h"
#include "framework/script.h"
#include "framework/stage.h"
#include "framework/synctracks.h"
#include "scenes/show.h"
#include "tests/support/drawing.h"
#include "tests/support/editor.h"
#include "tests/support/program.h"

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
    EXPECT_FLOAT_EQ(at(600000), 2) << "after the last key, the last key's value";
    EXPECT_EQ(synctracks.getValue(empty, 1000), 0.0f) << "no keys";
    EXPECT_EQ(synctracks.getValue(99, 1000), 0.0f) << "no such handle";
    EXPECT_EQ(synctracks.getTrack("interpolations"), track) << "asked again, the same handle";
    GTEST_FLAG_SET(death_test_style, "threadsafe");  // the GL driver and the sound have threads
    EXPECT_EXIT(synctracks.getTrack("a/../b"), testing::ExitedWithCode(1),
                "Synctracks: Error! The track name \"a/../b\" has an empty, \".\" or \"..\" part between slashes");
}

// The tracks "cam:zoom" and "b" of a Synctracks of the case's own, served by a stand-in editor and
// driven frame by frame on a clock the test holds, in a copy of the fixture
class Editing : public drawing::InACopy {
protected:
    // A frame at the music position, which follows the editor's seeks as the director's does
    Synctracks::Requests frame()
    {
        Synctracks::Requests asked = client->update(now += 10, position);
        if (asked.seek >= 0) position = asked.seek;
        return asked;
    }
    // Sends `bytes`, then runs frames until the demo does something, for five seconds at most
    Synctracks::Requests take(const std::string& bytes)
    {
        if (!bytes.empty()) editor.send(bytes);
        Synctracks::Requests asked;
        program::waitFor(5, [&] {
            asked = frame();
            return asked.changed || asked.seek >= 0 || asked.pause >= 0 || asked.linked || !asked.refused.ok();
        });
        return asked;
    }
    // Frames until the demo reaches the editor, which answers its greeting with `answer`
    Synctracks::Requests connect(const std::string& answer = "hello, demo!")
    {
        script.setString("SYNC_EDITOR", editor.address());
        client = std::make_unique<Synctracks>();
        client->getTrack("cam:zoom");
        client->getTrack("b");
        EXPECT_TRUE(program::waitFor(5, [&] { return frame().linked || editor.accept(0); }));
        EXPECT_EQ(editor.receive(19), "hello, synctracker!");
        if (answer.empty()) now += 3000;  // an editor that never answers, three seconds on
        return take(answer);
    }

    StandInEditor editor;
    std::unique_ptr<Synctracks> client;
    unsigned int now = 0;
    int position = 0;  // ms of music
};

TEST_F(Editing, EveryCommandTravelsAsItsBytes)
{
    EXPECT_TRUE(connect().linked && client->connected);
    // Both tracks asked for by name, in the order the scenes asked, then the demo's row
    EXPECT_EQ(editor.receive(24), bytes({2, 0, 0, 0, 8}) + "cam:zoom" + bytes({2, 0, 0, 0, 1, 'b', 3, 0, 0, 0, 0}));

    // SET_KEY: track 1, row 16, 0.75 (0x3F400000), smooth; row 8, -2 (0xC0000000), ramp
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
    // The demo's row goes to the editor when it changes, not the row the editor gave it.
    for (int ms : {2000, 2062, 2063}) {
        position = ms;
        frame();
    }
    EXPECT_EQ(editor.receive(5), bytes({3, 0, 0, 0, 33}));

    // SAVE_TRACKS writes a track without keys too, or a showing would play the keys it had
    // before they were deleted. The files' layout is checked against the real demo.
    editor.send(bytes({5}));
    ASSERT_TRUE(program::waitFor(
        5, [&] { return frame().refused.ok() && copy.read("data/sync/track_cam-3Azoom.track") != ""; }));
    EXPECT_EQ(copy.read("data/sync/track_cam-3Azoom.track"), bytes({0, 0, 0, 0}));
}

TEST_F(Editing, BadBytesDropTheEditorWithOneReasonKeepTheValuesAndItIsTriedAgain)
{
    const std::string key = bytes({0, 0, 0, 0, 0, 0, 0, 0, 4, 0x3F, 0x80, 0, 0, 1});  // track 0, row 4: 1, linear
    const std::string greeting = "hello, demo!";
    // The answer to the demo's greeting, what follows that key, and the reason it is dropped for
    const std::tuple<std::string, std::string, std::string> rows[] = {
        {greeting, greeting, "it greeted again"},
        {greeting, bytes({9}), "it sent the byte 9, which is no command"},
        {greeting, bytes({2, 0, 0, 0, 1, 'b'}), "it sent the byte 2, which is no command"},
        {greeting, bytes({0, 0, 0, 0, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0}), "it named track 2, which the demo never asked for"},
        {greeting, bytes({0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 4}), "it gave a key the interpolation 4, over 3"},
        {greeting, bytes({0, 0, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 0, 0, 0}), "it named the row -1"},
        {greeting, bytes({3, 0x80, 0, 0, 0}), "it named the row -2147483648"},
        {greeting, bytes({1, 0, 0, 0, 0, 0, 0, 0, 5}), "it deleted a key of cam:zoom at row 5, where there is none"},
        {greeting, bytes({0, 0, 0}), ""},  // and quits in the middle of a command: a plain end
        {bytes({0x16, 3, 1}), "", "it answered \"\\x16\\x03\\x01\" to the greeting"},
        {"", "", "it did not answer the greeting within 3 s"},
    };
    for (const auto& [answer, sent, reason] : rows) {
        Synctracks::Requests asked = connect(answer);
        if (client->connected) asked = take(key + sent);
        if (reason.empty()) editor.hangUp();
        if (reason.empty()) asked = take("");
        EXPECT_FALSE(client->connected) << reason;
        EXPECT_EQ(asked.refused.reason(), reason.empty() ? "" : "Synctracks: Disconnected the sync editor: " + reason);
        EXPECT_EQ(keysOf(client->tracks[0].keys), (answer == greeting ? Keys{{4, 1.0f, 1}} : Keys{})) << reason;
    }
    now += 1000;
    EXPECT_TRUE(program::waitFor(5, [&] { return frame().linked || editor.accept(0); })) << "a second later, again";
}

// A bad track file saved in a rehearsal is refused with the rest of the data; the values stay.
TEST_F(Editing, ABadTrackFileSavedIsRefusedAndTheValuesStay)
{
    if (demo.scenes.empty()) loadShow();
    const std::string path = "data/sync/track_t/a.track";
    fixture::writeFile(path, bytes({1, 0, 0, 0, 4, 0, 0, 0, 0, 0, 0x80, 0x3F, 0}));
    ASSERT_TRUE(stage.read().ok());
    stage.swap();
    fixture::writeFile(path, bytes({1, 0, 0, 0, 4, 0, 0, 0, 0, 0, 0x80, 0x3F, 7}));
    EXPECT_TRUE(synctracks.filesChanged());
    EXPECT_EQ(stage.read().reason(), "Synctracks: Error! " + path + ": key 0 at row 4 has the interpolation 7, over 3");
    EXPECT_EQ(keysOf(synctracks.files["t/a"]), (Keys{{4, 1.0f, 0}}));
}

}  // namespace
