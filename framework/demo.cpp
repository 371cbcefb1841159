// Demo: the director. The music position is the only clock: pausing pauses the music,
// seeking moves it, and the picture follows.
#include "demo.h"

#include <GL/gl.h>
#include <SDL/SDL.h>
#include <sstream>
#include <vector>

#include "audio.h"
#include "camera.h"
#include "clock.h"
#include "config.h"
#include "effects.h"
#include "events.h"
#include "fps.h"
#include "guard.h"
#include "livecode.h"
#include "loader.h"
#include "logger.h"
#include "music.h"
#include "scene.h"
#include "script.h"
#include "shadermanager.h"
#include "stage.h"
#include "synctracks.h"
#include "texturemanager.h"
#include "timeline.h"
#include "timer.h"
#include "watcher.h"
#include "window.h"

static const char* const scheduleFile = "data/demo.lua";

// The entries active in the current frame; kept between frames so drawing allocates nothing.
static std::vector<Timeline*> active;

// What the last reload on save has to say after the status line: why it was refused, or
// which pictures will be drawn garbled; "" after a clean one.
static std::string saveNotice;
// What the live scene code has to say after it: why a build or a swap was refused, or what
// faulted in a rebuilt scene; "" after a good swap. The engine's change stays until a restart.
static std::string codeNotice;
static std::string engineNotice;
// Why the sync editor was last dropped, or a save of its tracks failed; "" once one connects.
static std::string editorNotice;

// One of a scene's operations (a draw, an init, a constructor), guarded when the scene's code
// came from a rebuilt module, plain for the program's own scenes, which keep every error fatal
template <typename Function>
static Result perform(bool rebuilt, const std::string& scene, const char* operation, Function&& function)
{
    if (!rebuilt) {
        function();
        return Result();
    }
    livecode.snapshot();
    return guard.call(scene.c_str(), operation, function);
}

static void fallBack(Result fault);
static void noteFault(const Result& fault);

// True when the audience has asked to leave (Escape, the window closed, SIGTERM): a reload
// on save stops reading, and the next frame quits.
static bool quitWaiting()
{
    SDL_PumpEvents();
    SDL_Event waiting[64];
    int count = SDL_PeepEvents(waiting, 64, SDL_PEEKEVENT, SDL_QUITMASK | SDL_KEYDOWNMASK);
    for (int i = 0; i < count; i++) {
        if (waiting[i].type == SDL_QUIT) return true;
        if (waiting[i].type == SDL_KEYDOWN && waiting[i].key.keysym.sym == SDLK_ESCAPE) return true;
    }
    return false;
}

// ---- Assets, scenes and the schedule ------------------------------------------------------------

Demo::Demo()
{
    logger << "Demo: Initializing..." << std::endl;
    shadermanager.loadShaders();
    texturemanager.loadImages();
}

Demo::~Demo()
{
    logger << "Demo: Quitting.." << std::endl;
    shadermanager.freeShaders();
    texturemanager.clearImages();
    releaseScenes();
    destroy();
}

void Demo::addScene(std::string name, Scene* scene)
{
    logger << "Scene: Adding " << name << std::endl;
    scenes[name] = scene;  // a replaced scene is not deleted
}

void Demo::loadScript(std::string file)
{
    logger << "Demo: Loading script: " << file << std::endl;
    script.load(file);
}

void Demo::addSceneToTimeline(std::string name, int start, int end)
{
    std::map<std::string, Scene*>::iterator found = scenes.find(name);
    if (found == scenes.end()) {
        std::string message = "Timeline: Error! Scene: " + name + " dont exist!";
        fatal(message, message, 1);
    }

    Timeline* entry = new Timeline();
    entry->scene = found->second;
    entry->start = start;
    entry->end = end;
    entry->name = name;
    logger << "Timeline: Adding scene " << name << " to: " << start << "-" << end << std::endl;
    timeLine.entries.push_back(entry);
}

// Initialises every scene of `set` in name order; stops at the first fault
static Result initAll(std::map<std::string, Scene*>& set, bool rebuilt)
{
    for (const auto& [name, scene] : set) {
        logger << "Scene: Initializing " << name << std::endl;
        Scene* initialised = scene;
        Result done = perform(rebuilt, name, "init", [initialised] { initialised->init(); });
        if (!done.ok()) return done;
    }
    return Result();
}

