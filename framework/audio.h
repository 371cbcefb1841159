// Audio: the sound system on OpenAL Soft. Opens the configured output, checks the library
// versions, pumps the music stream once per frame and is the one error check through which
// every sound call passes (any error ends the program with status 255).
#pragma once

#include <AL/alc.h>  // Required for: ALCdevice, ALCcontext

class Audio {
public:
    ALCdevice* system;      // the output device
    ALCcontext* context;    // the one context on it
    int result;             // most recent error code of the output or the decoder
    unsigned int version;   // OpenAL Soft version, packed as major << 16 | minor << 8 | patch

    Audio();
    ~Audio();

    // Refills the music stream; called once per frame
    void update();
    // Does nothing for 0; any other code logs, prints and ends the program with status 255
    void checkError(int result);

private:
    friend class Music;
    friend struct Stream;

    // AL and ALC error codes share their values, so the text depends on who reported the code
    enum Library { CONTEXT, DEVICE, DECODER };
    Library library;        // whose table explains `result`
    const char* detail;     // the decoder's own wording of its last error, when it has one

    // Stores a code reported by `from` in `result`, then checks it
    void check(int code, Library from, const char* text = nullptr);
};

extern Audio audio;
