// Process: a child runs with what it is given, is waited for within a bound, and neither it nor
// what it starts outlives a stop or its owner, however the owner ends.
#include <gtest/gtest.h>

#include <unistd.h>

#include <fstream>

#include "framework/process.h"
#include "tests/support/program.h"

namespace {

// Whether `pid` is a process that has not ended (a zombie has)
bool alive(int pid)
{
    std::ifstream stat("/proc/" + std::to_string(pid) + "/stat");
    std::string number, name, state;
    return stat >> number >> name >> state && state != "Z";
}

// A shell whose background `sleep` writes its process number into a file
const std::string pidFile = "/tmp/process-test-" + std::to_string(getpid());
const std::vector<std::string> shellWithASleep = {"sh", "-c", "sleep 60 & echo $! > " + pidFile + "; wait"};

int sleeper()
{
    int pid = 0;
    program::waitFor(5, [&] { return static_cast<bool>(std::ifstream(pidFile) >> pid); });
    unlink(pidFile.c_str());
    return pid;
}

// Its streams, folder and environment are those of every demo and X server the tests start.
TEST(Process, TellsHowItEndedOrWhyItCouldNotStart)
{
    Process shell;
    ASSERT_TRUE(shell.start({"sh", "-c", "exit 3"}).ok() && shell.wait(10));
    EXPECT_EQ(shell.ending(), "exited with status 3");
    EXPECT_EQ(Process().start({"no-such-program"}).reason(), "cannot run no-such-program: No such file or directory");
}

TEST(Process, AStopEndsTheWholeGroupAndAWaitIsBounded)
{
    Process shell;
    ASSERT_TRUE(shell.start(shellWithASleep).ok());
    int started = sleeper();
    EXPECT_FALSE(shell.wait(0.2));
    shell.stop();
    EXPECT_TRUE(shell.wait(5));
    EXPECT_EQ(shell.ending(), "killed by SIGKILL (Killed)");
    EXPECT_TRUE(program::waitFor(5, [&] { return !alive(started); })) << "what the child started";
}

// The owner, killed where it can clean nothing up, takes its children's groups with it.
TEST(Process, NothingOutlivesAnOwnerKilledWithSigkill)
{
    Process owner;
    ASSERT_TRUE(owner.start([] {
                         Process shell;
                         if (shell.start(shellWithASleep).ok()) pause();
                         return 0;
                     }).ok());
    int started = sleeper();
    owner.stop(SIGKILL);  // its own group: the owner and its watcher, not the shell's
    EXPECT_TRUE(owner.wait(5));
    EXPECT_TRUE(program::waitFor(5, [&] { return !alive(started); }));
}

}  // namespace
