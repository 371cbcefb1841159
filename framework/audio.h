// Audio: the sound system on OpenAL Soft. Opens the configured output, checks the library
// versions, pumps the sound once per frame and is the one error check through which every sound
// call passes (any error ends the program with status 255).
//
// Depends on: OpenAL Soft 1.19 (the device and its context), libsndfile 1.0.28 (its version and
// error texts), the configuration and the log. Owns: the device and the context.
// Knows nothing of the music: the music hands it the refill that update() runs each frame, and
// checks its own calls through check(), so the dependency runs one way, music to audio.
#pragma once

#include <AL/alc.h>

class Audio {
public:
    ALCdevice* system;      // the output device
    ALCcontext* context;    // the one context on it
    int result;             // most recent error code of the output or the decoder
    unsigned int version;   // OpenAL Soft version, packed as major << 16 | minor << 8 | patch

    Audio();
    ~Audio();

    // Runs the refill the music handed over, then checks the output's error state; once per frame
    void update();
    // Does nothing for 0; any other code logs, prints and ends the program with status 255
    void checkError(int result);

    // AL and ALC error codes share their values, so the text depends on who reported the code
    enum Library { CONTEXT, DEVICE, DECODER };
    // Stores a code reported by `from` in `result`, then checks it; `text` is the library's own
    // wording of the error where it has one, and a `tolerated` code passes like 0
    void check(int code, Library from, const char* text = nullptr, int tolerated = 0);
    // What update() runs first: the music's refill (nothing before the music opens, or after it closes)
    void pump(void (*refill)());

private:
    Library library;        // whose table explains `result`
    const char* detail;     // the decoder's own wording of its last error, when it has one
    void (*refill)();
};

extern Audio audio;
