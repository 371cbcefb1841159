// Reload on save, in process: the watcher driven by a clock the test holds, the staged reading
// with files rewritten from inside it, and the schedule's sandbox and its limits. Each case works
// in a copy of the fixture's data/ of its own.
#include <gtest/gtest.h>

#include <GL/gl.h>
#include <sys/stat.h>

#include <filesystem>

#include "framework/demo.h"
#include "framework/music.h"
#include "framework/script.h"
#include "framework/stage.h"
#include "framework/texturemanager.h"
#include "framework/timeline.h"
#include "framework/timer.h"
#include "framework/watcher.h"
#include "scenes/show.h"
#include "tests/support/drawing.h"

namespace fs = std::filesystem;

using drawing::Burst;
using drawing::settled;

namespace {

// With the show loaded, and the stage's hook let go after each case
class InACopy : public drawing::InACopy {
protected:
    static void SetUpTestSuite()
    {
        if (demo.scenes.empty()) loadShow();
    }
    void TearDown() override
    {
        stage.between = nullptr;
        drawing::InACopy::TearDown();
    }
};

using WatchedSaves = InACopy;

// The watcher reads inotify on each call and reckons time only from what it is given: a burst
// ends a quarter second after its last change, however the saves were spaced.
TEST_F(WatchedSaves, ABurstIsHandedOverAQuarterSecondAfterItsLastChangeUnderItsFirstFile)
{
    Watcher watcher;
    watcher.start();
    copy.write("data/demo.lua.swp", "an editor's own file");  // never counts
    EXPECT_EQ(watcher.update(2000), Burst{});

    copy.schedule("addSceneToTimeline(\"credits\", 0, 1000)\n");
    EXPECT_EQ(watcher.update(3000), Burst{});
    copy.write("data/textures/new.png.tmp", "x");
    fs::rename(copy.file("data/textures/new.png.tmp"), copy.file("data/textures/new.png"));
    copy.write("data/config.lua", copy.read("data/config.lua"));
    EXPECT_EQ(watcher.update(3200), Burst{}) << "a second save within the quarter second extends the burst";
    EXPECT_EQ(watcher.update(3449), Burst{});
    EXPECT_EQ(watcher.update(3450), (Burst{{Signal::Data, "data/demo.lua"}, {Signal::Settings, "data/config.lua"}}));
    EXPECT_EQ(watcher.update(9000), Burst{}) << "handed over once";

    copy.remove("data/textures/new.png");
    EXPECT_EQ(settled(watcher, 10000), (Burst{{Signal::Data, "data/textures/new.png"}})) << "a removal";
    ASSERT_EQ(mkfifo(copy.file("data/textures/pipe.png").c_str(), 0644), 0);
    EXPECT_EQ(settled(watcher, 11000), (Burst{{Signal::Data, "data/textures/pipe.png"}})) << "nothing more to come";
}

// A checkout replaces folders; a picture may be a link to a file elsewhere. Both keep counting.
TEST_F(WatchedSaves, FoldersReplacedAndFilesLinkedToKeepCounting)
{
    drawing::LogCapture log;
    Watcher watcher;
    watcher.start();
    fs::create_directories(copy.file("art"));
    copy.write("art/real.png", "x");
    fs::create_symlink(copy.file("art/real.png"), copy.file("data/textures/linked.png"));
    EXPECT_EQ(settled(watcher, 0), (Burst{{Signal::Data, "data/textures/linked.png"}}));
    copy.write("art/real.png", "y");
    EXPECT_EQ(settled(watcher, 1000), (Burst{{Signal::Data, "data/textures/linked.png"}})) << "the target saved";

    fs::rename(copy.file("data/shaders"), copy.file("old"));
    fs::copy(copy.file("old"), copy.file("data/shaders"));
    EXPECT_EQ(settled(watcher, 2000), (Burst{{Signal::Data, "data/shaders/"}}));
    EXPECT_EQ(log.lines().back(), "Watcher: data/shaders/ was replaced, watching it again");
    copy.write("old/plain.frag", "not watched any more");
    copy.write("data/shaders/plain.frag", "watched again");
    EXPECT_EQ(settled(watcher, 3000), (Burst{{Signal::Data, "data/shaders/plain.frag"}}));

    fs::remove_all(copy.file("data"));
    fs::create_directories(copy.file("data"));
    fs::copy(copy.file("old"), copy.file("data/shaders"));
    watcher.update(4000);
    EXPECT_EQ(watcher.update(4250).count(Signal::Data), 1u);
    copy.write("data/shaders/plain.vert", "watched again, two folders down");
    EXPECT_EQ(settled(watcher, 5000), (Burst{{Signal::Data, "data/shaders/plain.vert"}}));

    // The sync tracks' folders come with the editor's first save, and are watched from then on.
    copy.write("data/sync/track_cam/zoom.track", "");
    EXPECT_EQ(settled(watcher, 6000), (Burst{{Signal::Tracks, "data/sync/"}}));
    copy.write("data/sync/track_cam/zoom.track", "");
    EXPECT_EQ(settled(watcher, 7000), (Burst{{Signal::Tracks, "data/sync/track_cam/zoom.track"}}));
}

// The red of the first texel of a picture as the show has it uploaded.
int uploadedRed(const std::string& name)
{
    glBindTexture(GL_TEXTURE_2D, texturemanager.getID(name));
    GLint width = 0, height = 0;
    glGetTexLevelParameteriv(GL_TEXTURE_2D, 0, GL_TEXTURE_WIDTH, &width);
    glGetTexLevelParameteriv(GL_TEXTURE_2D, 0, GL_TEXTURE_HEIGHT, &height);
    std::vector<uint8_t> texels(static_cast<size_t>(width) * height * 4);
    glGetTexImage(GL_TEXTURE_2D, 0, GL_RGBA, GL_UNSIGNED_BYTE, texels.data());
    return texels[0];
}

std::string described(const Timeline& entry)
{
    return entry.name + " " + std::to_string(entry.start) + "-" + std::to_string(entry.end);
}

std::vector<std::string> scheduled()
{
    std::vector<std::string> entries;
    for (Timeline* entry : timeLine.entries) entries.push_back(described(*entry));
    return entries;
}

using ReloadOnSave = InACopy;

// One reading, so the set that goes live is the set that was read: files rewritten from inside the
// reading (the stage's hook between two files) go live as they were read, never as a mixture.
TEST_F(ReloadOnSave, SwapsInWhatItReadWhateverIsSavedDuringTheReading)
{
    const auto read = std::pair(std::vector<std::string>{"credits 0-5000"}, 220);
    copy.schedule("addSceneToTimeline(\"credits\", 0, 5000)\n");
    int files = 0;
    stage.between = [&] {
        if (++files == 1) {  // the schedule is read, the pictures are not
            copy.schedule("addSceneToTimeline(\"credits\", 0 5000)\n");
            fixture::writeSolidPng(copy.file("data/textures/credits.png"), 4, 4, {220, 20, 20, 255});
        }
        return true;
    };
    ASSERT_TRUE(demo.reloadSaved("data/demo.lua"));
    EXPECT_EQ(std::pair(scheduled(), uploadedRed("credits.png")), read) << "the schedule before, the picture after";

    // A picture spoilt during the reading, before it is read, is refused with the rest.
    copy.schedule("addSceneToTimeline(\"greets\", 0, 5000)\n");
    files = 0;
    stage.between = [&] {
        if (++files == 1) copy.write("data/textures/credits.png", "not a picture");
        return true;
    };
    EXPECT_FALSE(demo.reloadSaved("data/demo.lua"));
    EXPECT_EQ(std::pair(scheduled(), uploadedRed("credits.png")), read);
}

// Shift + Backspace reads everything again and goes on where the music was, however long that took.
TEST_F(ReloadOnSave, TheReloadKeyGoesOnFromTheMusicPosition)
{
    timer.start();
    music.setPosition(40000);
    demo.reload();
    EXPECT_GE(music.getPosition(), 40000);
    EXPECT_LT(music.getPosition(), 45000) << "not from the start";
}

// A reload on save lets go of what it no longer has (a picture renamed twenty times must not
// stay twenty times in memory) and keeps the GL names of what it keeps (the flip-book holds them).
TEST_F(ReloadOnSave, PicturesGoneLoseTheirGLNamesAndPicturesKeptKeepThem)
{
    fixture::writeSolidPng(copy.file("data/textures/spare.png"), 4, 4, {1, 2, 3, 255});
    ASSERT_TRUE(demo.reloadSaved("data/textures/spare.png"));
    unsigned int spare = texturemanager.getID("spare.png"), kept = texturemanager.getID("ri_hest_ri0.png");
    fs::rename(copy.file("data/textures/spare.png"), copy.file("data/textures/renamed.png"));
    ASSERT_TRUE(demo.reloadSaved("data/textures/renamed.png"));
    EXPECT_EQ(texturemanager.textures.count("spare.png"), 0u);
    EXPECT_FALSE(glIsTexture(spare)) << "the GL name of the picture gone";
    EXPECT_EQ(texturemanager.getID("ri_hest_ri0.png"), kept);

    // Gone pictures are refused where the show needs them: those an init binds whatever the
    // schedule, those a scene binds while drawing when the schedule shows it.
    copy.remove("data/textures/intro_bg.png");
    copy.schedule("addSceneToTimeline('credits', 0, 150000)\n");
    EXPECT_EQ(stage.read().reason(), "");
    copy.remove("data/textures/ri_hest_ri0.png");
    EXPECT_EQ(stage.read().reason(), "Texture manager: Error! data/textures/ri_hest_ri0.png does not exist, and the "
                                     "riderideranke scene binds it!");
}

using Sandbox = InACopy;

TEST_F(Sandbox, ScheduleReadForAReloadReachesNoSystemAndStopsAtItsLimits)
{
    std::vector<std::pair<std::string, std::string>> refused = {
        {"pcall(function() while true do end end)\naddSceneToTimeline('credits', 0, 1)",
         "1: stopped at the limit of 100000000 instructions"},
        {"for i = 1, 1e9 do addSceneToTimeline('credits', i, i) end", " stopped at the limit of 256 MB of memory"}};
    for (std::string name : {"os", "io", "require", "dofile", "loadfile", "load", "loadstring", "newproxy"})
        refused.push_back({name + "()", "1: attempt to call global '" + name + "' (a nil value)"});
    for (const auto& [lua, message] : refused) {
        copy.schedule(lua);
        std::vector<Timeline> entries;
        EXPECT_EQ(script.stage("data/demo.lua", entries).reason(), "Script: Error! data/demo.lua:" + message) << lua;
        EXPECT_TRUE(entries.empty()) << lua;
    }

    // The settings are there to read, as they are for the schedule at start-up.
    copy.schedule("addSceneToTimeline('credits', 0, WIDTH)\naddSceneToTimeline(TITLE and 'greets', '7', 8.9)");
    std::vector<Timeline> entries;
    EXPECT_EQ(script.stage("data/demo.lua", entries).reason(), "");
    ASSERT_EQ(entries.size(), 2u);
    EXPECT_EQ(described(entries[0]) + ", " + described(entries[1]), "credits 0-800, greets 7-8");
}

}  // namespace