// Releases every scene of `set` in name order, past a fault; the first fault
static Result releaseAll(std::map<std::string, Scene*>& set, bool rebuilt)
{
    Result first;
    for (const auto& [name, scene] : set) {
        logger << "Scene: Releasing " << name << std::endl;
        Scene* released = scene;
        Result done = perform(rebuilt, name, "release", [released] { released->release(); });
        if (first.ok()) first = done;
    }
    return first;
}

void Demo::initScenes()
{
    Result done = initAll(scenes, livecode.guarded());
    if (!done.ok()) fallBack(done);
}

void Demo::releaseScenes()
{
    Result done = releaseAll(scenes, livecode.guarded());
    if (done.ok()) return;
    livecode.faulted();
    noteFault(done);
}

// ---- Playing and pausing ------------------------------------------------------------------------

void Demo::start()
{
    if (Config::debug) {
        guard.install();
        watcher.start();
        livecode.start();
        stage.between = [] { return !quitWaiting(); };
    }
    logger << "Demo: Starting now!" << std::endl;
    running = true;
    paused = false;
    timer.start();
}

void Demo::stop()
{
    logger << "Demo: Stopped!" << std::endl;
    timer.stop();
}

void Demo::setPause(bool pause)
{
    logger << (pause ? "Demo: Paused!" : "Demo: Running!") << std::endl;
    paused = pause;
    timer.pause(pause);
    if (Config::debug) window.setTitle(pause ? "Paused" : "Running");
}

// ---- A rehearsal: saves, builds and the sync editor, between the events and the frame -----------

// A paused show draws nothing until it resumes: what a save changed is drawn now, and it stays
// paused.
static void showPaused()
{
    if (!demo.paused) return;
    demo.draw();
    demo.debug();
    window.update();
}

// A rebuilt scene's fault the show survives, or a refused build: into the log and the title.
static void noteFault(const Result& fault)
{
    logger << "Livecode: " << fault.reason() << std::endl;
    codeNotice = fault.reason();
    demo.info();
}

// A settled burst of saves acts like a key press, between the events and the frame; so does a
// finished build of the scenes.
static void actOnSaves()
{
    std::map<Signal, std::string> burst = watcher.update(SDL_GetTicks());
    // The sync editor's own saves come back as saves of the files the show holds: no reload.
    if (burst.count(Signal::Tracks) && !burst.count(Signal::Data) && synctracks.filesChanged())
        burst[Signal::Data] = burst[Signal::Tracks];
    if (burst.count(Signal::Data) && demo.running) demo.reloadSaved(burst[Signal::Data]);
    if (burst.count(Signal::Settings))
        logger << "Watcher: " << burst[Signal::Settings]
               << " changed: it is read once at start-up, restart the demo to apply it" << std::endl;
    if (burst.count(Signal::Engine)) {
        engineNotice = burst[Signal::Engine] + " changed: the engine is built into the program, restart the demo";
        logger << "Watcher: " << engineNotice << std::endl;
        demo.info();
    }
    if (burst.count(Signal::Scenes)) livecode.rebuild(burst[Signal::Scenes]);
    Result built = livecode.update();
    if (!built.ok()) noteFault(Result::refuse(built.reason() + ", the running scenes play on"));
    if (livecode.arrived() && demo.running) demo.swapScenes(livecode.arrived());
}

// What the sync editor asked for, done between the events and the frame as the keys would do it.
static void followEditor()
{
    Synctracks::Requests asked = synctracks.update(SDL_GetTicks(), music.getPosition());
    if (!asked.refused.ok()) {
        logger << asked.refused.reason() << std::endl;
        editorNotice = asked.refused.reason();
    } else if (asked.linked && synctracks.connected) {
        editorNotice.clear();
    }
    if (asked.seek >= 0) music.setPosition(static_cast<unsigned int>(asked.seek));
    if (asked.pause >= 0 && demo.paused != (asked.pause == 1)) demo.setPause(asked.pause == 1);
    if (asked.linked || !asked.refused.ok()) demo.info();
    if (asked.changed || asked.seek >= 0) showPaused();
}

// ---- One frame ----------------------------------------------------------------------------------

void Demo::update()
{
    events.update();
    if (Config::debug) {
        actOnSaves();
        followEditor();
        debug();
    }
    // A paused frame only handles events: no swap, no sleep, no drawing.
    if (paused) return;

    window.update();
    audio.update();
    timer.update();
    draw();

    if (music.getPosition() >= music.getLength() - endMargin) {
        logger << "Demo: Last scene done! :)" << std::endl;
        demo.running = false;
    }
}

