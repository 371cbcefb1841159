// The scenes as a viewer sees them: the real program on fixture pictures of plain, distinct
// colours laid out in bands, so a pixel tells which picture was drawn, and where.
//
// Each picture is taken at an exact music position. The scene under test is scheduled for one
// millisecond only, [t, t + 1): paused, the scene keys move the music onto t exactly; resumed,
// the track holds t until its output catches up (tens of ms), long enough for the first frame;
// every later frame finds nothing scheduled and leaves the picture alone. Paused again, the
// program's screenshot reads what was drawn at t. A picture unchanged since the last one
// means the first frame came too late, and the moment is tried again.
#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <filesystem>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/support/fixture.h"
#include "tests/support/program.h"

using fixture::Directory;
using fixture::Rgba;
using program::Bitmap;
using program::Program;

namespace {

// The 2D scenes are drawn lit (the 3D scene's initialisation switches lighting on for all), so
// colours come out scaled: a pixel is matched by the direction of its colour, not its value.
struct Paint {
    const char* name;
    Rgba colour;
};

const Rgba clear = {0, 0, 0, 0};
const Paint red = {"red", {255, 0, 0, 255}};
const Paint green = {"green", {0, 255, 0, 255}};
const Paint blue = {"blue", {0, 0, 255, 255}};
const Paint yellow = {"yellow", {255, 255, 0, 255}};
const Paint cyan = {"cyan", {0, 255, 255, 255}};
const Paint magenta = {"magenta", {255, 0, 255, 255}};
const Paint orange = {"orange", {255, 128, 0, 255}};
const Paint violet = {"violet", {128, 0, 255, 255}};
const Paint azure = {"azure", {0, 128, 255, 255}};
const Paint lime = {"lime", {128, 255, 0, 255}};
const Paint rose = {"rose", {255, 0, 128, 255}};
const Paint spring = {"spring", {0, 255, 128, 255}};
const Paint palette[] = {red, green, blue, yellow, cyan, magenta, orange, violet, azure, lime, rose, spring};

// The paint whose colour points the same way as the pixel's, "black" for an unlit pixel, and
// the raw values when nothing matches (a blend of two pictures, an overlay line)
std::string paintAt(const Bitmap& picture, int x, int y)
{
    Rgba pixel = picture.at(x, y);
    double length = std::sqrt(double(pixel.r) * pixel.r + double(pixel.g) * pixel.g + double(pixel.b) * pixel.b);
    if (length < 40) return "black";
    for (const Paint& paint : palette) {
        const Rgba& c = paint.colour;
        double dot = double(pixel.r) * c.r + double(pixel.g) * c.g + double(pixel.b) * c.b;
        double norm = std::sqrt(double(c.r) * c.r + double(c.g) * c.g + double(c.b) * c.b);
        if (dot / (length * norm) > 0.985) return paint.name;
    }
    return "(" + std::to_string(pixel.r) + "," + std::to_string(pixel.g) + "," + std::to_string(pixel.b) + ")";
}

// The first row from `from` down to `to` in column x showing `paint`, or -1
int firstRow(const Bitmap& picture, int x, int from, int to, const Paint& paint)
{
    for (int y = from; y <= to; y++)
        if (paintAt(picture, x, y) == paint.name) return y;
    return -1;
}

// Rows of the debug time bar, drawn over every paused picture: never compared
bool underTimeBar(int y) { return y >= 515 && y <= 565; }

bool samePicture(const Bitmap& a, const Bitmap& b)
{
    if (a.width != b.width || a.height != b.height) return false;
    for (int y = 0; y < a.height; y++) {
        if (underTimeBar(y)) continue;
        for (int x = 0; x < a.width; x++) {
            Rgba p = a.at(x, y), q = b.at(x, y);
            if (p.r != q.r || p.g != q.g || p.b != q.b) return false;
        }
    }
    return true;
}

// A picture as tall as the 800 x 600 window, one texture row per screen row: `paint` in rows
// [top, bottom) and in columns [left, right) of eight, transparent elsewhere
void writeBand(const Directory& directory, const std::string& texture, const Paint& paint, int top, int bottom,
               int left = 0, int right = 8)
{
    fixture::writeRgbaPng(directory.file("data/textures/" + texture), 8, 600, [&](int x, int y) {
        return y >= top && y < bottom && x >= left && x < right ? paint.colour : clear;
    });
}

void writeSolid(const Directory& directory, const std::string& texture, const Paint& paint)
{
    writeBand(directory, texture, paint, 0, 600);
}

// Debug on (the steering waits on the log), a 4:3 viewport filling the window, the 150 s track
void prepare(const Directory& directory, const std::string& schedule)
{
    directory.config({{"ASPECTRATIO", "\"4:3\""}, {"MUSIC", "\"long.wav\""}});
    directory.schedule(schedule);
}

// One schedule entry for the millisecond `ms`
std::string moment(const char* scene, int ms)
{
    return "addSceneToTimeline('" + std::string(scene) + "', " + std::to_string(ms) + ", " + std::to_string(ms + 1) +
           ")\n";
}

// The demo, steered by keys to exact music positions
class Rehearsal {
public:
    explicit Rehearsal(const Directory& directory) : program(directory)
    {
        program.start();
        running = program.waitUntilRunning();
    }

