// Exits: the C library's ways out of the program (exit, quick_exit, _exit, _Exit, abort and a
// failed assert) defined by the program in place of the library's, for the whole program and
// for the scene modules it loads, which take them from it (it exports its symbols). Each one
// first tells `exitWatch`, when one is set, who called it and how; a watch that returns lets
// the exit go on as the library's own. Without a watch (a showing) they are the library's.
//
// Depends on: the C library (its own exits, looked up past this program), nothing of the
// engine, so that anything linking the engine can take these. Owns: the watch.
#pragma once

// One call of an exit: which ("exit"), its status (none for abort and an assert), the address
// its caller returns to, and for an assert what failed where
struct Exit {
    const char* how;
    int status;
    bool hasStatus;
    void* from;
    const char* assertion;
    const char* file;
    unsigned int line;
};

// Set by the rehearsal's guard while it is armed; may not return
extern void (*exitWatch)(const Exit& leaving);
