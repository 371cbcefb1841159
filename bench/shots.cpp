// Screenshots of the real demo at chosen moments, and a contact sheet of them.
//
//   shots <data directory> <output directory>
//
// Runs the built demo on a copy of the data directory (debug off, null sound) on a private X
// server and steers it with the keys a person would use: Space to pause, Up and Down to the
// start of a schedule entry, Right to move on 5 s, then lets it play to the moment and pauses
// there. The program's own screenshot (named by its music position) is taken of each moment.
// Writes <ms>.png for every moment and screenshots.png, the sheet, into the output directory.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <stdexcept>
#include <regex>
#include <string>
#include <thread>
#include <vector>

#include "tests/support/fixture.h"
#include "tests/support/program.h"

namespace fs = std::filesystem;

namespace {

// A 24-bit BMP in memory, pixel (0, 0) at the top left
struct Bitmap {
    int width = 0, height = 0;
    std::vector<uint8_t> rgb;  // top row first, 3 bytes per pixel
    fixture::Rgba at(int x, int y) const;
};

// The .bmp files in the program's directory.
std::vector<std::string> screenshots(const std::string& root)
{
    std::vector<std::string> files;
    for (const fs::directory_entry& entry : fs::directory_iterator(root))
        if (entry.path().extension() == ".bmp") files.push_back(entry.path().string());
    return files;
}

uint32_t little(const std::string& bytes, size_t at)
{
    return static_cast<uint8_t>(bytes[at]) | static_cast<uint8_t>(bytes[at + 1]) << 8 |
           static_cast<uint8_t>(bytes[at + 2]) << 16 | static_cast<uint32_t>(static_cast<uint8_t>(bytes[at + 3])) << 24;
}

// True once the BMP at `path` holds as many bytes as its header declares. The writer leaves
// that size at 0 until the pixels are out, and fills it in last.
bool completeBmp(const std::string& path)
{
    std::string bytes = fixture::readFile(path);
    if (bytes.size() < 54 || bytes[0] != 'B' || bytes[1] != 'M') return false;
    uint32_t declared = little(bytes, 2);
    return declared >= 54 && bytes.size() >= declared;
}

// Presses s and returns the path of the screenshot the demo wrote, or "" after the wait
std::string screenshot(program::Program& program, const fixture::Directory& directory, double seconds = 10)
{
    std::vector<std::string> before = screenshots(directory.path());
    program.key("s");
    std::string made;
    // The writer may stall half-way under load: a file counts once it is as long as it says.
    program::waitFor(seconds, [&] {
        for (const std::string& file : screenshots(directory.path()))
            if (std::find(before.begin(), before.end(), file) == before.end() && completeBmp(file)) made = file;
        return !made.empty();
    });
    return made;
}

Bitmap readBmp(const std::string& path)
{
    std::string bytes = fixture::readFile(path);
    if (bytes.size() < 54 || bytes[0] != 'B' || bytes[1] != 'M') throw std::runtime_error(path + " is not a BMP");
    Bitmap bitmap;
    uint32_t offset = little(bytes, 10);
    bitmap.width = static_cast<int32_t>(little(bytes, 18));
    int32_t height = static_cast<int32_t>(little(bytes, 22));
    int bits = static_cast<uint8_t>(bytes[28]) | static_cast<uint8_t>(bytes[29]) << 8;
    if (bits != 24) throw std::runtime_error(path + " is not 24-bit");
    bool bottomUp = height > 0;
    bitmap.height = bottomUp ? height : -height;
    size_t pitch = (static_cast<size_t>(bitmap.width) * 3 + 3) & ~static_cast<size_t>(3);
    if (bytes.size() < offset + pitch * bitmap.height) throw std::runtime_error(path + " is truncated");
    bitmap.rgb.resize(static_cast<size_t>(bitmap.width) * bitmap.height * 3);
    for (int y = 0; y < bitmap.height; y++) {
        size_t row = offset + pitch * (bottomUp ? bitmap.height - 1 - y : y);
        for (int x = 0; x < bitmap.width; x++) {
            size_t from = row + x * 3;
            size_t to = (static_cast<size_t>(y) * bitmap.width + x) * 3;
            bitmap.rgb[to] = bytes[from + 2];  // stored blue, green, red
            bitmap.rgb[to + 1] = bytes[from + 1];
            bitmap.rgb[to + 2] = bytes[from];
        }
    }
    return bitmap;
}

fixture::Rgba Bitmap::at(int x, int y) const
{
    size_t i = (static_cast<size_t>(y) * width + x) * 3;
    return {rgb[i], rgb[i + 1], rgb[i + 2], 255};
}

// Moments worth a look: every card, the arm's moves, each scene, the blade and head drops
const int moments[] = {2500, 6000, 12000, 26000, 34000, 40000, 47000, 62500, 63500, 80000, 110000, 125000};

struct Entry {
    int start, end;
};

std::vector<Entry> readSchedule(const std::string& path)
{
    std::string text = fixture::readFile(path);
    std::regex call(R"(addSceneToTimeline\(\s*["'][a-z]+["']\s*,\s*(\d+)\s*,\s*(\d+)\s*\))");
    std::vector<Entry> entries;
    for (std::sregex_iterator it(text.begin(), text.end(), call), end; it != end; ++it)
        entries.push_back({std::stoi((*it)[1]), std::stoi((*it)[2])});
    return entries;
}

