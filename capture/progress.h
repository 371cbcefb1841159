// Progress: how far a capture is, on standard error: frames done of the total, percent,
// frames per second, time left and the output's size so far. One line that updates itself on a terminal; on anything
// else (a log, a pipe) a plain line every few seconds, so the record stays readable.
#pragma once

#include <chrono>

class Progress {
public:
    explicit Progress(long long total);

    // Reports `done` frames and `bytes` of output, when it is time to
    void update(long long done, long long bytes);
    // The final figures, always
    void finish();

private:
    long long total, done, bytes;
    bool terminal;
    std::chrono::steady_clock::time_point start, shown;

    void show();
};