void Demo::draw()
{
    int t = timer.getPosition();
    active.clear();
    for (size_t i = 0; i < timeLine.entries.size(); i++) {
        Timeline* entry = timeLine.entries[i];
        if (entry->start <= t && t < entry->end) {
            current = static_cast<int>(i);
            active.push_back(entry);
        }
    }
    // Earlier-added entries first, so they end up underneath.
    bool rebuilt = livecode.guarded();
    for (size_t i = 0; i < active.size(); i++) {
        Timeline* entry = active[i];
        Result drawn = perform(rebuilt, entry->name, "draw", [entry] { entry->scene->draw(); });
        if (drawn.ok()) continue;
        // The scenes before the faulting ones draw this frame again, from the start.
        fallBack(drawn);
        return draw();
    }
}

// ---- Seeking by schedule entry ------------------------------------------------------------------

// True when `index` names an entry of the schedule; the skip keys are bounded by the number
// of registered scenes, so the schedule may be shorter.
static bool inSchedule(int index) { return index >= 0 && index < static_cast<int>(timeLine.entries.size()); }

void Demo::nextScene()
{
    int n = static_cast<int>(scenes.size());
    if (current + 1 == n) {
        logger << "Scene: Error: Allready at last scene!" << std::endl;
        return;
    }
    logger << "Scene: Next scene!" << std::endl;
    if (!inSchedule(current + 1)) return;  // nothing to jump to: the time stays

    current++;
    int start = timeLine.entries[current]->start;
    music.setPosition(start);
    logger << "Scene: new active scene is: " << current << "/" << n << " - time: " << start << std::endl;
}

void Demo::previousScene()
{
    int n = static_cast<int>(scenes.size());
    if (current == 0) {
        logger << "Scene: Starting first scene from beg!" << std::endl;
        music.setPosition(0);
        return;
    }
    logger << "Scene: Previous scene!" << std::endl;
    if (!inSchedule(current - 1)) return;

    current--;
    int start = timeLine.entries[current]->start;
    music.setPosition(start);
    logger << "Scene: new active scene is " << current << "/" << n << " - time: " << start << std::endl;
}

// ---- Reload and restart, by key and on a save ---------------------------------------------------

// Steps shared by reload and restart: everything is rebuilt from the files on disk, so what a
// reload on save had to say no longer holds.
static void rebuild()
{
    saveNotice.clear();
    demo.stop();
    demo.releaseScenes();
    timeLine.entries.clear();  // the old entries are not freed
    loader.clear();
    shadermanager.freeShaders();
    shadermanager.loadShaders();
    texturemanager.clearImages();
    texturemanager.loadImages();
    synctracks.loadFiles();
    demo.loadScript(scheduleFile);
    demo.initScenes();
}

void Demo::reload()
{
    logger << "Demo: Reload!" << std::endl;
    float position = static_cast<float>(music.getPosition());
    rebuild();
    start();
    logger << "Demo: Reload done. Chaning time to " << position << std::endl;
    // The music restarts from 0, so the relative seek lands on the old position.
    timer.changePosition(static_cast<int>(position));
}

// A window title has one line: a compiler's several become one.
static std::string oneLine(std::string text)
{
    for (char& c : text)
        if (c == '\n') c = ' ';
    while (!text.empty() && text.back() == ' ') text.pop_back();
    return text;
}

bool Demo::reloadSaved(std::string file)
{
    logger << "Watcher: " << file << " changed, reading data/ once for the reload" << std::endl;
    Result read = stage.read();
    if (!read.ok()) {
        logger << "Watcher: Reload refused, the running version plays on: " << read.reason() << std::endl;
        saveNotice = oneLine(read.reason());
        info();  // into the title now rather than with the next second's refresh
        return false;
    }

    // The keys' reload, with the staged set where that one reads the files, and the music
    // paused over the swap rather than restarted: it goes on from where it stood.
    logger << "Demo: Reload!" << std::endl;
    float position = static_cast<float>(music.getPosition());
    bool wasPaused = paused;
    stop();
    releaseScenes();
    timeLine.entries.clear();  // the old entries are not freed
    loader.clear();            // no steps: nothing is drawn while the staged set goes in
    stage.swap();
    initScenes();
    if (!wasPaused) timer.pause(false);
    logger << "Demo: Reload done. Chaning time to " << position << std::endl;
    saveNotice = oneLine(stage.warning);
    info();
    showPaused();
    return true;
}

