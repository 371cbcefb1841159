// Timeline: one scheduled appearance of a scene; the global `timeLine` holds the schedule in
// `entries`, in the order the timeline script added them.
// Owns: the entries' array, not the entries.
// Depends on: nothing but the C++ standard library.
#pragma once

#include <string>
#include <vector>

class Scene;

class Timeline {
public:
    Scene* scene;  // not owned: the director owns the scenes
    int start;     // inclusive, ms of music
    int end;       // exclusive, ms of music
    std::string name;
    std::vector<Timeline*> entries;  // non-owning; entries are never freed

    Timeline();
    ~Timeline();
};

extern Timeline timeLine;
