// Output: temporary names beside the final ones, so that a rename, atomic within a folder,
// puts each file in place. Pictures are numbered from 0, frame k of the capture in file k.
#include "capture/output.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

extern "C" {
#include <libavformat/avformat.h>
}

#include "capture/failure.h"

// Writing would replace a device, a pipe or a folder with a file: refused before anything is
// written. An absent name is fine, and one that cannot be reached fails at the reservation.
static void checkTarget(const std::string& path)
{
    struct stat status;
    if (stat(path.c_str(), &status) != 0) return;
    if (S_ISDIR(status.st_mode)) fail("cannot write " + path + ": a directory");
    if (!S_ISREG(status.st_mode)) fail("cannot write " + path + ": not a regular file");
}

// A writable copy of a mkstemp or mkdtemp template
static std::vector<char> temporaryName(const std::string& prefix)
{
    std::string text = prefix + ".partXXXXXX";
    std::vector<char> name(text.begin(), text.end());
    name.push_back('\0');
    return name;
}

Output::Output(const std::string& name, Format format, long long frames) : name(name), format(format), frames(frames)
{
    if (format == Format::Png)
        reserveFolder();
    else
        reserveFile();
}

std::string Output::picture(const std::string& pattern, long long k)
{
    char name[PATH_MAX];
    if (av_get_frame_filename(name, sizeof(name), pattern.c_str(), static_cast<int>(k)) < 0)
        fail("cannot number the pictures of " + pattern);
    return name;
}

void Output::reserveFile()
{
    checkTarget(name);
    // A link keeps pointing where it did: the file it names is the one replaced.
    char resolved[PATH_MAX];
    if (realpath(name.c_str(), resolved)) name = resolved;
    std::vector<char> temporary = temporaryName(name);
    int file = mkstemp(temporary.data());
    if (file < 0) fail("cannot write " + name + ": " + strerror(errno));
    // mkstemp makes the file private; the video gets the permissions any new file gets.
    mode_t mask = umask(0);
    umask(mask);
    fchmod(file, 0666 & ~mask);
    close(file);
    partial = video = sound = temporary.data();
    holdPartial(partial);
}

// The pictures and their WAV go into a temporary folder beside them; the WAV is named after
// the pattern's text before the number ("shots/demo_%04d.png" gives "shots/demo.wav"), or
// "soundtrack.wav" when there is none
void Output::reserveFolder()
{
    size_t slash = name.rfind('/');
    std::string directory = slash == std::string::npos ? "." : name.substr(0, slash);
    std::string base = slash == std::string::npos ? name : name.substr(slash + 1);
    std::string stem = base.substr(0, base.find('%'));
    stem.erase(stem.find_last_not_of("_-. ") + 1);
    if (stem.empty()) stem = "soundtrack";
    soundName = directory + "/" + stem + ".wav";
    for (long long k = 0; k < frames; k++) checkTarget(picture(name, k));
    checkTarget(soundName);

    std::vector<char> temporary = temporaryName(directory + "/" + stem);
    if (!mkdtemp(temporary.data())) fail("cannot write " + name + ": " + strerror(errno));
    partial = folder = temporary.data();
    holdPartial(partial);
    video = folder + "/" + base;
    sound = folder + "/" + stem + ".wav";
}

// Renames `from` to `to`, or fails naming the final name
static void move(const std::string& from, const std::string& to)
{
    if (std::rename(from.c_str(), to.c_str()) != 0) fail("cannot write " + to + ": " + strerror(errno));
}

void Output::commit()
{
    if (format == Format::Png) {
        for (long long k = 0; k < frames; k++) move(picture(video, k), picture(name, k));
        move(sound, soundName);
        rmdir(folder.c_str());
    } else {
        move(partial, name);
    }
    releasePartial();
}
