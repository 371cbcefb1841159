// contentgen: draws the demo's pictures and synthesises its soundtrack.
//
//   contentgen DATA_DIR [--sheet FILE]
//
// Writes DATA_DIR/textures/*.png and DATA_DIR/audio/soundtrack.ogg; with --sheet it also writes
// a contact sheet of all pictures. Each file is written under a temporary name and renamed
// into place, so a build running alongside never reads half a file.
#include "fail.h"
#include "pictures.h"
#include "pngfile.h"
#include "sheet.h"
#include "soundtrack.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <string>

static void makeDirectory(const std::string& path)
{
    if (mkdir(path.c_str(), 0755) != 0 && errno != EEXIST) fail("cannot create " + path);
}

// Runs `write` on a temporary name beside `path`, then renames the result into place.
template <typename Writer>
static void writeAtomically(const std::string& path, Writer write)
{
    const std::string temporary = path + ".tmp" + std::to_string(getpid());
    write(temporary);
    if (std::rename(temporary.c_str(), path.c_str()) != 0) fail("cannot rename " + temporary + " to " + path);
}

int main(int argc, char** argv)
{
    std::string sheetPath;
    if (argc == 4 && std::strcmp(argv[2], "--sheet") == 0) sheetPath = argv[3];
    else if (argc != 2) fail("usage: contentgen DATA_DIR [--sheet FILE]");
    const std::string data = argv[1];
    makeDirectory(data);
    makeDirectory(data + "/textures");
    makeDirectory(data + "/audio");

    std::vector<Thumbnail> thumbnails;
    for (const Picture& picture : pictures()) {
        auto canvas = std::make_unique<Canvas>(picture.width, picture.height);
        picture.draw(*canvas);
        writeAtomically(data + "/textures/" + picture.file, [&](const std::string& path) {
            writePng(path, canvas->width(), canvas->height(), canvas->rgba());
        });
        if (!sheetPath.empty()) thumbnails.push_back({picture.file, std::move(canvas)});
    }
    if (!sheetPath.empty()) writeContactSheet(sheetPath, std::move(thumbnails));

    writeAtomically(data + "/audio/soundtrack.ogg", writeSoundtrack);
    return 0;
}
