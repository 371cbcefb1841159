// Demo: the director. Owns the scenes, runs the schedule on the music clock and drives each
// frame; steered by the keyboard and window events, and in debug mode by saves under data/
// and by rebuilt scenes.
//
// Depends on: every manager and the music through the timer; the watcher's signals and the
// live code's rebuilt modules. Owns: the scenes.
#pragma once

#include <map>
#include <string>

class Scene;

class Demo {
public:
    bool running;                          // first member: Escape and window close clear it directly
    bool paused;                           // second member: read by the Space key
    int current;                           // index into the schedule of the entry found active last
    std::map<std::string, Scene*> scenes;  // owned, walked in name order

    Demo();
    ~Demo();

    void addScene(std::string name, Scene* scene);
    void loadScript(std::string file);
    void addSceneToTimeline(std::string name, int start, int end);
    void initScenes();
    void releaseScenes();
    void start();
    void stop();
    void setPause(bool pause);
    void update();
    void draw();
    void nextScene();
    void previousScene();
    void reload();
    void restart();
    void info();
    void debug();
    void destroy();

    // A reload on save (debug mode): reads data/ once into the stage and, when all of it was
    // read, swaps it in at the same music position, a paused show staying paused. Otherwise
    // the show plays on as it was and the title says why. True when it swapped
    bool reloadSaved(std::string file);

    // Replaces every scene by the one `registration` registers under the same name, while the
    // show plays on: the schedule is run again and the scenes initialised, as a reload does, and
    // the values the scenes keep carry over. Refused, with the old scenes playing on, when the
    // schedule names a scene the new ones lack
    void swapScenes(void (*registration)());
};

extern Demo demo;