    bool started() const { return running; }

    // Pauses the demo and takes its first picture, the one the next must differ from
    bool pause()
    {
        int paused = count("Demo: Paused!");
        program.key("space");
        if (!waitForMore("Demo: Paused!", paused)) return false;
        return photograph(last);
    }

    // Lets the demo run until the frame-rate counter has logged `lines` more lines (a second
    // of frames each), then pauses it again; returns the new picture
    Bitmap play(int lines)
    {
        int plots = count(" - Plot ");
        int resumed = count("Demo: Running!");
        program.key("space");
        EXPECT_TRUE(waitForMore("Demo: Running!", resumed));
        EXPECT_TRUE(waitForMore(" - Plot ", plots + lines - 1, 30)) << "the demo stopped drawing";
        EXPECT_TRUE(pause());
        at = INT_MAX;
        return last;
    }

    // The picture drawn at `ms`, the start of a one-millisecond entry
    Bitmap frameAt(int ms)
    {
        // A loaded machine can miss the moment several times running; each retry is cheap.
        for (int attempt = 0; attempt < 20; attempt++) {
            if (!seek(ms)) break;
            int resumed = count("Demo: Running!");
            int paused = count("Demo: Paused!");
            // The second press waits until the first has been handled, so the frame that
            // resumed is drawn before the pause.
            program.key("space");
            if (!waitForMore("Demo: Running!", resumed)) break;
            program.key("space");
            if (!waitForMore("Demo: Paused!", paused)) break;

            Bitmap picture;
            if (!photograph(picture)) break;
            if (!samePicture(picture, last)) return last = picture;
            at = INT_MAX;  // the frame came late: go away and back again
        }
        ADD_FAILURE() << "the picture at " << ms << " ms never differed from the one before it";
        return last;
    }

    // Moves the paused music onto `ms`, the start of a schedule entry. With the entries in
    // time order and nothing drawn at other times, each press moves the director's entry
    // index by one, so pressing towards the target gets there.
    bool seek(int ms)
    {
        for (int presses = 0; presses < 12 && at != ms; presses++) {
            at = press(at < ms ? "Up" : "Down");
            if (at == INT_MIN) return false;
        }
        return at == ms;
    }

private:
    int count(const std::string& text) const { return program::countLines(program.log(), text); }

    // Waits until the log holds more than `before` lines with `text`
    bool waitForMore(const std::string& text, int before, double seconds = 15) const
    {
        for (int i = 0; i < seconds * 100; i++) {
            if (count(text) > before) return true;
            usleep(10000);
        }
        return false;
    }

    bool photograph(Bitmap& picture)
    {
        std::string path = program.screenshot();
        if (path.empty()) return false;
        picture = program::readBmp(path);
        std::filesystem::remove(path);  // a retake at the same position must make a new file
        return true;
    }

    // Presses a scene key; returns where it moved the music, INT_MAX when it refused to go
    // further up, INT_MIN when nothing was logged
    int press(const char* key)
    {
        static const char* const outcomes[] = {"Scene: new active scene is", "Scene: Starting first scene from beg!",
                                               "Scene: Error: Allready at last scene!"};
        auto outcomeCount = [&] {
            int n = 0;
            for (const char* outcome : outcomes) n += count(outcome);
            return n;
        };
        int before = outcomeCount();
        program.key(key);
        for (int i = 0; i < 1500 && outcomeCount() == before; i++) usleep(10000);

        std::string log = program.log();
        size_t line = log.rfind(" - Scene: ");
        if (line == std::string::npos) return INT_MIN;
        std::string last = log.substr(line, log.find('\n', line) - line);
        if (last.find(outcomes[1]) != std::string::npos) return 0;
        if (last.find(outcomes[2]) != std::string::npos) return INT_MAX;
        size_t time = last.find("time: ");
        return time == std::string::npos ? INT_MIN : std::stoi(last.substr(time + 6));
    }

    Program program;
    bool running = false;
    Bitmap last;        // the latest picture taken
    int at = INT_MAX;   // where the last scene key moved the music; unknown at first
};

}  // namespace

