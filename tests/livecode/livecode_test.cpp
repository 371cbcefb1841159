// Live scene code: the real demo rehearsing the credits while its scene sources are saved, seen
// through the window, the title and the log. It rebuilds the tests' own copy of the sources
// (LIVECODE_DIR, made by the `livecode_module` fixture), named in DEMO_SCENES and DEMO_SCENES_BUILD.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <csignal>
#include <filesystem>
#include <regex>
#include <thread>

#include "tests/support/fixture.h"
#include "tests/support/program.h"

namespace fs = std::filesystem;

using program::waitFor;
using testing::HasSubstr;

namespace {

const std::string sources = std::string(LIVECODE_DIR) + "/scenes";
const std::string credits = sources + "/credits.cpp";
const std::string swapped = "Demo: Swapped in the rebuilt scenes at ";

// The credits' picture, scrolling from white to navy, and the red one the tests draw in its place
const std::string scroll = "bindTexture(\"credits.png\");";
const std::string red = "bindTexture(\"logo_vek.png\");";

// The credits' source with `from` replaced by `to`, saved as an editor saves it
void save(const std::string& from, const std::string& to)
{
    std::string text = fixture::readFile(credits);
    size_t at = text.find(from);
    ASSERT_NE(at, std::string::npos) << from;
    fixture::writeFile(credits, text.replace(at, from.size(), to));
}

class Rehearsal : public testing::Test {
protected:
    void SetUp() override
    {
        directory.schedule("addSceneToTimeline(\"credits\", 0, 150000)\n");
        demo.environment("DEMO_SCENES", sources);
        demo.environment("DEMO_SCENES_BUILD", std::string(LIVECODE_DIR) + "/build");
    }
    void TearDown() override
    {
        demo.wait(0);  // a case stopped by a failure leaves it rebuilding: ended before the sources go back
        fixture::writeFile(credits, original);
        fixture::writeFile(sources + "/CMakeLists.txt", lists);
        for (const char* added : {"/.#credits.cpp", "/fault.h"}) fs::remove(sources + added);
    }

