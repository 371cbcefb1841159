// Recorder: a one-frame hand-over between the drawing thread and the encoding thread. The
// read-back waits until the previous frame is encoded, so one picture buffer serves both.
#include "capture/recorder.h"

#include "capture/encoder.h"
#include "capture/frames.h"
#include "capture/soundtrack.h"

Recorder::Recorder(Frames& frames, Encoder& encoder, Soundtrack& soundtrack)
    : frames(frames), encoder(encoder), soundtrack(soundtrack), pending(nullptr), cut(false), soundUntil(0),
      busy(false), quitting(false)
{
    worker = std::thread(&Recorder::work, this);
}

Recorder::~Recorder()
{
    {
        std::lock_guard<std::mutex> hold(lock);
        quitting = true;
    }
    changed.notify_all();
    worker.join();
}

void Recorder::record(long long k)
{
    frames.draw(k);
    idle();
    const uint8_t* picture = frames.read();
    {
        std::lock_guard<std::mutex> hold(lock);
        pending = picture;
        cut = frames.cut(k);
        soundUntil = frames.time(k + 1);
        busy = true;
    }
    changed.notify_all();
}

void Recorder::finish(int to)
{
    idle();
    encode(nullptr, false, to);
    encoder.finish();
}

void Recorder::work()
{
    std::unique_lock<std::mutex> hold(lock);
    while (true) {
        changed.wait(hold, [this] { return busy || quitting; });
        if (!busy) return;
        const uint8_t* picture = pending;
        bool key = cut;
        int until = soundUntil;
        hold.unlock();
        encode(picture, key, until);
        hold.lock();
        busy = false;
        changed.notify_all();
    }
}

void Recorder::encode(const uint8_t* picture, bool key, int until)
{
    if (picture) encoder.video(picture, key);
    const std::vector<float>& samples = soundtrack.readUntil(until);
    encoder.audio(samples.data(), static_cast<int>(samples.size()) / soundtrack.channels());
}

void Recorder::idle()
{
    std::unique_lock<std::mutex> hold(lock);
    changed.wait(hold, [this] { return !busy; });
}
