// The sound system in process, before anything plays: the program's own `audio` on the null
// output and its `music` on the fixture's 150 s track, not started yet. This file sorts before
// the other unit tests, so in a single run of all of them nothing has started the music yet.
#include <gtest/gtest.h>

#include <AL/al.h>

#include <vector>

#include "framework/audio.h"
#include "framework/music.h"
#include "framework/timer.h"

TEST(SoundBeforeTheFirstStart, QueriesYieldZeroAndTheProgramCarriesOn)
{
    if (channel != 0) GTEST_SKIP() << "an earlier test in this process started the music";

    EXPECT_EQ(music.getPosition(), 0);
    EXPECT_EQ(audio.result, AL_INVALID_NAME) << "the missing channel is stored as the tolerated invalid handle";
    EXPECT_EQ(timer.getPositionMinute(), 0.0);
    EXPECT_EQ(timer.getPositionSecond(), 0.0);
    EXPECT_EQ(timer.getPositionMS(), 0.0);
    EXPECT_FALSE(music.checkPlaying());

    std::vector<float> spectrum(256, 1.0f), wave(256, 1.0f);
    music.getSpectrum(spectrum.data(), 256);
    music.getWaveData(wave.data(), 256);
    EXPECT_EQ(spectrum, std::vector<float>(256, 0.0f));
    EXPECT_EQ(wave, std::vector<float>(256, 0.0f));

    // Seeking and pausing a channel that is not there are ignored, not fatal.
    music.setPosition(5000);
    music.changePosition(5000);
    music.setPause(false);
    EXPECT_EQ(music.getPosition(), 0);
    EXPECT_EQ(music.getLength(), 150000) << "the length comes from the track, not the channel";
}
