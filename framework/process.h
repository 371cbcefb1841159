// Process: one child process, started, asked after without waiting, waited for with a time
// limit and stopped, with everything it starts in turn. The live code's build, the vetting of a
// rebuilt module and the sound output's probe run this way, and so can the tests' programs.
//
// The child leads a process group of its own, so that make and the compilers under a build stop
// with it. It never outlives this program, however this program ends (SIGKILL included): a small
// watcher forked beside it holds one end of a pipe whose other end only this program holds, and
// stops the whole group when that end closes.
//
// Depends on: POSIX (fork, exec, waitid, kill, pipes). Owns: the child, its watcher and the pipe.
#pragma once

#include <sys/types.h>

#include <csignal>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "logger.h"

class Process {
public:
    // A standard stream of the child that reads nothing and writes nowhere (/dev/null)
    static const int nowhere = -2;

    // What the child is given: its standard streams (a descriptor of this program each,
    // `nowhere`, or -1 to share this program's own), the folder it starts in ("" for this
    // program's) and variables set in its environment on top of this program's
    struct Setting {
        int in, out, err;
        std::string directory;
        std::vector<std::pair<std::string, std::string>> environment;
        Setting() : in(-1), out(-1), err(-1) {}
    };

    Process() = default;
    // A child still running is stopped, group and all
    ~Process();
    Process(const Process&) = delete;
    Process& operator=(const Process&) = delete;

    // Runs `arguments` (a program's path, or its name looked up on the PATH, then its
    // arguments). Refused, with nothing left running, when the program cannot be run
    Result start(const std::vector<std::string>& arguments, const Setting& setting = Setting());
    // Runs `body` in a copy of this program (fork without exec); what it returns is the child's
    // exit status. The copy has one thread: `body` keeps to what is safe after a fork
    Result start(const std::function<int()>& body, const Setting& setting = Setting());

    // Never waiting: true while the child runs. Its end also stops whatever it left in its group
    bool running();
    // Waits up to `seconds` for the end (for as long as it takes when negative); true when the
    // child has ended
    bool wait(double seconds);
    // Sends `signal` to the whole group; running() or wait() then collect the end
    void stop(int signal = SIGKILL);

    pid_t id() const { return child; }
    // How the child ended, as wait() reports it; meaningful once running() is false
    int status() const { return ended; }
    // The end in words: "exited with status 2", "killed by SIGSEGV (Segmentation fault)"
    std::string ending() const;

private:
    pid_t child = -1;
    int lifeline = -1;  // this program's end of the watcher's pipe
    int ended = 0;

    Result launch(const std::function<void()>& body, const Setting& setting);
    void collect(int status);
};
