// Watcher: reload on save during a rehearsal. In debug mode it watches data/ with inotify;
// a burst of saves, once a quarter second has passed without another, is checked and then
// reloaded as Shift+Backspace does. A save that would end the program is refused instead.
#pragma once

#include <map>
#include <string>

class Watcher {
public:
    int descriptor;                          // the inotify instance, -1 when there is none
    std::map<int, std::string> directories;  // watch descriptor to directory, "data/textures/"
    std::string trigger;                     // the burst's first file that a reload reads, "" for none
    std::string sceneTrigger;                // the burst's first saved scene source, "" for none
    bool configChanged;                      // data/config.lua was saved in the burst
    unsigned int lastChange;                 // SDL ticks of the burst's latest save
    std::string error;                       // why the last watched reload was refused, until a good one

    Watcher();
    ~Watcher();

    // Watching begins as the show does, in debug mode only
    void start();
    // Once a frame in debug mode: one non-blocking read, and the reload when a burst is over
    void update();

private:
    void note(const std::string& directory, const std::string& name);
    void settle();
    void reloadAfter(const std::string& file);
};

extern Watcher watcher;
