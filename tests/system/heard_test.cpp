// The music clock against what a real sound server plays: the engine's audio and music in the
// player, on a private PulseAudio server ("esd" output), its null sink recorded and the heard
// position found in the recording. A start, a seek, a pause and resume, and a stall of the
// whole process, through which the server plays on and the sound skips ahead. (ALSA's pulse
// plugin, which falls behind instead, is measured by bench/heard_bench.cpp: under a loaded
// machine its own underruns make it a poor check.)
#include <gtest/gtest.h>

#include <algorithm>

#include "tests/support/heard.h"

namespace {

// The largest error of the frames from `fromMs` after each `kind` event; fails when there are
// too few of them to tell
double worst(const heard::Run& run, const heard::Heard& heard, const std::string& kind, double fromMs)
{
    std::vector<heard::Error> errors = heard::errorsAfter(run, heard, kind, fromMs);
    EXPECT_GE(errors.size(), 40u) << "frames heard after " << kind;
    double worst = 0;
    for (const heard::Error& error : errors) worst = std::max(worst, error.ms);
    return worst;
}

}  // namespace

TEST(HeardPosition, ClockIsWhatPulseAudioPlaysAfterStartSeekResumeAndAStall)
{
    heard::Server server;
    ASSERT_TRUE(server.started()) << "PulseAudio did not start";
    fixture::Directory directory;
    heard::writeTrack(directory.file("data/audio/noise.wav"));
    directory.config({{"AUDIO", "\"esd\""}, {"MUSIC", "\"noise.wav\""}, {"DEBUG", "false"}});

    heard::Recording recording(server);
    heard::Run run = heard::play(directory, server.environment(), 60, 0,
                                 "settle start play:1500 seek:20000 play:1500 pause play:400 resume play:1500 "
                                 "stall:200 play:1500");
    recording.stop();
    ASSERT_EQ(run.status, 0) << directory.read("player.err");
    heard::Heard heard(recording, heard::track());

    for (const char* kind : {"start", "seek", "resume"}) EXPECT_LE(worst(run, heard, kind, 100), 2.0) << kind;
    EXPECT_LE(worst(run, heard, "stall", 300), 1000 / 60.0);
}