void Demo::restart()
{
    logger << "Demo: Restart!" << std::endl;
    rebuild();
    timer.changePosition(0);
    start();
}

// ---- The status line and the time bar -----------------------------------------------------------

void Demo::info()
{
    int length = music.getLength();
    std::ostringstream line;
    line << "Scene: " << current << "/" << scenes.size() << " - "
         << "Time: " << timer.getPositionMinute() << ":" << timer.getPositionSecond() << "/"
         << static_cast<double>(length / 60000) << ":" << static_cast<double>((length / 1000) % 60)
         << " - FPS: " << rateText(fps.get());
    if (synctracks.connected) line << " - Sync editor connected";
    for (const std::string* notice : {&saveNotice, &engineNotice, &codeNotice, &editorNotice})
        if (!notice->empty()) line << " - " << oneLine(*notice);
    window.setTitle(line.str());
}

// One white line from (x, y1) to (x, y2) in the current matrix.
static void verticalMark(float x, float y1, float y2)
{
    glBegin(GL_LINES);
    glVertex3f(x, y1, 0.0f);
    glVertex3f(x, y2, 0.0f);
    glEnd();
}

void Demo::debug()
{
    float length = static_cast<float>(music.getLength());
    float position = static_cast<float>(music.getPosition());

    camera.enable2D();
    glColor4f(1.0f, 1.0f, 1.0f, 1.0f);

    glPushMatrix();
    glTranslatef(0.5f, 0.0f, 0.0f);
    glLineWidth(4.0f);
    glBegin(GL_LINES);
    glVertex3f(-0.4f, 0.1f, 0.0f);
    glVertex3f(0.4f, 0.1f, 0.0f);
    glEnd();
    glPopMatrix();

    glPushMatrix();
    glLineWidth(3.0f);
    glTranslatef(0.0f, 0.1f, 0.0f);
    verticalMark(0.1f, -0.02f, 0.02f);
    glTranslatef(0.8f, 0.0f, 0.0f);
    verticalMark(0.1f, -0.02f, 0.02f);
    glPopMatrix();

    // Positions run from 0.1 at time 0 to 1.1 at the end, past the base line's right end.
    glPushMatrix();
    glLineWidth(4.0f);
    glTranslatef(0.1f + position / length, 0.1f, 0.0f);
    verticalMark(0.0f, -0.02f, 0.02f);
    glPopMatrix();

    for (size_t i = 0; i < timeLine.entries.size(); i++) {
        Timeline* entry = timeLine.entries[i];
        glPushMatrix();
        glLineWidth(2.0f);
        glTranslatef(entry->start / length, 0.1f, 0.0f);
        glColor3f(1.0f, 1.0f, 1.0f);
        verticalMark(0.1f, -0.015f, 0.015f);
        glPopMatrix();

        glPushMatrix();
        glLineWidth(1.0f);
        glTranslatef(entry->end / length, 0.1f, 0.0f);
        glColor3f(0.0f, 0.0f, 0.0f);
        verticalMark(0.1f, -0.015f, 0.015f);
        glPopMatrix();
    }

    camera.disable2D();
}

// ---- Shut-down ----------------------------------------------------------------------------------

// Deletes every scene of `set`, in name order, past a fault, and empties it; the first fault
static Result deleteScenes(std::map<std::string, Scene*>& set, bool rebuilt)
{
    Result first;
    for (const auto& [name, scene] : set) {
        logger << "Scene: Deleting " << name << std::endl;
        Scene* deleted = scene;
        Result done = perform(rebuilt, name, "destructor", [deleted] { delete deleted; });
        if (first.ok()) first = done;
    }
    set.clear();
    return first;
}

void Demo::destroy()
{
    Result done = deleteScenes(scenes, livecode.guarded());
    timeLine.entries.clear();
    if (done.ok()) return;
    livecode.faulted();
    logger << "Livecode: " << done.reason() << std::endl;
}

// ---- Rebuilt scenes: the swap and the fall-back -------------------------------------------------

// True when `book` is `unit` over and over.
static bool repeats(const std::vector<unsigned int>& book, const std::vector<unsigned int>& unit)
{
    if (book.empty() || unit.empty() || book.size() % unit.size() != 0) return false;
    for (size_t i = 0; i < book.size(); i++)
        if (book[i] != unit[i % unit.size()]) return false;
    return true;
}

