// Live scene code: the real demo rehearsing the credits while its scene sources are saved. It
// rebuilds the tests' own copy of the sources (LIVECODE_DIR, made by the `livecode_module`
// CTest fixture), named to it through DEMO_SCENES and DEMO_SCENES_BUILD; seen through the
// window, the title and the log.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <regex>

#include "tests/support/fixture.h"
#include "tests/support/program.h"

using fixture::Directory;
using program::Program;
using program::waitFor;
using testing::HasSubstr;

namespace {

const std::string sources = std::string(LIVECODE_DIR) + "/scenes";
const std::string credits = sources + "/credits.cpp";
const std::string swapped = "Demo: Swapped in the rebuilt scenes at ";

// The credits' picture, and what the tests draw in its place: a red one
const std::string scroll = "bindTexture(\"credits.png\");";
const std::string red = "bindTexture(\"logo_vek.png\");";

// The credits scroll from white to navy
bool isCredits(fixture::Rgba seen)
{
    return (seen.r > 150 && seen.r == seen.g && seen.g == seen.b) || (seen.r == 0 && seen.g == 0 && seen.b > 100);
}
bool isRed(fixture::Rgba seen) { return seen.r > 150 && seen.g < 60 && seen.b < 60; }

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
        original = fixture::readFile(credits);
        directory.schedule("addSceneToTimeline(\"credits\", 0, 150000)\n");
    }
    void TearDown() override { fixture::writeFile(credits, original); }

    void start(Program& demo)
    {
        demo.environment("DEMO_SCENES", sources);
        demo.environment("DEMO_SCENES_BUILD", std::string(LIVECODE_DIR) + "/build");
        demo.start();
    }

    std::string original;
    Directory directory;
};

TEST_F(Rehearsal, SavedSceneShowsAtTheSameMusicPositionAndACompileErrorKeepsTheOldOneUntilFixed)
{
    Program demo(directory);
    start(demo);
    ASSERT_TRUE(demo.waitForLog("Livecode: Rebuilding the scenes on every save in " + sources + "\n", 20));
    ASSERT_TRUE(waitFor(10, [&] { return isCredits(demo.centre()); }));
    ASSERT_TRUE(demo.waitForLog("Plot "));

    save(scroll, red);
    ASSERT_TRUE(demo.waitForLog(swapped, 60));
    EXPECT_TRUE(waitFor(5, [&] { return isRed(demo.centre()); })) << "the new colour is drawn";
    std::string log = demo.log();
    EXPECT_THAT(log, HasSubstr("Livecode: " + credits + " changed, rebuilding the scenes\n"));
    EXPECT_TRUE(std::regex_search(log, std::regex(R"(Livecode: Built in \d+\.\d\d s\n)")));
    size_t at = log.find(swapped);
    int position = std::stoi(log.substr(at + swapped.size()));
    EXPECT_LE(std::stoi(log.substr(log.rfind("Plot ", at) + 5)), position) << "the music went on";
    EXPECT_EQ(program::occurrences(log, "Music: Start"), 1) << "the music was neither stopped nor moved";
    EXPECT_EQ(program::occurrences(log, "Music: Stop"), 0);

    save(red, "bindTexture(\"logo_vek.png\") ??");
    ASSERT_TRUE(demo.waitForLog("Livecode: Build failed after ", 60));
    std::string title;
    EXPECT_TRUE(waitFor(5, [&] { return (title = demo.title()).find(" - scenes/credits.cpp:") != std::string::npos; }))
        << title;
    EXPECT_THAT(title, testing::StartsWith("Scene: 0/6 - Time: ")) << "after the status line";
    EXPECT_THAT(title, HasSubstr("error"));
    EXPECT_THAT(demo.log(), HasSubstr("Livecode: " + credits + ":")) << "the compiler's whole output";
    EXPECT_TRUE(isRed(demo.centre())) << "the running scenes play on";

    // Declared and never defined: the module links, and its loading fails.
    fixture::writeFile(credits, original);
    save("Credits::~Credits() {}", "void undefinedHere();\nCredits::~Credits() { undefinedHere(); }");
    ASSERT_TRUE(demo.waitForLog("Livecode: Cannot load the rebuilt scenes, the running scenes play on: ", 60));
    EXPECT_TRUE(waitFor(5, [&] { return demo.title().find("undefined symbol: _Z13undefinedHerev") != std::string::npos; }))
        << demo.title();
    EXPECT_TRUE(isRed(demo.centre()));

    fixture::writeFile(credits, original);
    ASSERT_TRUE(waitFor(60, [&] { return program::occurrences(demo.log(), swapped) == 2; }));
    EXPECT_TRUE(waitFor(5, [&] { return !isRed(demo.centre()); }));
    EXPECT_TRUE(waitFor(5, [&] { return demo.title().find(" - scenes/") == std::string::npos; })) << demo.title();

    demo.key("Escape");
    EXPECT_EQ(demo.wait().status, 0);
}

TEST_F(Rehearsal, WithoutDebugModeNothingIsBuiltOrSwapped)
{
    directory.config({{"DEBUG", "false"}});
    std::string module = std::string(LIVECODE_DIR) + "/build/scenes.so";
    auto built = std::filesystem::last_write_time(module);
    Program demo(directory);
    start(demo);
    ASSERT_TRUE(waitFor(20, [&] { return isCredits(demo.centre()); }));

    save(scroll, red);
    // A rebuild in a rehearsal shows well within this.
    EXPECT_FALSE(waitFor(4, [&] { return isRed(demo.centre()); })) << "still the scenes it started with";
    EXPECT_EQ(std::filesystem::last_write_time(module), built) << "nothing was built";
    demo.key("Escape");
    EXPECT_EQ(demo.wait().status, 0);
}

// Without a build directory, its compiler or CMake, one line says so and the show goes on.
TEST_F(Rehearsal, WithoutABuildACompilerOrCMakeItSaysSoOnceAndPlays)
{
    std::string nowhere = directory.file("nowhere");
    directory.write("stale/CMakeCache.txt", "CMAKE_CXX_COMPILER:FILEPATH=" + nowhere + "/c++\n");
    const std::vector<std::tuple<std::string, std::string, std::string>> cases = {
        {"DEMO_SCENES_BUILD", nowhere, "Livecode: No build directory at " + nowhere + ", saved scenes are not rebuilt"},
        {"DEMO_SCENES_BUILD", directory.file("stale"),
         "Livecode: No compiler at " + nowhere + "/c++, saved scenes are not rebuilt"},
        {"PATH", nowhere, "Livecode: No cmake on the PATH, saved scenes are not rebuilt"}};
    for (const auto& [variable, value, said] : cases) {
        Directory run;  // a log of its own
        run.schedule("addSceneToTimeline(\"credits\", 0, 150000)\n");
        Program demo(run);
        demo.environment("DEMO_SCENES", sources);
        demo.environment(variable, value);
        demo.start();
        ASSERT_TRUE(demo.waitForLog(said + "\n", 20)) << said;
        save(scroll, red);
        EXPECT_FALSE(waitFor(2, [&] { return isRed(demo.centre()); })) << said;
        demo.key("Escape");
        EXPECT_EQ(demo.wait().status, 0) << said;
        EXPECT_EQ(program::occurrences(demo.log(), "Livecode: "), 1) << said;
        fixture::writeFile(credits, original);
    }
}

}  // namespace
