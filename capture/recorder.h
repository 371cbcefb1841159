// Recorder: frames drawn, read back and encoded with their sound. The encoding of one frame
// runs on a second thread while the next frame is drawn, so that on a machine with a core to
// spare the capture goes about as fast as the drawing alone. Only the encoder and the track
// are touched there; the engine stays on the main thread, as it always is.
#pragma once

#include <condition_variable>
#include <mutex>
#include <thread>

class Encoder;
class Frames;
class Soundtrack;

class Recorder {
public:
    Recorder(Frames& frames, Encoder& encoder, Soundtrack& soundtrack);
    ~Recorder();

    // Draws frame k and hands it to the encoding thread
    void record(long long k);
    // Encodes what is still waiting, the rest of the span's sound, and completes the file
    void finish(int to);

private:
    Frames& frames;
    Encoder& encoder;
    Soundtrack& soundtrack;
    std::thread worker;
    std::mutex lock;
    std::condition_variable changed;
    const uint8_t* pending;  // the picture handed over, until the worker has taken it on
    bool cut;                // whether it is the first of a change of the schedule
    int soundUntil;          // ms of music the sound goes with it up to
    bool busy, quitting;

    void work();
    void encode(const uint8_t* picture, bool key, int until);
    // Blocks until the worker has encoded everything handed to it
    void idle();
};