// The director's entry index after a frame at `ms`: the last entry active then
int activeIndex(const std::vector<Entry>& entries, int ms, int otherwise)
{
    int index = otherwise;
    for (size_t i = 0; i < entries.size(); i++)
        if (entries[i].start <= ms && ms < entries[i].end) index = static_cast<int>(i);
    return index;
}

// The entry with the latest start not after `ms`
int entryBefore(const std::vector<Entry>& entries, int ms)
{
    int best = 0;
    for (size_t i = 0; i < entries.size(); i++)
        if (entries[i].start <= ms && entries[i].start >= entries[best].start) best = static_cast<int>(i);
    return best;
}

class Showing {
public:
    Showing(const fixture::Directory& directory, std::vector<Entry> entries)
        : directory(directory), program(directory), entries(std::move(entries))
    {
        program.start();
        program.window();
        program.key("space");  // handled by the first frame
        position = shoot().second;
        current = activeIndex(this->entries, position, 0);
    }

    // The picture at `ms`: moved near it with the keys, then played up to it
    std::pair<Bitmap, int> at(int ms)
    {
        bool near = position <= ms && ms - position < 5000 && activeIndex(entries, position, -1) == activeIndex(entries, ms, -1);
        if (!near) {
            int entry = entryBefore(entries, ms);
            if (entry == current && entry > 0) press("Down", -1);
            while (current < entry) press("Up", 1);
            while (current > entry) press("Down", -1);
            if (entry == 0) press("Down", 0);  // from the first entry, Down starts the music over
            position = entries[entry].start;
            for (int step = 0; step + 5000 <= ms - entries[entry].start; step += 5000) {
                program.key("Right");
                position += 5000;
            }
            int reached = shoot().second;  // also waits until the keys have been handled
            if (reached != position) fprintf(stderr, "shots: expected %d ms, at %d ms\n", position, reached);
            position = reached;
        }
        program.key("space");
        std::this_thread::sleep_for(std::chrono::milliseconds(ms - position));
        program.key("space");
        std::pair<Bitmap, int> shot = shoot();
        position = shot.second;
        current = activeIndex(entries, position, current);
        return shot;
    }

private:
    void press(const char* key, int step)
    {
        program.key(key);
        current += step;
    }

    std::pair<Bitmap, int> shoot()
    {
        std::string path = screenshot(program, directory);
        if (path.empty()) throw std::runtime_error("the demo took no screenshot");
        Bitmap picture = readBmp(path);
        int ms = std::stoi(fs::path(path).stem().string());
        fs::remove(path);
        return {picture, ms};
    }

    const fixture::Directory& directory;
    program::Program program;
    std::vector<Entry> entries;
    int position = 0;
    int current = 0;
};

// 3 x 5 digits, one row of three bits per line, top line first
const unsigned char digits[10][5] = {{7, 5, 5, 5, 7}, {2, 6, 2, 2, 7}, {7, 1, 7, 4, 7}, {7, 1, 7, 1, 7}, {5, 5, 7, 1, 1},
                                     {7, 4, 7, 1, 7}, {7, 4, 7, 5, 7}, {7, 1, 1, 1, 1}, {7, 5, 7, 5, 7}, {7, 5, 7, 1, 7}};

struct Sheet {
    int width, height;
    std::vector<fixture::Rgba> pixels;

