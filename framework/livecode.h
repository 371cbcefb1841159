// Livecode: live scene code during a rehearsal. A save of a scene's source rebuilds the scenes
// as a shared module with the project's own build, in a child process, while the show plays
// on; a good build is loaded and handed to the director, which swaps its scenes in by name.
//
// Depends on: POSIX (fork, exec, waitpid), the dynamic loader (dlopen), CMake on the PATH and
// the build directory the program came from. Owns: the build's child process, the loaded
// modules, and the list of values the scenes carry from one frame to the next, which a swap
// hands from the old scenes to the new ones.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "logger.h"

class Livecode {
public:
    // The module's entry: registers its scenes with the director
    typedef void (*Registration)();

    std::string error;  // the first error of the last build or load, "" after a good one

    Livecode();
    ~Livecode();

    // Names a value a scene carries from one frame to the next (an offset that falls every
    // frame, an angle that turns): a rebuilt scene takes it over. The name is the scene's own.
    template <typename T>
    void keep(const char* name, T& value)
    {
        keepValue(name, &value, sizeof value);
    }

    // From now on saved sources can be built: debug mode only. One log line when they cannot (no
    // build directory, its compiler gone, no CMake).
    void start();
    // `file` under the scene sources was saved: the module is built again. A build that runs
    // now is stopped first: what it builds is out of date
    void rebuild(const std::string& file);
    // Once a frame, never waiting: looks after the build. A good build's registration once its
    // module has loaded, null otherwise
    Registration update();

    // Around the director's swap. Begin: the running scenes' values are taken, and what keep()
    // names from here on belongs to the incoming scenes. End, gone through: the values are
    // handed over to the incoming scenes, now running. End, refused (the incoming scenes deleted
    // by then): their names and their module are dropped, and the reason is the error.
    void beginSwap();
    void endSwap(const Result& swapped);

    // The scene sources and the build directory: the tree and the build this program came
    // from, unless DEMO_SCENES and DEMO_SCENES_BUILD name others
    static std::string sourceDirectory();
    static std::string buildDirectory();

private:
    struct Kept {
        std::string name;
        void* address;
        size_t size;
    };
    struct Value {
        std::string name;
        std::vector<unsigned char> bytes;
    };

    bool started;
    bool swapping;
    std::vector<Kept> kept;      // the running scenes' values
    std::vector<Kept> incoming;  // the values of scenes being swapped in
    std::vector<Value> taken;    // the running scenes' values when the swap began
    int child;                   // the build's process, -1 when none runs
    int output;                  // what the build writes, a memory file
    double began;                // when the build started, in seconds
    std::string waiting;         // a file saved while it runs: it is stopped, and another follows
    void* module;                // the module whose scenes run now, null for the program's own
    void* loaded;                // a loaded module not swapped in yet
    int copies;                  // modules loaded so far: each copy's name has its number

    void keepValue(const char* name, void* address, size_t size);
    void launch(const std::string& file);
    Registration finish(int status);
    Registration load();
    void fail(const std::string& what, const std::string& detail);
};

extern Livecode livecode;
