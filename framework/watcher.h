// Watcher: notices saves during a rehearsal. In debug mode it watches data/, the scene sources
// and the engine's with inotify and, once a burst of saves has been quiet for a quarter second,
// says what the burst touched; the director decides what to do about it. No thread and no timer
// of its own: it reads once a frame, on the clock it is given, and calls nothing back.
//
// Depends on: Linux inotify, the live code (where the scene and engine sources are), the log.
// Owns: the inotify descriptor and its watches.
#pragma once

#include <map>
#include <set>
#include <string>
#include <utility>
#include <vector>

// What a burst of saves asks of the director. Each kind of watched file gives one; a new
// watched tree is one more value here and one more row in watcher.cpp's table.
enum class Signal {
    Data,      // the schedule, a picture or a shader source: reload the data
    Settings,  // data/config.lua, which is read once at start-up
    Scenes,    // a scene's source: rebuild the scenes
    Tracks,    // a sync track's file, or a folder of them: reload the data, unless the demo wrote it
    Engine,    // an engine source, which is built into the program: a restart is needed
};

class Watcher {
public:
    Watcher();
    ~Watcher();

    // Watching begins as the show does, in debug mode only; a second call changes nothing
    void start();
    // Reads what changed since the last call, `now` being milliseconds on any steady clock.
    // Once the burst has been quiet for a quarter second it is handed back, the first file of
    // each kind under its signal ("data/demo.lua"), and a new one begins; empty until then
    std::map<Signal, std::string> update(unsigned int now);

    // An editor's lock, temporary or backup file, which no save is: names starting with "."
    // (Emacs's ".#name" lock links among them), "name~", "#name#", "name.swp", vim's "4913"
    static bool ignored(const std::string& name);
    // An engine header, which scene code is built against
    static bool engineHeader(const std::string& name);
    // A scene source: what the scene module is built from
    static bool sceneSource(const std::string& name);

private:
    int descriptor;                                            // the inotify instance, -1 when there is none
    std::map<int, std::string> folders;                        // watch to folder: "data/textures/", "" the working one
    std::map<std::pair<int, std::string>, std::string> links;  // a linked file (its folder's watch
                                                               // and name) to the watched link
    std::map<Signal, std::string> burst;                       // the burst so far: its first file of each kind
    unsigned int lastChange;                                   // when the burst's latest change was read

    // Which files count, by folder, and what a save of one asks for
    struct Rule {
        std::string folder;  // "data/textures/", or the scene sources wherever they are
        bool (*counts)(const std::string& name);
        Signal signal;
        bool deep = false;  // the files of its subfolders count too; the folder itself may be absent
    };
    std::vector<Rule> rules;

    std::set<std::string> watchedFolders() const;
    const Rule* ruleFor(const std::string& path) const;
    const Rule* deepRuleFor(const std::string& folder) const;
    void watch(const std::string& folder);
    void changed(int watch, const std::string& name, unsigned int mask, unsigned int now);
    void replaced(const std::string& folder, bool arrived, unsigned int now);
    void note(Signal signal, const std::string& path, unsigned int now);
    void followLinks();
};

extern Watcher watcher;