    Sheet(int width, int height) : width(width), height(height), pixels(size_t(width) * height, {24, 24, 24, 255}) {}

    void set(int x, int y, fixture::Rgba colour)
    {
        if (x >= 0 && y >= 0 && x < width && y < height) pixels[size_t(y) * width + x] = colour;
    }

    // The picture shrunk into w x h at (left, top), each pixel the mean of its source box
    void place(const Bitmap& picture, int left, int top, int w, int h)
    {
        for (int y = 0; y < h; y++)
            for (int x = 0; x < w; x++) {
                int x0 = x * picture.width / w, x1 = std::max(x0 + 1, (x + 1) * picture.width / w);
                int y0 = y * picture.height / h, y1 = std::max(y0 + 1, (y + 1) * picture.height / h);
                unsigned r = 0, g = 0, b = 0, n = 0;
                for (int sy = y0; sy < y1; sy++)
                    for (int sx = x0; sx < x1; sx++, n++) {
                        fixture::Rgba p = picture.at(sx, sy);
                        r += p.r, g += p.g, b += p.b;
                    }
                set(left + x, top + y, {uint8_t(r / n), uint8_t(g / n), uint8_t(b / n), 255});
            }
    }

    // A number in white three-times-size digits on a dark box
    void label(int number, int left, int top)
    {
        std::string text = std::to_string(number);
        int scale = 3, w = int(text.size()) * 4 * scale + scale, h = 7 * scale;
        for (int y = 0; y < h; y++)
            for (int x = 0; x < w; x++) set(left + x, top + y, {0, 0, 0, 255});
        for (size_t i = 0; i < text.size(); i++)
            for (int row = 0; row < 5; row++)
                for (int column = 0; column < 3; column++)
                    if (digits[text[i] - '0'][row] >> (2 - column) & 1)
                        for (int dy = 0; dy < scale; dy++)
                            for (int dx = 0; dx < scale; dx++)
                                set(left + scale + int(i) * 4 * scale + column * scale + dx, top + scale + row * scale + dy,
                                    {255, 255, 255, 255});
    }

    void write(const std::string& path) const
    {
        fixture::writeRgbaPng(path, width, height, [&](int x, int y) { return pixels[size_t(y) * width + x]; });
    }
};

void writePicture(const Bitmap& picture, const std::string& path)
{
    fixture::writeRgbaPng(path, picture.width, picture.height, [&](int x, int y) { return picture.at(x, y); });
}

}  // namespace

int main(int argc, char** argv)
{
    if (argc != 3) {
        fprintf(stderr, "usage: shots <data directory> <output directory>\n");
        return 1;
    }
    try {
        std::string data = argv[1], out = argv[2];
        fs::create_directories(out);
        fixture::Directory directory;
        directory.remove("data");
        fs::copy(data, directory.file("data"), fs::copy_options::recursive);
        // Later assignments win: the showing's own settings, without debug and sound
        directory.write("data/config.lua", directory.read("data/config.lua") + "\nDEBUG = false\nAUDIO = \"nosound\"\n");

        Showing showing(directory, readSchedule(directory.file("data/demo.lua")));
        const int columns = 4, thumbWidth = 320, gap = 8;
        const int count = sizeof(moments) / sizeof(moments[0]), rows = (count + columns - 1) / columns;
        std::vector<std::pair<Bitmap, int>> shots;
        for (int ms : moments) {
            shots.push_back(showing.at(ms));
            writePicture(shots.back().first, out + "/" + std::to_string(ms) + ".png");
            printf("shots: %d ms wanted, taken at %d ms\n", ms, shots.back().second);
        }

        int thumbHeight = thumbWidth * shots[0].first.height / shots[0].first.width;
        Sheet sheet(columns * (thumbWidth + gap) + gap, rows * (thumbHeight + gap) + gap);
        for (int i = 0; i < count; i++) {
            int left = gap + (i % columns) * (thumbWidth + gap), top = gap + (i / columns) * (thumbHeight + gap);
            sheet.place(shots[i].first, left, top, thumbWidth, thumbHeight);
            sheet.label(shots[i].second, left + 4, top + 4);
        }
        sheet.write(out + "/screenshots.png");
    } catch (const std::exception& error) {
        fprintf(stderr, "shots: %s\n", error.what());
        return 1;
    }
    return 0;
}
