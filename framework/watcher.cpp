// Watcher: inotify without blocking, read once a frame from the director's update. Outside
// debug mode it never starts, so a showing cannot change.
#include "watcher.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <dirent.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

#include "livecode.h"
#include "logger.h"

static bool endsWith(const std::string& text, const std::string& end)
{
    return text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

bool Watcher::ignored(const std::string& name)
{
    return name.empty() || name[0] == '.' || name.back() == '~' || (name[0] == '#' && name.back() == '#') ||
           endsWith(name, ".swp") || name == "4913";
}

// The files a reload reads, the settings and the sources. Editors' temporary and backup files
// ("demo.lua~", ".demo.lua.swp", ".#intro.cpp") are none of them.
static bool schedule(const std::string& name) { return name == "demo.lua"; }
static bool settings(const std::string& name) { return name == "config.lua"; }
static bool picture(const std::string& name) { return !Watcher::ignored(name) && endsWith(name, ".png"); }
static bool trackFile(const std::string& name) { return !Watcher::ignored(name) && endsWith(name, ".track"); }
static bool shaderSource(const std::string& name)
{
    return !Watcher::ignored(name) && (endsWith(name, ".vert") || endsWith(name, ".frag"));
}
bool Watcher::sceneSource(const std::string& name)
{
    return !ignored(name) && (endsWith(name, ".cpp") || endsWith(name, ".h") || name == "CMakeLists.txt");
}
bool Watcher::engineHeader(const std::string& name) { return !ignored(name) && endsWith(name, ".h"); }
static bool engineSource(const std::string& name)
{
    return Watcher::engineHeader(name) || (!Watcher::ignored(name) && endsWith(name, ".cpp"));
}

// Editors save in bursts (a temporary file, a rename, a second write): one signal per burst.
static const unsigned int quietMs = 250;

// Closed after writing, moved in or out, deleted, or a link created: never a file that is
// still being written. The folders' own entries tell when a folder is replaced.
static const uint32_t changes = IN_CLOSE_WRITE | IN_MOVED_TO | IN_MOVED_FROM | IN_DELETE | IN_CREATE | IN_ONLYDIR;

// The folders of the rules and every folder above them up to the working directory (""), or,
// for a folder elsewhere (scene sources outside the working directory), up to its parent: a
// folder that is replaced shows in the one above it.
std::set<std::string> Watcher::watchedFolders() const
{
    std::set<std::string> folders;
    for (const Rule& rule : rules) {  // "data/textures/", then "data/", then ""
        bool elsewhere = rule.folder[0] == '/';
        for (std::string folder = rule.folder;; folder.erase(folder.rfind('/', folder.size() - 2) + 1)) {
            folders.insert(folder);
            if (folder.empty() || (elsewhere && folder != rule.folder) || folder == "/") break;
        }
    }
    return folders;
}

// The rule a file at `path` ("data/textures/a.png") falls under, or null.
const Watcher::Rule* Watcher::ruleFor(const std::string& path) const
{
    size_t slash = path.rfind('/');
    std::string folder = path.substr(0, slash + 1), name = path.substr(slash + 1);
    for (const Rule& rule : rules)
        if ((folder == rule.folder || deepRuleFor(folder) == &rule) && rule.counts(name)) return &rule;
    return nullptr;
}

// The deep rule whose folder `folder` is, or is below; null for none
const Watcher::Rule* Watcher::deepRuleFor(const std::string& folder) const
{
    for (const Rule& rule : rules)
        if (rule.deep && folder.compare(0, rule.folder.size(), rule.folder) == 0) return &rule;
    return nullptr;
}

static bool isLink(const std::string& path)
{
    struct stat status;
    return lstat(path.c_str(), &status) == 0 && S_ISLNK(status.st_mode);
}

// A regular file being written, which counts once it is closed.
static bool beingWritten(const std::string& path)
{
    struct stat status;
    return lstat(path.c_str(), &status) == 0 && S_ISREG(status.st_mode);
}

// A folder of sources (the scenes', the engine's), as a path relative to the working directory
// when it is inside it: a folder watched under two names would be reported under only one of them.
static std::string sourceFolder(const std::string& folder)
{
    std::string sources = folder + "/";
    char here[PATH_MAX], there[PATH_MAX];
    if (!getcwd(here, sizeof(here)) || !realpath(sources.c_str(), there)) return sources;
    std::string inside = std::string(here) + "/", resolved = std::string(there) + "/";
    return resolved.compare(0, inside.size(), inside) == 0 ? resolved.substr(inside.size()) : resolved;
}

Watcher::Watcher() : descriptor(-1), lastChange(0) {}

Watcher::~Watcher()
{
    if (descriptor >= 0) close(descriptor);
}

void Watcher::start()
{
    if (descriptor >= 0) return;  // a reload or restart starts the show again, not the watching
    rules = {
        {"data/", schedule, Signal::Data},
        {"data/", settings, Signal::Settings},
        {"data/textures/", picture, Signal::Data},
        {"data/shaders/", shaderSource, Signal::Data},
        {sourceFolder(Livecode::sourceDirectory()), sceneSource, Signal::Scenes},
        {sourceFolder(Livecode::engineDirectory()), engineSource, Signal::Engine},
        {"data/sync/", trackFile, Signal::Tracks, true},
    };
    descriptor = inotify_init1(IN_NONBLOCK | IN_CLOEXEC);
    if (descriptor < 0) {
        logger << "Watcher: Cannot watch data/: " << strerror(errno) << std::endl;
        return;
    }
    for (const std::string& folder : watchedFolders()) watch(folder);
    followLinks();
    logger << "Watcher: Reloading on every save in data/" << std::endl;
}

void Watcher::watch(const std::string& folder)
{
    bool deep = deepRuleFor(folder) != nullptr;
    int watch = inotify_add_watch(descriptor, folder.empty() ? "." : folder.c_str(), changes);
    if (watch < 0) {
        // A deep folder comes with its first file; the folder above it sees it come.
        if (!deep || errno != ENOENT)
            logger << "Watcher: Cannot watch " << folder << ": " << strerror(errno) << std::endl;
        return;
    }
    folders[watch] = folder;
    DIR* listing = deep ? opendir(folder.c_str()) : nullptr;
    if (!listing) return;
    while (dirent* entry = readdir(listing)) {
        std::string name = entry->d_name, below = folder + name + "/";
        struct stat status;
        if (name != "." && name != ".." && lstat(below.c_str(), &status) == 0 && S_ISDIR(status.st_mode))
            Watcher::watch(below);
    }
    closedir(listing);
}

std::map<Signal, std::string> Watcher::update(unsigned int now)
{
    std::map<Signal, std::string> settled;
    if (descriptor < 0) return settled;

    alignas(inotify_event) char buffer[4096];
    ssize_t length;
    while ((length = read(descriptor, buffer, sizeof(buffer))) > 0) {
        for (ssize_t at = 0; at < length;) {
            const inotify_event* event = reinterpret_cast<const inotify_event*>(buffer + at);
            changed(event->wd, event->len > 0 ? event->name : "", event->mask, now);
            at += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
        }
    }
    if (burst.empty() || now - lastChange < quietMs) return settled;
    settled.swap(burst);
    followLinks();  // the burst may have made, moved or removed a link
    return settled;
}

void Watcher::changed(int watch, const std::string& name, unsigned int mask, unsigned int now)
{
    if (mask & IN_Q_OVERFLOW) {  // changes were lost: any file may have changed
        for (const Rule& rule : rules) note(rule.signal, rule.folder, now);
        return;
    }
    std::map<int, std::string>::iterator folder = folders.find(watch);
    if (folder == folders.end()) return;
    if (mask & IN_IGNORED) {  // the folder went; the one above it tells what came instead
        folders.erase(folder);
        return;
    }
    if (name.empty()) return;

    std::string path = folder->second + name;
    if (mask & IN_ISDIR) return replaced(path + "/", mask & (IN_CREATE | IN_MOVED_TO), now);
    std::map<std::pair<int, std::string>, std::string>::iterator link = links.find({watch, name});
    if (link != links.end()) note(ruleFor(link->second)->signal, link->second, now);
    const Rule* rule = ruleFor(path);
    // A new file counts once it is closed; a new link or pipe has nothing more to come.
    if (rule && (!(mask & IN_CREATE) || !beingWritten(path))) note(rule->signal, path, now);
}

// A folder came or went; if it holds watched folders, they are watched anew (a checkout that
// removes and recreates data/textures/, or renames a new one into place), and everything
// they hold counts as changed.
void Watcher::replaced(const std::string& folder, bool arrived, unsigned int now)
{
    bool ours = false;
    std::set<std::string> replacing = watchedFolders();
    if (deepRuleFor(folder)) replacing.insert(folder);  // a deep rule's folder and what it holds
    for (const std::string& watched : replacing) {
        if (watched.compare(0, folder.size(), folder) != 0) continue;
        ours = true;
        for (std::map<int, std::string>::iterator it = folders.begin(); it != folders.end(); ++it)
            if (it->second.compare(0, watched.size(), watched) == 0)
                inotify_rm_watch(descriptor, it->first);  // it follows the old folder
        if (arrived) watch(watched);
    }
    if (!ours) return;
    // A deep rule's folders come and go with their files (the first save of a sync track makes them).
    if (arrived && !deepRuleFor(folder))
        logger << "Watcher: " << folder << " was replaced, watching it again" << std::endl;
    for (const Rule& rule : rules)
        if (rule.folder.compare(0, folder.size(), folder) == 0 || deepRuleFor(folder) == &rule)
            note(rule.signal, folder, now);
}

void Watcher::note(Signal signal, const std::string& path, unsigned int now)
{
    burst.emplace(signal, path);  // the first file of its kind names the burst
    lastChange = now;
}

// Links among the watched files are followed: the folder of each one's target is watched as
// well, so that saving the file it points to counts as saving the link.
void Watcher::followLinks()
{
    std::map<std::pair<int, std::string>, std::string> found;
    for (const Rule& rule : rules) {
        DIR* folder = opendir(rule.folder.c_str());
        if (!folder) continue;
        while (dirent* entry = readdir(folder)) {
            std::string path = rule.folder + entry->d_name;
            char target[PATH_MAX];
            if (!rule.counts(entry->d_name) || !isLink(path) || !realpath(path.c_str(), target)) continue;
            std::string file = target;
            std::string targetFolder = file.substr(0, file.rfind('/') + 1);
            int watch = inotify_add_watch(descriptor, targetFolder.c_str(), changes);
            if (watch < 0) continue;
            folders.emplace(watch, targetFolder);
            found[{watch, file.substr(targetFolder.size())}] = path;
            if (links.find({watch, file.substr(targetFolder.size())}) == links.end())
                logger << "Watcher: " << path << " is a link: saving " << file << " counts as saving it" << std::endl;
        }
        closedir(folder);
    }
    links.swap(found);
}
