// The clock fed with the readings of a simulated output: its mixer runs a 23.22 ms period
// ahead of the ear, and it reports its latency either fixed (read late between mixer updates,
// as OpenAL's null output) or measured at the moment of asking (a sound server).
#include <gtest/gtest.h>

#include <cmath>

#include "framework/clock.h"

namespace {

class Output {
public:
    // The device watched closely before the track starts at 0, as the music does when it opens it
    explicit Output(bool live) : live(live)
    {
        playing = false;
        for (double wall = -100; wall < 0; wall += 0.25) frame(wall);
        playing = true;
        restart(0, 0);
    }

    // Device ms heard at `wall` is wall + offset; the mixer has mixed up to the period boundary
    // a latency ahead of that.
    double mixed(double wall) const { return std::floor((wall + offset + LATENCY) / PERIOD) * PERIOD; }
    double heard(double wall) const { return track + (wall + offset - start); }

    // A frame at `wall`: the output read (`optimism` ms too early a latency), the clock's answer
    double frame(double wall, double optimism = 0)
    {
        double device = mixed(wall);
        double latency = (live ? device - (wall + offset) : LATENCY) - optimism;
        if (stale >= 0) {
            // The mixer has not caught up yet, and a sound server finds its buffer empty.
            device = stale;
            latency = live ? 0 : LATENCY;
            stale = -1;
        }
        last = clock.read({wall, device, latency, playing, track + std::max(0.0, device - start)}, INFINITY);
        return last;
    }
    // The whole process stands from `wall` for `ms`, the output's mixer with it. A sound server
    // plays on through its underrun: the sound skips ahead, and the mixer makes up the lost time
    // once it runs (after the first reading). Otherwise the sound goes on from where it stopped.
    void stall(double wall, double ms, bool skipsAhead)
    {
        if (skipsAhead) stale = mixed(wall);
        else offset -= ms;
    }
    // The source starts again at the track's `ms` with the mixer's next period
    void restart(double wall, double ms)
    {
        start = mixed(wall);
        track = ms;
        clock.jump(ms, ms);
    }
    // Frames at `fps` from `from` to `to`; the worst distance from what is heard (any step back
    // kept in `back`)
    double worst(double from, double to, double fps)
    {
        double worst = 0;
        for (double wall = from; wall < to; wall += 1000 / fps) {
            double before = last;
            worst = std::max(worst, std::fabs(frame(wall) - heard(wall)));
            back = std::max(back, before - last);
        }
        return worst;
    }

    static constexpr double PERIOD = 23.22, LATENCY = 47.44;
    bool live, playing = true;
    double offset = -1000, start = 0, track = 0, last = 0, stale = -1, back = 0;
    Clock clock;
};

}  // namespace

TEST(Clock, FromATenthOfASecondAfterAStartOrSeekItIsWithinTwoMillisecondsOfTheSound)
{
    for (bool live : {false, true}) {
        for (double fps : {60.0, 10.0}) {
            Output output(live);
            EXPECT_LE(output.worst(100, 3000, fps), 2.0) << live << " " << fps;
            output.restart(3000, 20000);
            EXPECT_EQ(output.frame(3000), 20000) << "a seek reads back exactly";
            output.worst(3000, 3100, fps);
            EXPECT_LE(output.worst(3100, 6000, fps), 2.0) << live << " " << fps;
            EXPECT_EQ(output.back, 0) << "never backwards";
        }
    }
}

// A pause stops the output until the resume opens it afresh and the source starts again from
// the millisecond the picture froze at. The picture holds there until the sound does, and is with
// it a tenth of a second after the resume, after a long pause and a short one; the output's timing
// is learnt anew, so one of fixed latency is known to within a mixer period.
TEST(Clock, AfterAPauseThePictureGoesOnWithTheSoundFromWhereItFroze)
{
    for (bool live : {true, false}) {
        for (double ms : {20.0, 990.0}) {
            Output output(live);
            output.worst(0, 2000, 60);
            double frozen = std::floor(output.frame(2010)), resume = 2010 + ms;
            output.stall(2010, ms, false);  // the output stands still, and the sound with it
            output.clock.reopened();
            output.restart(resume, frozen);
            EXPECT_EQ(output.frame(resume), frozen) << live << " " << ms;
            output.worst(resume, resume + 100, 60);
            EXPECT_LE(output.worst(resume + 100, resume + 1000, 60), live ? 2.0 : Output::PERIOD) << live << " " << ms;
            EXPECT_EQ(output.back, 0) << live << " " << ms << ": backwards";
        }
    }
}

TEST(Clock, ALiveOutputOutlastsAnOptimisticReading)
{
    Output output(true);
    output.worst(0, 2000, 60);
    EXPECT_LE(output.frame(2000, 40) - output.heard(2000), 2.0) << "one reading 40 ms early";
    EXPECT_LE(output.worst(2016, 3000, 60), 2.0);
}

// A sound server's interpolated timing in a stream's first seconds: right about half a second
// after it opened, then the latency it gives wanders from the truth in ramps, set back part of
// the way every 1.3 s, by up to 13 ms, while what is heard keeps its pace.
TEST(Clock, ALiveOutputKeepsThePaceOfTheSoundWhileTheServersTimingWanders)
{
    Output output(true);
    double worst = 0;
    for (double wall = 0; wall < 8000; wall += 1000 / 60.0) {
        double since = std::max(0.0, wall - 500), wander = 4e-3 * std::fmod(since, 1300) + 1e-3 * since;
        double error = std::fabs(output.frame(wall, -wander) - output.heard(wall));
        if (wall >= 100) worst = std::max(worst, error);
    }
    EXPECT_LE(worst, 2.0);
}

// After a stall of the process: where the sound skips ahead, the picture is there within a frame
// and never beyond it; where the sound falls behind, the picture never runs ahead of it. Either
// way it never steps back, and is within 2 ms once the sound plays steadily again. An output of
// fixed latency is only known to within a mixer period by a single reading.
TEST(Clock, ThroughAStallTheClockFollowsTheSoundWithoutRunningAheadOrBack)
{
    const double frame = 1000 / 60.0;
    for (bool live : {true, false}) {
        for (bool skipsAhead : {true, false}) {
            Output output(live);
            output.worst(0, 2000, 60);
            output.stall(2000, 200, skipsAhead);
            double ahead = 0, behind = 0;
            for (double wall = 2200; wall < 2500; wall += frame) {
                double error = output.frame(wall) - output.heard(wall);
                ahead = std::max(ahead, error);
                if (wall >= 2200 + frame) behind = std::max(behind, -error);
            }
            std::string name = std::string(live ? "live" : "fixed") + (skipsAhead ? ", skips ahead" : ", falls behind");
            EXPECT_LE(ahead, 2.0) << name << ": ahead of the sound";
            if (skipsAhead) {
                EXPECT_LE(behind, live ? 2.0 : Output::PERIOD) << name << ": behind the sound a frame after the stall";
            }
            EXPECT_LE(output.worst(2500, 4000, 60), 2.0) << name;
            EXPECT_EQ(output.back, 0) << name << ": backwards";
        }
    }
}