// Every init appends the rider's frames to the flip-book again, which a reload wants and a swap
// does not: the book stands as the showing had it, unless the new scenes' init adds other frames,
// which then make the book as a fresh start would.
static void keepFlipBook(const std::vector<unsigned int>& book, double position)
{
    std::vector<unsigned int> added(effects.animationFrames.begin() + book.size(), effects.animationFrames.end());
    if (added.empty() || repeats(book, added))
        effects.animationFrames = book;
    else
        effects.animationFrames = added;
    effects.animationPosition = position;
}

// The schedule as it stands, for the scenes registered now; the entries of scenes they lack
// are left out.
static void reschedule()
{
    std::vector<Timeline*> entries;
    entries.swap(timeLine.entries);  // the old entries are not freed
    for (Timeline* entry : entries) {
        if (demo.scenes.count(entry->name))
            demo.addSceneToTimeline(entry->name, entry->start, entry->end);
        else
            logger << "Livecode: The scenes fallen back to have no " << entry->name << ", left out of the schedule"
                   << std::endl;
    }
}

// The running scenes' code faulted: they are let go as they stand (nothing of theirs is called
// again), and the scenes that ran before them come back, down to the program's own if those
// fault too, with the kept values as they stood before the faulting call and the schedule as
// it was. The music goes on.
static void fallBack(Result fault)
{
    double began = steadyMs();
    std::vector<unsigned int> book = effects.animationFrames;
    double position = effects.animationPosition;
    while (!fault.ok()) {
        logger << "Livecode: " << fault.reason() << ", the scenes before play on" << std::endl;
        codeNotice = fault.reason() + ", rolled back";
        Livecode::Registration registration = livecode.fallBack();
        bool rebuilt = livecode.guarded();
        demo.scenes.clear();
        fault = perform(rebuilt, "", "scene constructors", registration);
        if (!fault.ok()) continue;
        reschedule();
        fault = initAll(demo.scenes, rebuilt);
    }
    keepFlipBook(book, position);
    livecode.endSwap(true);
    logger << "Livecode: Fell back in " << steadyMs() - began << " ms" << std::endl;
    demo.info();
}

void Demo::swapScenes(void (*registration)())
{
    double began = steadyMs();
    logger << "Demo: Swapping in the rebuilt scenes" << std::endl;
    livecode.beginSwap();
    std::map<std::string, Scene*> running, incoming;
    running.swap(scenes);
    Result made = perform(true, "", "scene constructors", registration);  // into the empty map
    std::vector<Timeline> schedule;
    Result staged = made.ok() ? script.stage(scheduleFile, schedule) : made;  // against the incoming names
    incoming.swap(scenes);
    scenes.swap(running);
    if (!staged.ok()) {
        // Scenes whose constructors faulted are let go as they stand; the others are deleted.
        Result deleted = made.ok() ? deleteScenes(incoming, true) : Result();
        livecode.endSwap(false, !made.ok() || !deleted.ok());
        noteFault(Result::refuse("The rebuilt scenes were not swapped in, the running scenes play on: " +
                                 staged.reason()));
        return;
    }

    std::vector<unsigned int> book = effects.animationFrames;
    double position = effects.animationPosition;
    bool rebuilt = livecode.guarded();
    Result released = releaseAll(scenes, rebuilt);
    // The incoming scenes are initialised before the running ones are deleted: should they
    // fault, the running ones go on.
    Result initialised = initAll(incoming, true);
    if (!initialised.ok()) {
        Result again = initAll(scenes, rebuilt);
        keepFlipBook(book, position);
        if (!again.ok()) return fallBack(again);
        livecode.endSwap(false, true);
        noteFault(Result::refuse(initialised.reason() + ", the running scenes play on"));
        showPaused();
        return;
    }
    Result deleted = deleteScenes(scenes, rebuilt);
    for (const Result& fault : {released, deleted}) {
        if (fault.ok()) continue;
        livecode.faulted();
        logger << "Livecode: " << fault.reason() << std::endl;
    }
    scenes.swap(incoming);
    timeLine.entries.clear();  // the old entries are not freed
    for (const Timeline& entry : schedule) addSceneToTimeline(entry.name, entry.start, entry.end);
    keepFlipBook(book, position);
    double handing = steadyMs();
    livecode.endSwap(true);
    double done = steadyMs();
    logger << "Demo: Swapped in the rebuilt scenes at " << music.getPosition() << " ms, in "
           << done - began << " ms, their values taken over in "
           << done - handing << " ms" << std::endl;
    codeNotice.clear();
    info();
    showPaused();
}