    const std::string original = fixture::readFile(credits), lists = fixture::readFile(sources + "/CMakeLists.txt");
    fixture::Directory directory;
    program::Program demo{directory};
};

TEST_F(Rehearsal, SavedSceneShowsAndACompileErrorKeepsTheOldOneUntilFixed)
{
    demo.start();
    ASSERT_TRUE(demo.waitForLog("Livecode: Rebuilding the scenes on every save in " + sources + "\n", 20));
    ASSERT_TRUE(demo.shows("wb", 10));

    fs::create_symlink("someone@host.1234:1", sources + "/.#credits.cpp");  // an editor's lock
    save(scroll, red);
    ASSERT_TRUE(demo.waitForLog(swapped, 60)) << "the lock is no source";
    EXPECT_TRUE(demo.shows("r")) << "the new colour is drawn";
    std::string log = demo.log();
    EXPECT_THAT(log, HasSubstr("Livecode: " + credits + " changed, rebuilding the scenes\n"));
    EXPECT_TRUE(std::regex_search(log, std::regex(R"(Livecode: Built in \d+\.\d\d s\n)")));
    EXPECT_EQ(program::occurrences(log, ".#credits.cpp"), 0) << "the lock started no build";

    save(red, "bindTexture(\"logo_vek.png\") ??");
    ASSERT_TRUE(demo.waitForLog("Livecode: Build failed after ", 60));
    EXPECT_TRUE(demo.waitForTitle(" - scenes/credits.cpp:")) << demo.title();
    EXPECT_THAT(demo.title(), HasSubstr("error"));
    EXPECT_THAT(demo.log(), HasSubstr("Livecode: " + credits + ":")) << "the compiler's whole output";
    EXPECT_TRUE(demo.shows("r", 0)) << "the running scenes play on";

    demo.key("space");  // paused, errors show in the title all the same
    fixture::writeFile(sources + "/CMakeLists.txt", lists + "add_library(\n");
    EXPECT_TRUE(demo.waitForTitle(" - scenes/CMakeLists.txt:", 60)) << "CMake's own file and line: " << demo.title();
    fixture::writeFile(sources + "/CMakeLists.txt", lists);
    demo.key("space");

    // Declared and never defined: the module links, and its loading fails, naming the symbol as
    // the source does.
    fixture::writeFile(credits, original);
    save("Credits::~Credits() {}", "void undefinedHere();\nCredits::~Credits() { undefinedHere(); }");
    ASSERT_TRUE(demo.waitForLog("Livecode: Cannot load the rebuilt scenes: ", 60));
    EXPECT_TRUE(demo.waitForTitle("undefined symbol: undefinedHere()")) << demo.title();

    demo.key("space");  // paused, a good swap is drawn at once
    fixture::writeFile(credits, original);
    ASSERT_TRUE(waitFor(60, [&] { return program::occurrences(demo.log(), swapped) == 2; }));
    EXPECT_TRUE(demo.shows("wb")) << "drawn at once, paused as it is";
    EXPECT_EQ(demo.quit().status, 0);
}

// Every kind of fault a rebuilt scene can commit, each planted in turn in a module built once
// (faulty_credits.cpp). After each the scenes before it (the last good module, drawing red) play
// on, the title names the fault, and the save after it takes effect: the rows alternate, so that
// each fault is followed by a module that swaps in. At the end, SIGTERM during a freeze ends it.
TEST_F(Rehearsal, EveryFaultOfRebuiltScenesRollsBackToTheScenesBeforeAndTheNextSaveTakesEffect)
{
    const std::vector<std::pair<std::string, std::string>> faults = {
        {"load crash", "Cannot load the rebuilt scenes: module load: SIGSEGV (Segmentation fault)"},
        {"draw crash", "credits draw: SIGSEGV (Segmentation fault), rolled back"},
        {"load loop",
         "Cannot load the rebuilt scenes: a file-level constructor has not returned after 3 s (an endless loop?)"},
        {"draw overflow", "credits draw: stack overflow (SIGSEGV (Segmentation fault)), rolled back"},
        {"init throw", "credits init: threw std::runtime_error: planted, the running scenes play on"},
        {"draw throw", "credits draw: threw std::runtime_error: planted, rolled back"},
        {"init loop", "credits init: still running after 3 s (an endless loop?), the running scenes play on"},
        {"draw abort", "credits draw: abort() called, rolled back"},
        {"draw exit", "credits draw: exit(0) called, rolled back"},
        {"draw _exit", "credits draw: _exit(3) called, rolled back"},
        {"draw terminate", "credits draw: std::terminate called, rolled back"},
        {"draw picture", "credits draw: Texture manager: Trying to bind texture missing.png that does not exist!"},
        {"draw uniform", "credits draw: Shader: Cannot find uniform variable missing in shader., rolled back"},
        {"draw loop", "credits draw: still running after 3 s (an endless loop?), rolled back"},
        {"none", ""},
    };
    directory.write("fault", "none");
    // Plants `fault` and saves: the module loads again. False when it should swap in and does not
    auto plant = [&](const std::string& fault) {
        int swaps = program::occurrences(demo.log(), swapped);
        directory.write("fault", fault);
        fixture::writeFile(sources + "/fault.h", "// " + fault + "\n");
        bool swapsIn = fault.rfind("draw", 0) == 0 || fault == "none";
        return !swapsIn || waitFor(60, [&] { return program::occurrences(demo.log(), swapped) > swaps; });
    };
    demo.start();
    ASSERT_TRUE(demo.waitForLog("Livecode: Rebuilding the scenes on every save in ", 20));
    fixture::writeFile(credits, fixture::readFile(FAULTY_CREDITS));
    ASSERT_TRUE(demo.waitForLog(swapped, 90));
    ASSERT_TRUE(demo.shows("r"));

    for (const auto& [fault, said] : faults) {
        EXPECT_TRUE(plant(fault)) << fault << ": the save after the one before took effect";
        EXPECT_TRUE(demo.waitForTitle(" - " + said, 60)) << fault << ": " << demo.title();
        std::string log = demo.log();
        EXPECT_TRUE(waitFor(5, [&] { return demo.log().find("Plot ", log.size()) != std::string::npos; }))
            << fault << ": frames go on";
        EXPECT_TRUE(demo.shows("r", 0)) << fault << ": the scenes before play on";
    }
    EXPECT_TRUE(demo.waitForStatusAlone(0)) << "a good swap clears it: " << demo.title();

    std::vector<int> heard = program::musicPositions(demo.log());
    EXPECT_TRUE(std::is_sorted(heard.begin(), heard.end())) << "the music never goes back";
    EXPECT_EQ(program::occurrences(demo.log(), "Music: Start"), 1);

    // Frozen in an endless loop, SIGTERM ends it before the loop's bound has run out.
    ASSERT_TRUE(plant("draw loop"));
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    demo.send(SIGTERM);
    EXPECT_EQ(demo.wait(10).signal, SIGTERM);
    EXPECT_EQ(program::occurrences(demo.log(), "credits draw: still running"), 1) << "ended during the freeze";
}

// A showing watches nothing and builds nothing: the scenes and the pictures it started with
// play on. The keys' reload is as it was: a schedule that never ends ends the demo.
TEST_F(Rehearsal, AShowingWatchesAndBuildsNothing)
{
    directory.config({{"DEBUG", "false"}});
    const std::string module = std::string(LIVECODE_DIR) + "/build/scenes.so";
    const auto built = fs::last_write_time(module);
    demo.start();
    ASSERT_TRUE(demo.shows("w", 20)) << "the credits are drawn";
    for (const auto& entry : fs::directory_iterator("/proc/" + demo.xdotool("getwindowpid %w") + "/fd"))
        EXPECT_NE(fs::read_symlink(entry.path()).string(), "anon_inode:inotify");

    save(scroll, red);
    fixture::writeSolidPng(directory.file("data/textures/credits.png"), 16, 16, {20, 220, 20, 255});
    // A rebuild or a reload in a rehearsal shows well within this.
    EXPECT_FALSE(demo.shows("rg", 4)) << "still the scenes and the picture it started with";
    EXPECT_EQ(fs::last_write_time(module), built) << "nothing was built";

    directory.schedule("while true do end\n");
    demo.key("shift+BackSpace");
    program::Ended result = demo.wait();
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, HasSubstr("Script: Error! data/demo.lua:1: "));
}

}  // namespace