// Each layer is opaque in its own band of rows, so its presence shows at a known pixel; the
// arm's band also shows how far it has slid.
TEST(IntroScene, CardsLayersAndArmAtTheirMoments)
{
    Directory directory;
    writeSolid(directory, "logo_vek.png", red);
    writeSolid(directory, "logo_ka.png", green);
    writeSolid(directory, "title_brun.png", blue);
    writeSolid(directory, "intro_bg.png", yellow);
    writeBand(directory, "intro_fluer.png", cyan, 0, 100);
    writeBand(directory, "intro_hale.png", magenta, 100, 200);
    writeBand(directory, "intro_mann.png", orange, 200, 300);
    writeBand(directory, "intro_arm1.png", violet, 300, 400);
    writeBand(directory, "intro_arm2.png", azure, 300, 400);
    writeBand(directory, "intro_hest.png", lime, 400, 500);
    prepare(directory, moment("greets", 0) + moment("intro", 9999) + moment("intro", 10000) + moment("intro", 34000) +
                           moment("intro", 50000));

    Rehearsal rehearsal(directory);
    ASSERT_TRUE(rehearsal.started());
    ASSERT_TRUE(rehearsal.pause());

    auto expectLayers = [](const Bitmap& picture, int ms) {
        EXPECT_EQ(paintAt(picture, 400, 50), "cyan") << "flies at " << ms;
        EXPECT_EQ(paintAt(picture, 400, 150), "magenta") << "tail at " << ms;
        EXPECT_EQ(paintAt(picture, 400, 250), "orange") << "man at " << ms;
        EXPECT_EQ(paintAt(picture, 400, 450), "lime") << "horse at " << ms;
        EXPECT_EQ(paintAt(picture, 400, 505), "yellow") << "background at " << ms;
    };
    auto armBand = [](const Bitmap& picture) {
        std::vector<std::string> row;
        for (int x : {40, 400, 560, 760}) row.push_back(paintAt(picture, x, 350));
        return row;
    };
    const std::vector<std::string> noArm = {"yellow", "yellow", "yellow", "yellow"};

    // Visited so that each picture differs from the one before.
    Bitmap lull = rehearsal.frameAt(34000);
    expectLayers(lull, 34000);
    EXPECT_EQ(armBand(lull), noArm) << "between the last shake and the last slide-out";

    // The last millisecond before the card: the second arm, 60 % slid out to the right
    Bitmap beforeCard = rehearsal.frameAt(9999);
    expectLayers(beforeCard, 9999);
    EXPECT_EQ(armBand(beforeCard), std::vector<std::string>({"yellow", "yellow", "azure", "azure"}));

    Bitmap card = rehearsal.frameAt(10000);
    for (int y : {50, 150, 250, 350, 450, 505})
        for (int x : {40, 400, 760}) EXPECT_EQ(paintAt(card, x, y), "red") << "the card alone, at " << x << "," << y;

    Bitmap after = rehearsal.frameAt(50000);
    expectLayers(after, 50000);
    EXPECT_EQ(armBand(after), noArm) << "after the last span";
}

// The blade hangs in the left half, the head in the right half, each in a band 20 rows high;
// how far each has fallen is read from where its band is found below its rest rows.
TEST(GuillotineScene, BladeAndHeadDropOnlyInTheirSpans)
{
    const int bladeTop = 40, headTop = 200;
    Directory directory;
    writeSolid(directory, "guillotine.png", yellow);
    writeBand(directory, "guillotine_blad.png", blue, bladeTop, bladeTop + 20, 0, 4);
    writeBand(directory, "guillotine_head.png", red, headTop, headTop + 20, 4, 8);
    // The first entry runs from the start, so that the offsets grow with every frame drawn.
    prepare(directory, "addSceneToTimeline('guillotine', 0, 60000)\n" + moment("guillotine", 62500) +
                           moment("guillotine", 62900) + moment("guillotine", 63500) + moment("guillotine", 64500));

    Rehearsal rehearsal(directory);
    ASSERT_TRUE(rehearsal.started());
    ASSERT_TRUE(rehearsal.pause());
    // About two seconds of frames: both parts fall further than their height, not off screen.
    Bitmap rest = rehearsal.play(2);
    ASSERT_EQ(firstRow(rest, 200, 0, 510, blue), bladeTop) << "outside the spans the blade hangs at rest";
    ASSERT_EQ(firstRow(rest, 600, 0, 510, red), headTop) << "outside the spans the head sits at rest";

    auto blade = [&](const Bitmap& picture) { return firstRow(picture, 200, 0, 510, blue) - bladeTop; };
    auto head = [&](const Bitmap& picture) { return firstRow(picture, 600, 0, 510, red) - headTop; };

    Bitmap bladeOnly = rehearsal.frameAt(62500);
    EXPECT_GT(blade(bladeOnly), 20) << "the blade drops at 62000";
    EXPECT_EQ(head(bladeOnly), 0) << "the head waits until 62800";

    Bitmap both = rehearsal.frameAt(62900);
    int bladeDrop = blade(both), headDrop = head(both);
    EXPECT_GT(bladeDrop, 20);
    EXPECT_GT(headDrop, 10);
    EXPECT_NEAR(2 * headDrop, bladeDrop, 3) << "the blade falls twice as fast as the head";

    Bitmap headOnly = rehearsal.frameAt(63500);
    EXPECT_EQ(blade(headOnly), 0) << "the blade is back after 63000";
    EXPECT_NEAR(2 * head(headOnly), bladeDrop, 8) << "the head keeps falling, a frame or two further";

    Bitmap neither = rehearsal.frameAt(64500);
    EXPECT_EQ(blade(neither), 0);
    EXPECT_EQ(head(neither), 0) << "the head is back after 64000";
}

