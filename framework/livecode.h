// Livecode: live scene code during a rehearsal. A save of a scene's source rebuilds the scenes
// as a shared module with the project's own build, in a child process, while the show plays
// on; a good build is loaded first in a throw-away copy of the program, with a time limit (its
// file-level constructors may crash or never return), then in the program, and handed to the
// director, which swaps its scenes in by name. What goes wrong comes back as a refusal; the
// director decides what the show does about it.
//
// Three versions of the scenes stand by: the running one, the one before it (the last good
// module, or the program's own scenes) that a fault in the running one falls back to, and the
// one arriving. A module whose code faulted is never called again and stays loaded: code that
// crashed halfway cannot be trusted to unload.
//
// Depends on: Process (the build and the vetting), the dynamic loader (dlopen), the guard (calls
// into a module), CMake on the PATH and the build directory the program came from. Owns: the
// build's and the vetting's processes, the loaded modules and their memory files, and the list
// of values the scenes carry from one frame to the next, which a swap hands from the old
// scenes to the new ones.
#pragma once

#include <cstddef>
#include <string>
#include <type_traits>
#include <typeinfo>
#include <vector>

#include "logger.h"
#include "process.h"

class Livecode {
public:
    // The module's entry: registers its scenes with the director
    typedef void (*Registration)();

    Livecode();
    ~Livecode();

    // Names a value a scene carries from one frame to the next (an offset that falls every
    // frame, an angle that turns): a rebuilt scene takes it over when its name, type and size
    // are unchanged. The name is the scene's own. Only plain values: their bytes are the value
    template <typename T, typename = std::enable_if_t<std::is_trivially_copyable<T>::value>>
    void keep(const char* name, T& value)
    {
        keepValue(name, &value, sizeof value, typeid(T).name());
    }

    // From now on saved sources can be built: debug mode only. One log line when they cannot (no
    // build directory, its compiler gone, no CMake)
    void start();
    // The program's own scenes: what the show falls back to when no module can play
    void own(Registration registration);
    // `file` under the scene sources was saved: the module is built again. A build that runs
    // now is stopped first: what it builds is out of date
    void rebuild(const std::string& file);
    // Once a frame, never waiting: looks after the build and the vetting of what it made.
    // Refused when a build or a load failed; a good one's module then waits in arrived()
    Result update();
    // The registration of a module built, vetted and loaded, not swapped in yet; null for none
    Registration arrived() const;

    // Whether the running scenes came from a module: every call into them is guarded
    bool guarded() const;
    // Takes the running scenes' values, before a guarded call that may fault
    void snapshot();

    // Around the director's swap. Begin: the running scenes' values are taken, and what keep()
    // names from here on belongs to the incoming scenes. End, gone through: the values are
    // handed over to the incoming scenes, now running, and the arriving module (if any) runs.
    // End, refused (the incoming scenes let go): the arriving module is dropped, put aside for
    // good when its code faulted, and the running scenes have their values back as taken.
    void beginSwap();
    void endSwap(bool swapped, bool codeFaulted = false);
    // The running scenes' code faulted (in a release or a destructor): the module is put aside
    // for good once the show no longer runs it, not kept to fall back to
    void faulted();
    // The running scenes' code faulted and they are let go: the version before them runs
    // again, with the values as they stood before the faulting call. A swap is begun, ended by
    // endSwap(true) once its scenes are made and initialised. Hands back its registration
    Registration fallBack();

    // The scene sources, the engine's headers and the build directory: the tree and the build
    // this program came from, unless DEMO_SCENES and DEMO_SCENES_BUILD name other sources and
    // another build
    static std::string sourceDirectory();
    static std::string engineDirectory();
    static std::string buildDirectory();
    // The first file in `folder` that `counts` and that was saved after this program was built,
    // "" for none: a change the program does not have
    static std::string newerThanProgram(const std::string& folder, bool (*counts)(const std::string& name));

private:
    struct Kept {
        std::string name, type;
        void* address;
        size_t size;
    };
    struct Value {
        std::string name, type;
        std::vector<unsigned char> bytes;
    };
    // Scenes' code: a module (its handle and memory file) and its registration; no module for
    // the program's own
    struct Version {
        void* module = nullptr;
        int file = -1;
        Registration registration = nullptr;
        bool faulted = false;
    };
    enum class Step { Idle, Building, Vetting };

    bool started;
    bool swapping;
    std::vector<Kept> kept;      // the running scenes' values
    std::vector<Kept> incoming;  // the values of scenes being swapped in
    std::vector<Value> taken;    // the running scenes' values when the swap began
    std::vector<Value> before;   // the running scenes' values before the latest guarded call
    Step step;
    Process build;               // the build, then the vetting of what it made
    int output;                  // what the build writes, then what the vetting says: a memory file
    double began;                // when the build or the vetting started, in ms
    std::string waiting;         // a file saved while the build runs: it is stopped, and another follows
    Version program, running, previous, arriving;  // the program's own scenes, and the three versions
    Version candidate;           // built, being vetted
    int aside;                   // modules put aside after a fault, still loaded
    double asideBytes;           // their files' size

    void keepValue(const char* name, void* address, size_t size, const char* type);
    void launch(const std::string& file);
    Result finish();
    Result vet();
    Result load();
    void drop(Version& version);
    void putAside(Version& version);
    static std::vector<Value> valuesOf(const std::vector<Kept>& list);
    static void handOver(const std::vector<Value>& values, const std::vector<Kept>& list);
};

extern Livecode livecode;
