// Watcher: inotify without blocking, read once a frame from the director's update; no thread
// and no timer of its own. Outside debug mode it never starts, so a showing cannot change.
#include "watcher.h"

#include <SDL/SDL.h>      // Required for: SDL_GetTicks()
#include <cerrno>         // Required for: errno
#include <cstring>        // Required for: strerror()
#include <sys/inotify.h>  // Required for: inotify_init1(), inotify_add_watch(), inotify_event
#include <unistd.h>       // Required for: read(), close()

#include "demo.h"
#include "livecode.h"
#include "logger.h"
#include "script.h"
#include "shadermanager.h"
#include "texturemanager.h"

static const char* const dataDirectory = "data/";
static const char* const textureDirectory = "data/textures/";
static const char* const shaderDirectory = "data/shaders/";
static const char* const scheduleFile = "data/demo.lua";
static const char* const configFile = "data/config.lua";

// Editors save in bursts (a temporary file, a rename, a second write): one reload per burst.
static const unsigned int quietMs = 250;

Watcher::Watcher() : descriptor(-1), configChanged(false), lastChange(0) {}

Watcher::~Watcher()
{
    if (descriptor >= 0) close(descriptor);
}

void Watcher::start()
{
    if (descriptor >= 0) return;  // a reload or restart starts the show again, not the watching
    descriptor = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    if (descriptor < 0) {
        logger << "Watcher: Cannot watch " << dataDirectory << ": " << strerror(errno) << std::endl;
        return;
    }
    // Closed after writing, or renamed into place: never a file that is still being written.
    for (const char* directory : {dataDirectory, textureDirectory, shaderDirectory}) {
        int watch = inotify_add_watch(descriptor, directory, IN_CLOSE_WRITE | IN_MOVED_TO);
        if (watch < 0)
            logger << "Watcher: Cannot watch " << directory << ": " << strerror(errno) << std::endl;
        else
            directories[watch] = directory;
    }
    logger << "Watcher: Reloading on every save in " << dataDirectory << std::endl;
    std::string scenes = Livecode::sourceDirectory() + "/";
    int watch = inotify_add_watch(descriptor, scenes.c_str(), IN_CLOSE_WRITE | IN_MOVED_TO);
    if (watch >= 0) directories[watch] = scenes;
}

static bool endsWith(const std::string& text, const std::string& end)
{
    return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

// The files a reload reads: the schedule, the pictures and the shader sources. Editors'
// temporary and backup files ("demo.lua~", ".demo.lua.swp") are none of them.
static bool readByReload(const std::string& directory, const std::string& path)
{
    if (directory == textureDirectory) return endsWith(path, ".png");
    if (directory == shaderDirectory) return endsWith(path, ".vert") || endsWith(path, ".frag");
    return path == scheduleFile;
}

void Watcher::note(const std::string& directory, const std::string& name)
{
    std::string path = directory + name;
    if (directory == Livecode::sourceDirectory() + "/") {
        if (!endsWith(name, ".cpp") && !endsWith(name, ".h")) return;
        if (sceneTrigger.empty()) sceneTrigger = path;
    } else if (path == configFile)
        configChanged = true;
    else if (!readByReload(directory, path))
        return;
    else if (trigger.empty())
        trigger = path;
    lastChange = SDL_GetTicks();
}

void Watcher::update()
{
    if (descriptor < 0) return;

    alignas(inotify_event) char buffer[4096];
    ssize_t length;
    while ((length = read(descriptor, buffer, sizeof(buffer))) > 0) {
        for (ssize_t at = 0; at < length;) {
            const inotify_event* event = reinterpret_cast<const inotify_event*>(buffer + at);
            if (event->len > 0) note(directories[event->wd], event->name);
            at += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
        }
    }
    if (trigger.empty() && !configChanged && sceneTrigger.empty()) return;
    if (SDL_GetTicks() - lastChange >= quietMs) settle();
}

// Everything a reload reads, checked without ending the program; false with the first failure.
static bool checkData(std::string& problem)
{
    return script.check(scheduleFile, problem) && texturemanager.check(problem) && shadermanager.check(problem);
}

// A window title has one line: a compiler's several become one.
static std::string oneLine(std::string text)
{
    for (char& c : text)
        if (c == '\n') c = ' ';
    while (!text.empty() && text.back() == ' ') text.pop_back();
    return text;
}

void Watcher::settle()
{
    std::string file = trigger;
    bool restart = configChanged;
    trigger.clear();
    configChanged = false;
    if (!file.empty()) reloadAfter(file);
    if (!sceneTrigger.empty()) livecode.rebuild(sceneTrigger);
    sceneTrigger.clear();
    if (restart)
        logger << "Watcher: " << configFile << " changed: it is read once at start-up, restart the demo to apply it"
               << std::endl;
}

void Watcher::reloadAfter(const std::string& file)
{
    logger << "Watcher: " << file << " changed, checking before the reload" << std::endl;
    std::string problem;
    if (!checkData(problem)) {
        logger << "Watcher: Reload refused, the running version plays on: " << problem << std::endl;
        error = oneLine(problem);
        demo.info();  // into the title now rather than with the next second's refresh
        return;
    }
    error.clear();
    demo.reload();
}
