// Output: the names a capture writes and the temporary ones it writes under until it is done.
// A video is one file; a picture sequence is one file per frame and a WAV beside them. Each
// is made under a temporary name beside its final one and moved into place only when complete.
// Depends on the failure module, which removes the temporary output on any other end.
#pragma once

#include <string>

#include "capture/options.h"

class Output {
public:
    std::string video;  // where the encoder writes the pictures: a file, or a numbered pattern
    std::string sound;  // where it writes the sound: the same file, or a WAV

    // Refuses names that exist and are not regular files (devices, pipes, folders), and
    // reserves the temporary output beside the final one; `frames` is the picture count
    Output(const std::string& name, Format format, long long frames);

    // Moves the complete output to its names, replacing older files of those names
    void commit();

private:
    std::string name, partial, folder, soundName;
    Format format;
    long long frames;

    // The name of picture k of a pattern
    static std::string picture(const std::string& pattern, long long k);
    void reserveFile();
    void reserveFolder();
};