// The rider is a band 40 rows high at rest; the bob lifts it by a fraction of the screen.
TEST(RiderScene, BobStepsEveryHundredAndFiftyMilliseconds)
{
    const int riderTop = 280;
    Directory directory;
    writeSolid(directory, "bg.png", yellow);
    for (const char* layer : {"scroll1.png", "scroll2.png", "scroll3.png"}) writeBand(directory, layer, red, 0, 0);
    writeBand(directory, "ri_hest_ri0.png", blue, riderTop, riderTop + 40);
    writeBand(directory, "ri_hest_ri1.png", blue, riderTop, riderTop + 40);
    prepare(directory, moment("riderideranke", 0) + moment("riderideranke", 150) + moment("riderideranke", 450));

    Rehearsal rehearsal(directory);
    ASSERT_TRUE(rehearsal.started());
    ASSERT_TRUE(rehearsal.pause());

    // Raised by sin(k + pi/2) / 5 + 0.1 of the 600 rows, k = ms / 150
    auto top = [&](int ms) { return firstRow(rehearsal.frameAt(ms), 400, 0, 510, blue); };
    EXPECT_NEAR(top(150), riderTop - 0.20806 * 600, 1.5) << "k = 1";
    EXPECT_NEAR(top(0), riderTop - 0.3 * 600, 1.5) << "k = 0: the highest";
    EXPECT_NEAR(top(450), riderTop + 0.09800 * 600, 1.5) << "k = 3: below the rest position";
}

// The credits picture is two screens tall in eight bands of 150 rows, one colour each; which
// band starts where on screen tells how far the picture has scrolled.
TEST(CreditsScene, ScrollHeightFollowsTheMusicAndGreetsLeavesThePicture)
{
    const Paint bands[] = {red, green, blue, yellow, cyan, magenta, orange, violet};
    Directory directory;
    fixture::writeRgbaPng(directory.file("data/textures/credits.png"), 8, 1200,
                          [&](int, int y) { return bands[y / 150].colour; });
    prepare(directory, moment("greets", 0) + moment("credits", 3000) + moment("credits", 7000) +
                           moment("credits", 12000) + "addSceneToTimeline('greets', 20000, 60000)\n");

    Rehearsal rehearsal(directory);
    ASSERT_TRUE(rehearsal.started());
    ASSERT_TRUE(rehearsal.pause());

    // The scroll as a fraction of the screen: the first band boundary below the top row, at
    // screen row r between bands j - 1 and j, puts picture row 150 j at r.
    auto scroll = [&](const Bitmap& picture) {
        std::string top = paintAt(picture, 400, 0);
        for (int y = 1; y < 510; y++) {
            std::string here = paintAt(picture, 400, y);
            if (here == top) continue;
            for (int j = 0; j < 8; j++)
                if (here == bands[j].name) return (150.0 * j - y) / 600;
            break;
        }
        return -1.0;
    };

    EXPECT_NEAR(scroll(rehearsal.frameAt(3000)), 0.0, 0.004) << "before 4000 ms: the upper half";
    EXPECT_NEAR(scroll(rehearsal.frameAt(7000)), 0.5, 0.004) << "half-way through 4000 to 10000 ms";
    Bitmap end = rehearsal.frameAt(12000);
    EXPECT_NEAR(scroll(end), 1.0, 0.004) << "after 10000 ms: the lower half";

    // A second of frames with only the greets scheduled
    ASSERT_TRUE(rehearsal.seek(20000));
    Bitmap greeted = rehearsal.play(2);
    EXPECT_TRUE(samePicture(greeted, end)) << "the greets scene draws nothing and clears nothing";
}
