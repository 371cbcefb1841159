// Clock: what is heard now, worked out from what the sound output reports. The music's one
// source of time (music.cpp takes the readings; nothing here touches the sound library).
//
// Two things make up the heard position. How the output's own time relates to wall time (how
// far the device's mixing runs ahead of the ear) belongs to the device and holds across seeks;
// it is learnt from every reading, and anew once the device has stood still or is opened afresh
// (a pause, and the resume after it). Which part of the track the device mixed at which of its
// moments belongs to the source: it is exact from the first reading taken after the source was
// mixed, and is learnt anew after every jump (start, seek, resume).
//
// Depends on: nothing but the C++ standard library. Owns: the readings it has learnt from.
#pragma once

// Milliseconds on the steady clock: the readings' wall time, and the time base of whatever is
// timed beside them (a rebuild, the tests that set the clock against what was heard)
double steadyMs();

// One look at the output, taken at one moment
struct Reading {
    double wall;     // ms on the steady clock
    double device;   // ms of output the device has mixed so far: its clock
    double latency;  // ms from the mixer to the ear, as the device says at `wall`
    bool playing;    // the source is being mixed
    double source;   // ms of the track mixed up to `device`
};

class Clock {
public:
    double held;  // ms: the last value given out, and the floor for the next
    bool frozen;  // paused: the value does not move

    Clock();

    // Stands the clock at `ms`, where it holds until the sound gets there: the source starts
    // again from the track's `start` ms (a start, a seek, a resume)
    void jump(double ms, double start);
    // Takes in a reading and gives the position; never beyond `cap`, what can have been heard
    double read(const Reading& reading, double cap);
    // The output was opened afresh: its timing is learnt anew from the next readings
    void reopened();

private:
    // Device time heard minus wall time, per reading. Outputs with a fixed latency are read late
    // by however long after a mixer update the reading came, so only the latest-looking
    // readings tell the truth (the best of each quarter second of the last eight seconds is
    // kept: at ten frames a second it takes that many to meet a punctual one). Outputs whose
    // latency is measured at the moment of asking (a sound server) are right but for rare
    // outliers and for how a server interpolates its timing between its own updates: in a
    // stream's first ten or so seconds it fits their rate badly, and the latency it gives wanders
    // from the truth by up to a dozen milliseconds and back, in ramps and steps, while what is
    // heard keeps its pace. So the middle of the last three readings is followed until a stream
    // has been open for half a second and three readings more, then held, and followed only as
    // slowly as two clocks can part; a level further away than an output that fell behind (a
    // skip, a dropout) is followed within two readings: one frame, which reads the clock twice
    // (the refill and the picture).
    static constexpr int BUCKETS = 32;
    static constexpr int RECENT = 3;
    struct Bucket {
        long long index;  // which quarter second of the steady clock
        double offset;
    };
    Bucket buckets[BUCKETS];
    int bucketCount;      // buckets filled so far, the newest at `bucketCount - 1` modulo BUCKETS
    double recent[RECENT];
    int recentCount;
    bool live;            // the latency changed between two readings of one device moment
    double lastWall, lastDevice, lastLatency;
    bool fresh;           // a live output's offset is still followed, not held
    double openedAt;      // wall ms of the first reading since the output opened; NAN before it
    int settled;          // readings taken half a second or more after that
    double steady;        // a live output's offset, as followed or held

    double from;          // where the source started again, in track ms
    bool anchored;        // a reading since then, so that `anchor` means something
    double anchor;        // track ms minus device ms while the source plays on

    void learn(const Reading& reading);
    // Takes a live output's offset read at `wall`, `elapsed` ms after the last reading, into `steady`
    void hold(double offset, double wall, double elapsed);
    // Device time heard minus wall time, as well as the readings tell; false without any
    bool deviceOffset(double& offset) const;
};
