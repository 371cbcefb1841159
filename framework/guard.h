// Guard: a rehearsal's defence against the scene code it swaps in. Every call into a rebuilt
// scene module runs through `call`, and whatever ends that call early comes back as a refusal
// that names it, with the GL state the call left put right:
// - a crash in the module's code (SIGSEGV, SIGBUS, SIGFPE, SIGILL), a stack overflow included;
// - a C++ exception, or std::terminate;
// - abort, exit, _exit, _Exit, quick_exit or a failed assert called from the module's code;
// - a fatal error the engine raises on the module's behalf (a picture or a uniform that does not
//   exist);
// - a call still running after `bound` seconds, caught in the module's code (an endless loop).
// A fault anywhere else while a call runs (in the GL driver, libc or the allocator, or on
// another thread) ends the program at once, naming the signal, the scene and the operation,
// with status 1: what such a fault leaves behind cannot be trusted. Outside a guarded call every
// signal does what it did before. SIGTERM and Ctrl-C end a rehearsal within a second, even
// while a call is stuck, and a second one ends it at once.
//
// The module's code is told from the rest by where the faulting or interrupted instruction,
// or the caller of an exit, lies: in a mapping of a module's memory file (`moduleFile`).
//
// Nothing is installed in a showing: no handler, no timer, and the program's exits (exits.h)
// are the C library's.
//
// Depends on: POSIX signals and timers, the C++ runtime (exceptions, terminate), the program's
// exits, OpenGL (the stacks put right), the logger (its fatal errors, its file). Owns: the
// handlers, the alternate signal stack and the two timers.
#pragma once

#include <type_traits>

#include "logger.h"

class Guard {
public:
    // How long a guarded call may run, in seconds. A frame takes milliseconds; the longest
    // legitimate init (a texture or a mesh made in code at start, a table of thousands of
    // values) takes well under a second here; three leaves room for a slow machine and no more.
    static const int bound = 3;
    // The name the module's memory files carry, by which its code is known
    static constexpr const char* moduleFile = "scene module";

    Guard() = default;
    ~Guard();

    // Arms the guard for a rehearsal; a second call changes nothing
    void install();
    // In a throw-away copy of the program (a module's vetting): a fault anywhere during a call
    // is the call's, and the log is left alone
    void forked();

    // Runs `function`, the operation `operation` ("draw") of the scene `scene` ("" for none),
    // and hands back what ended it early. `drawing`: the call may leave GL state behind
    template <typename Function>
    Result call(const char* scene, const char* operation, Function&& function, bool drawing = true)
    {
        return run(scene, operation, [](void* body) { (*static_cast<std::remove_reference_t<Function>*>(body))(); }, &function, drawing);
    }

private:
    Result run(const char* scene, const char* operation, void (*body)(void*), void* context, bool drawing);
};

extern Guard guard;
