// The director in process: which schedule entries are drawn at a music time, in what order,
// and where the scene keys move the music. The music is the real one, paused and seeked.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "framework/demo.h"
#include "framework/music.h"
#include "framework/scene.h"
#include "framework/timeline.h"
#include "tests/support/inprocess.h"

namespace {

// A scene that only records that it was drawn.
class Recorder : public Scene {
public:
    Recorder(std::string name, std::vector<std::string>& drawn) : name(std::move(name)), drawn(drawn) {}
    void init() override {}
    void release() override {}
    void draw() override { drawn.push_back(name); }

private:
    std::string name;
    std::vector<std::string>& drawn;
};

class Director : public testing::Test {
protected:
    void SetUp() override
    {
        for (const char* name : {"a", "b", "c", "d", "e", "f"}) demo.addScene(name, new Recorder(name, drawn));
        music.start();
        music.setPause(true);
    }

    // The names drawn by one frame at music time t.
    std::vector<std::string> drawAt(int t)
    {
        music.setPosition(t);
        drawn.clear();
        demo.draw();
        return drawn;
    }

    std::string log() { return capture.text(); }

    fixture::LogCapture capture;
    std::vector<std::string> drawn;
};

using Names = std::vector<std::string>;

TEST_F(Director, StartIsInclusiveEndExclusiveAndOverlapsDrawInOrder)
{
    demo.addSceneToTimeline("d", 0, 500);
    demo.addSceneToTimeline("a", 1000, 2000);
    demo.addSceneToTimeline("b", 1500, 3000);
    demo.addSceneToTimeline("c", 2000, 2000);  // end not after start: never active

    EXPECT_EQ(drawAt(0), Names{"d"});
    EXPECT_EQ(drawAt(499), Names{"d"});
    EXPECT_EQ(drawAt(500), Names{});
    EXPECT_EQ(drawAt(1000), Names{"a"});
    EXPECT_EQ(drawAt(1500), (Names{"a", "b"}));
    EXPECT_EQ(demo.current, 2) << "current is the last active entry";
    EXPECT_EQ(drawAt(2000), Names{"b"});
    EXPECT_EQ(drawAt(3000), Names{});
    EXPECT_EQ(demo.current, 2) << "with nothing active current keeps its value";
}

TEST_F(Director, NextSceneIsBoundedByRegisteredScenesAndSeeksToTheEntryStart)
{
    demo.addSceneToTimeline("a", 0, 1000);
    demo.addSceneToTimeline("b", 4000, 5000);
    demo.addSceneToTimeline("c", 9000, 10000);
    drawAt(0);

    demo.nextScene();
    EXPECT_EQ(music.getPosition(), 4000);
    EXPECT_THAT(log(), testing::HasSubstr("Scene: Next scene!\n"));
    EXPECT_THAT(log(), testing::HasSubstr("Scene: new active scene is: 1/6 - time: 4000\n"));

    demo.current = 5;  // the last of six registered scenes
    demo.nextScene();
    EXPECT_THAT(log(), testing::HasSubstr("Scene: Error: Allready at last scene!\n"));
    EXPECT_EQ(music.getPosition(), 4000);

    demo.current = 2;  // no entry 3 in the schedule: the time stays
    demo.nextScene();
    EXPECT_EQ(music.getPosition(), 4000);
    EXPECT_EQ(demo.current, 2);
}

TEST_F(Director, PreviousSceneSeeksBackOrRestartsTheFirst)
{
    demo.addSceneToTimeline("a", 0, 1000);
    demo.addSceneToTimeline("b", 4000, 5000);
    demo.addSceneToTimeline("c", 9000, 10000);
    drawAt(9500);
    ASSERT_EQ(demo.current, 2);

    demo.previousScene();
    EXPECT_EQ(music.getPosition(), 4000);
    EXPECT_THAT(log(), testing::HasSubstr("Scene: Previous scene!\n"));
    EXPECT_THAT(log(), testing::HasSubstr("Scene: new active scene is 1/6 - time: 4000\n"));

    demo.current = 0;
    music.setPosition(700);
    demo.previousScene();
    EXPECT_EQ(music.getPosition(), 0);
    EXPECT_THAT(log(), testing::HasSubstr("Scene: Starting first scene from beg!\n"));
}

TEST_F(Director, RegisteringANameTwiceKeepsTheLaterScene)
{
    std::vector<std::string> other;
    demo.addScene("a", new Recorder("replacement", other));
    demo.addSceneToTimeline("a", 0, 1000);
    drawAt(10);
    EXPECT_EQ(other, Names{"replacement"});
    EXPECT_EQ(drawn, Names{});
}

}  // namespace
