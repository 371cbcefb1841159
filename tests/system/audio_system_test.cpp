// The sound system through the real program: the output each AUDIO value picks (and the
// silent fallback when there is no sound device), tracks that are missing, not audio or
// damaged, the music's real-time end and the order in which the sound shuts down.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sndfile.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <regex>
#include <sstream>

#include "tests/support/fixture.h"
#include "tests/support/program.h"

using fixture::Directory;
using program::Program;
using program::Result;
using testing::HasSubstr;
using testing::Not;
using testing::ContainsRegex;
using testing::Eq;

namespace {

// Whether this machine has any sound device OpenAL Soft could open by itself
bool hasSoundDevice() { return access("/dev/snd", F_OK) == 0 || access("/dev/dsp", F_OK) == 0; }

// Fails unless the texts appear in `log` in this order
void expectInOrder(const std::string& log, const std::vector<std::string>& texts)
{
    size_t at = 0;
    for (const std::string& text : texts) {
        size_t found = log.find(text, at);
        ASSERT_NE(found, std::string::npos) << "\"" << text << "\" missing or out of order";
        at = found + text.size();
    }
}

// The error line as the program writes it last, whatever the library itself said before
const char* const anySoundError = "OpenAL error! \\([0-9]+\\) [^\n]+\n$";

// Runs the program and expects the sound error's end: status 255, standard error as `error`
// says, and `texts` in this order in the log
void expectSoundError(const Directory& directory, const testing::Matcher<std::string>& error,
                      const std::vector<std::string>& texts)
{
    Result result = program::run(directory);
    EXPECT_EQ(result.status, 255) << result.err;
    EXPECT_THAT(result.err, error);
    expectInOrder(directory.read("demo.log"), texts);
}

}  // namespace

TEST(SoundOutput, AutoWithoutASoundDevicePlaysSilentlyToTheEnd)
{
    Directory directory;
    directory.config({{"AUDIO", "\"auto\""}, {"MUSIC", "\"short.wav\""}});
    Result result = program::run(directory);
    EXPECT_EQ(result.status, 0) << result.err;

    std::string log = directory.read("demo.log");
    EXPECT_THAT(log, HasSubstr("Audio: Setting output to: Auto\n"));
    if (!hasSoundDevice()) {
        expectInOrder(log, {"Audio: Initializing (OpenAL)...", "Audio: Setting output to: Auto",
                            "Audio: No sound device found, setting output to: No sound",
                            "Demo: Last scene done! :)"});
    }
}

TEST(SoundOutput, NamedOutputThatCannotOpenEndsWithStatus255)
{
    if (access("/dev/dsp", F_OK) == 0) GTEST_SKIP() << "this machine has an OSS device";
    Directory directory;
    directory.config({{"AUDIO", "\"oss\""}});
    expectSoundError(directory, ContainsRegex(anySoundError), {"Audio: Setting output to: OSS", "Audio: OpenAL error! ("});
}

TEST(MusicFile, MissingOrNotAudioEndsWithStatus255AndTheDecodersMessage)
{
    struct Case {
        std::string name, message;
    } cases[] = {
        {"absent.ogg", "OpenAL error! (2) System error : No such file or directory."},
        {"notes.ogg", "OpenAL error! (1) Format not recognised."},
    };
    for (const Case& c : cases) {
        Directory directory;
        directory.write("data/audio/notes.ogg", "These are notes about the soundtrack, not the soundtrack.\n");
        directory.config({{"MUSIC", "\"" + c.name + "\""}});
        expectSoundError(directory, Eq(c.message + "\n"), {"Music: Loading: " + c.name, "Audio: " + c.message + "\n"});
    }
}

TEST(MusicFile, DamagedStreamEndsWithStatus255WhenTheDecoderMeetsIt)
{
    Directory directory;
    std::string path = directory.file("data/audio/cut.flac");
    fixture::writeTrack(path, 3.0, 22050, 2, SF_FORMAT_FLAC | SF_FORMAT_PCM_16);
    std::filesystem::resize_file(path, std::filesystem::file_size(path) * 6 / 10);
    directory.config({{"MUSIC", "\"cut.flac\""}});
    expectSoundError(directory, ContainsRegex(anySoundError), {"Music: Start", "Audio: OpenAL error! ("});
}

TEST(MusicFile, OggCutShortStillPlaysToItsEnd)
{
    // A cut Ogg stream does not know its length; the program counts it and ends on time.
    Directory directory;
    std::string path = directory.file("data/audio/cut.ogg");
    fixture::writeTrack(path, 3.0, 22050, 2, SF_FORMAT_OGG | SF_FORMAT_VORBIS);
    std::filesystem::resize_file(path, std::filesystem::file_size(path) / 2);
    directory.config({{"MUSIC", "\"cut.ogg\""}});
    Result result = program::run(directory);
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_THAT(directory.read("demo.log"), HasSubstr("Demo: Last scene done! :)"));
}

TEST(MusicFile, PlaysInRealTimeThenTheMusicClosesBeforeTheSoundSystem)
{
    Directory directory;
    directory.config({{"MUSIC", "\"short.wav\""}});
    Program demo(directory);
    demo.start();
    ASSERT_TRUE(demo.waitForLog("Music: Start"));
    auto started = std::chrono::steady_clock::now();
    Result result = demo.wait();
    double played = std::chrono::duration<double>(std::chrono::steady_clock::now() - started).count();
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_GE(played, 2.8) << "the 3 s track ends 99 ms early, not sooner";
    EXPECT_LT(played, 6.0);

    std::string log = directory.read("demo.log");
    expectInOrder(log, {"Audio: Initializing (OpenAL)...", "Audio: Setting output to: No sound",
                        "Music: Loading: short.wav", "Timer: Started!", "Music: Start", "Demo: Last scene done! :)",
                        "Music: Closing...", "Audio: Closing (OpenAL)..."});

    // One plot line per second of music: its position, two characters of the rate, the average.
    std::regex plot(R"(- Plot (\d+) (.{1,2}) ([0-9.e+]+)\n)");
    std::vector<int> positions;
    for (std::sregex_iterator it(log.begin(), log.end(), plot), end; it != end; ++it) positions.push_back(std::stoi((*it)[1]));
    ASSERT_EQ(positions.size(), 2u) << log;
    EXPECT_GT(positions[0], 1000);
    EXPECT_GT(positions[1], positions[0] + 1000);
}
