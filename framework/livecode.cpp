// Livecode: the build runs as a child process in its own process group, writing into a memory
// file; each frame asks once, without waiting, whether it has ended. The module it made is
// copied into a memory file of its own, so that no copy of it is ever on a disk: a throw-away
// copy of the program loads it first, then the program itself, both from /proc/self/fd.
#include "livecode.h"

#include <cxxabi.h>
#include <dlfcn.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/sendfile.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>

#include "clock.h"
#include "guard.h"
#include "logger.h"
#include "watcher.h"

// The target scenes/CMakeLists.txt defines, and the file it writes in the build directory.
static const char* const moduleTarget = "scenemodule";
static const char* const moduleFile = "/scenes.so";

// ---- Where the sources and the build are --------------------------------------------------------

static std::string directory(const char* variable, const char* built)
{
    const char* chosen = getenv(variable);
    return chosen && *chosen ? chosen : built;
}

std::string Livecode::sourceDirectory() { return directory("DEMO_SCENES", SCENE_SOURCES_DIR); }

std::string Livecode::engineDirectory() { return ENGINE_SOURCES_DIR; }

std::string Livecode::buildDirectory() { return directory("DEMO_SCENES_BUILD", SCENE_BUILD_DIR); }

std::string Livecode::newerThanProgram(const std::string& folder, bool (*counts)(const std::string& name))
{
    namespace fs = std::filesystem;
    std::error_code failed;
    fs::file_time_type built = fs::last_write_time("/proc/self/exe", failed);
    if (failed) return "";
    for (const fs::directory_entry& entry : fs::directory_iterator(folder, failed)) {
        std::string name = entry.path().filename().string();
        if (counts(name) && entry.is_regular_file(failed) && entry.last_write_time(failed) > built)
            return entry.path().string();
    }
    return "";
}

// ---- The live code's life, and what the scenes keep ---------------------------------------------

Livecode::Livecode()
    : started(false), swapping(false), step(Step::Idle), output(-1), began(0.0), aside(0), asideBytes(0.0)
{
}

// The modules stay loaded to the end: the director deletes their scenes after this goes.
Livecode::~Livecode()
{
    if (output >= 0) close(output);
    if (aside > 0)
        logger << "Livecode: " << aside << (aside == 1 ? " module" : " modules")
               << " put aside after a fault stayed loaded, " << asideBytes / 1024.0 << " KB" << std::endl;
}

void Livecode::keepValue(const char* name, void* address, size_t size, const char* type)
{
    std::vector<Kept>& list = swapping ? incoming : kept;
    for (Kept& entry : list)
        if (entry.name == name) {
            entry = {name, type, address, size};  // a scene made again replaces its old values
            return;
        }
    list.push_back({name, type, address, size});
}

// ---- Building, in a child process ---------------------------------------------------------------

// The value `key` ("CMAKE_CXX_COMPILER:FILEPATH") has in the build directory's cache, "" when
// it has none.
static std::string cached(const std::string& key)
{
    std::ifstream cache(Livecode::buildDirectory() + "/CMakeCache.txt");
    for (std::string line; std::getline(cache, line);)
        if (line.compare(0, key.size() + 1, key + "=") == 0) return line.substr(key.size() + 1);
    return "";
}

// Whether `program` is an executable file in one of the PATH's folders.
static bool onPath(const std::string& program)
{
    const char* path = getenv("PATH");
    std::istringstream folders(path ? path : "");
    for (std::string folder; std::getline(folders, folder, ':');)
        if (!folder.empty() && access((folder + "/" + program).c_str(), X_OK) == 0) return true;
    return false;
}

void Livecode::start()
{
    if (started) return;
    std::string build = buildDirectory();
    if (access((build + "/CMakeCache.txt").c_str(), R_OK) != 0) {
        logger << "Livecode: No build directory at " << build << ", saved scenes are not rebuilt" << std::endl;
        return;
    }
    // Without CMake or the compiler every build would fail the same way: said once, here.
    std::string compiler = cached("CMAKE_CXX_COMPILER:FILEPATH");
    if (access(compiler.c_str(), X_OK) != 0) {
        logger << "Livecode: No compiler at " << compiler << ", saved scenes are not rebuilt" << std::endl;
        return;
    }
    if (!onPath("cmake")) {
        logger << "Livecode: No cmake on the PATH, saved scenes are not rebuilt" << std::endl;
        return;
    }
    started = true;
    logger << "Livecode: Rebuilding the scenes on every save in " << sourceDirectory() << std::endl;
}

void Livecode::own(Registration registration)
{
    program.registration = registration;
    if (!running.registration) running = previous = program;
}

void Livecode::rebuild(const std::string& file)
{
    if (!started) return;
    if (step == Step::Vetting) {  // what it vets is out of date
        build.stop();
        build.wait(-1);
        drop(candidate);
        step = Step::Idle;
    }
    if (step == Step::Idle) return launch(file);
    // The build that runs now builds sources that are stale already: it is stopped, and the
    // next one starts once it has gone. SIGTERM, so that make deletes what it was writing.
    if (waiting.empty()) build.stop(SIGTERM);
    waiting = file;
}

// Empties the memory file the children write into, made at the first use
static bool emptied(int& file)
{
    if (file < 0) file = memfd_create("scene build", MFD_CLOEXEC);
    return file >= 0 && ftruncate(file, 0) == 0 && lseek(file, 0, SEEK_SET) == 0;
}

void Livecode::launch(const std::string& file)
{
    logger << "Livecode: " << file << " changed, rebuilding the scenes" << std::endl;
    if (!emptied(output)) {
        logger << "Livecode: Cannot keep the build's output: " << strerror(errno) << std::endl;
        return;
    }
    Process::Setting setting;
    setting.in = Process::nowhere;
    setting.out = setting.err = output;
    began = steadyMs();
    Result started = build.start({"cmake", "--build", buildDirectory(), "--target", moduleTarget}, setting);
    if (!started.ok()) {
        logger << "Livecode: Cannot rebuild the scenes, " << started.reason() << std::endl;
        return;
    }
    step = Step::Building;
}

Result Livecode::update()
{
    if (step == Step::Idle || build.running()) {
        if (step == Step::Vetting && steadyMs() - began > Guard::bound * 1000) {
            build.stop();
            build.wait(-1);
            step = Step::Idle;
            drop(candidate);
            return Result::refuse("Cannot load the rebuilt scenes: a file-level constructor has not returned after " +
                                  std::to_string(Guard::bound) + " s (an endless loop?)");
        }
        return Result();
    }
    Step ended = step;
    step = Step::Idle;
    if (ended == Step::Vetting) return vet();
    if (waiting.empty()) return finish();
    std::string next = waiting;  // the build stopped for a newer save
    waiting.clear();
    launch(next);
    return Result();
}

Livecode::Registration Livecode::arrived() const { return arriving.registration; }

bool Livecode::guarded() const { return running.module != nullptr; }

// ---- What a build says --------------------------------------------------------------------------

// Everything a child wrote into `file`
static std::string readAll(int file)
{
    std::string text;
    char buffer[4096];
    lseek(file, 0, SEEK_SET);
    for (ssize_t got; (got = read(file, buffer, sizeof(buffer))) > 0;) text.append(buffer, static_cast<size_t>(got));
    return text;
}

// `path` made relative to the scene sources' parent ("scenes/intro.cpp")
static std::string fromSources(std::string path, const std::string& sources)
{
    std::string root = sources.substr(0, sources.find_last_of('/') + 1);
    if (path.compare(0, root.size(), root) == 0) path.erase(0, root.size());
    return path;
}

// The build's first error as "file:line: message", the file relative to the scene sources'
// parent: the compiler's ("scenes/intro.cpp:3: error: ..."), or CMake's, whose message is on
// the indented line after its "CMake Error at file:line (command):", the file relative to the
// build's source tree; the build's last line when neither is in it (make's own complaint, a
// linker's).
static std::string firstError(const std::string& text, const std::string& sources)
{
    std::string tree = cached("CMAKE_HOME_DIRECTORY:INTERNAL") + "/";
    static const std::regex compiler(R"(^(.+?):(\d+):(?:\d+:)? ((?:fatal )?error: .*)$)");
    static const std::regex cmake(R"(^CMake Error at (.+?):(\d+)(?: \(.*\))?:$)");
    std::istringstream lines(text);
    std::string last, place;
    for (std::string line; std::getline(lines, line);) {
        std::smatch found;
        if (!place.empty() && line.compare(0, 2, "  ") == 0) return place + line.substr(line.find_first_not_of(' '));
        if (std::regex_match(line, found, compiler))
            return fromSources(found[1], sources) + ":" + found[2].str() + ": " + found[3].str();
        if (std::regex_match(line, found, cmake)) {
            std::string file = found[1];
            place = fromSources(file[0] == '/' ? file : tree + file, sources) + ":" + found[2].str() + ": ";
        }
        if (!line.empty()) last = line;
    }
    return last;
}

Result Livecode::finish()
{
    char took[32];
    snprintf(took, sizeof(took), "%.2f s", (steadyMs() - began) / 1000);
    std::string text = readAll(output);
    if (WIFEXITED(build.status()) && WEXITSTATUS(build.status()) == 0) {
        logger << "Livecode: Built in " << took << std::endl;
        return load();
    }
    logger << "Livecode: Build failed after " << took << ", the running scenes play on:" << std::endl;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) logger << "Livecode: " << line << std::endl;
    return Result::refuse(firstError(text, sourceDirectory()));
}

// The loader's message with the module's memory file named as the build's file, and an
// undefined symbol as it reads in the source: "undefined symbol: undefinedHere()"
static std::string readable(std::string message, const std::string& loaded, const std::string& built)
{
    if (message.compare(0, loaded.size(), loaded) == 0) message.replace(0, loaded.size(), built);
    const std::string undefined = "undefined symbol: ";
    size_t at = message.find(undefined);
    if (at == std::string::npos) return message;
    at += undefined.size();
    size_t end = message.find_first_of(" ,", at);
    std::string symbol = message.substr(at, end == std::string::npos ? std::string::npos : end - at);
    int status = 0;
    char* name = abi::__cxa_demangle(symbol.c_str(), nullptr, nullptr, &status);
    if (name) message.replace(at, symbol.size(), name);
    free(name);
    return message;
}

// ---- Loading, vetting and letting go of a module ------------------------------------------------

// The module the build made, in a memory file of its own: the next build rewrites the build's
// file while this one runs
static int copyModule(const std::string& path)
{
    int source = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (source < 0) return -1;
    struct stat status;
    int copy = fstat(source, &status) == 0 ? memfd_create(Guard::moduleFile, MFD_CLOEXEC) : -1;
    off_t offset = 0;
    while (copy >= 0 && offset < status.st_size)
        if (sendfile(copy, source, &offset, static_cast<size_t>(status.st_size - offset)) <= 0) {
            close(copy);
            copy = -1;
        }
    close(source);
    return copy;
}

static std::string inMemory(int file) { return "/proc/self/fd/" + std::to_string(file); }

// Starts loading the module in a throw-away copy of the program: its file-level constructors
// may crash, exit or never return, and that copy takes it.
Result Livecode::load()
{
    std::string path = buildDirectory() + moduleFile;
    std::string changed = newerThanProgram(engineDirectory(), Watcher::engineHeader);
    if (!changed.empty())
        return Result::refuse("Rebuilt scenes are not swapped in: the engine changed (" + changed +
                              " is newer than the demo), rebuild and restart it");
    candidate.file = copyModule(path);
    if (candidate.file < 0 || !emptied(output)) {
        drop(candidate);
        return Result::refuse("Cannot read the rebuilt scenes: " + path);
    }
    std::string loaded = inMemory(candidate.file);
    Process::Setting setting;
    setting.out = setting.err = output;
    int said = output;
    Result started = build.start(
        [&] {
            guard.forked();
            const char* why = nullptr;
            Result opened = guard.call(
                "", "module load", [&] { why = dlopen(loaded.c_str(), RTLD_NOW | RTLD_LOCAL) ? nullptr : dlerror(); },
                false);
            std::string refusal = opened.ok() ? (why ? why : "") : opened.reason();
            ssize_t written = write(said, refusal.data(), refusal.size());
            (void)written;
            return refusal.empty() ? 0 : 1;
        },
        setting);
    if (!started.ok()) {
        drop(candidate);
        return Result::refuse("Cannot load the rebuilt scenes: " + started.reason());
    }
    began = steadyMs();
    step = Step::Vetting;
    return Result();
}

// The vetting ended: a module that loaded there is loaded here
Result Livecode::vet()
{
    std::string path = buildDirectory() + moduleFile, loaded = inMemory(candidate.file);
    if (!WIFEXITED(build.status()) || WEXITSTATUS(build.status()) != 0) {
        std::string said = readAll(output);
        drop(candidate);
        return Result::refuse("Cannot load the rebuilt scenes: " +
                              readable(said.empty() ? "module load: " + build.ending() : said, loaded, path));
    }
    void* handle = nullptr;
    Result opened = guard.call("", "module load", [&] { handle = dlopen(loaded.c_str(), RTLD_NOW | RTLD_LOCAL); }, false);
    if (!opened.ok()) {  // behaved in the copy, not here: the loader may be left halfway
        putAside(candidate);
        return Result::refuse("Cannot load the rebuilt scenes: " + opened.reason());
    }
    if (!handle) {
        std::string why = readable(dlerror(), loaded, path);
        drop(candidate);
        return Result::refuse("Cannot load the rebuilt scenes: " + why);
    }
    candidate.module = handle;
    candidate.registration = reinterpret_cast<Registration>(dlsym(handle, "registerScenes"));
    if (!candidate.registration) {
        drop(candidate);
        return Result::refuse("Cannot load the rebuilt scenes: " + path + " registers no scenes");
    }
    arriving = candidate;
    candidate = Version();
    return Result();
}

// A module no scene of which runs any more: unloaded, its file-level destructors guarded
void Livecode::drop(Version& version)
{
    if (version.faulted) return putAside(version);
    if (version.module) {
        void* module = version.module;
        Result unloaded = guard.call("", "module unload", [module] { dlclose(module); }, false);
        if (!unloaded.ok()) {
            logger << "Livecode: " << unloaded.reason() << std::endl;
            return putAside(version);
        }
    }
    if (version.file >= 0) close(version.file);
    version = Version();
}

// A module whose code faulted: never called again, and left loaded with its memory file open,
// so that no later module can take its name
void Livecode::putAside(Version& version)
{
    if (version.file >= 0) {
        struct stat status;
        if (fstat(version.file, &status) == 0) asideBytes += static_cast<double>(status.st_size);
        aside++;
    }
    version = Version();
}

// ---- The swap and the fall-back -----------------------------------------------------------------

std::vector<Livecode::Value> Livecode::valuesOf(const std::vector<Kept>& list)
{
    std::vector<Value> values;
    for (const Kept& entry : list) {
        const unsigned char* bytes = static_cast<const unsigned char*>(entry.address);
        values.push_back({entry.name, entry.type, std::vector<unsigned char>(bytes, bytes + entry.size)});
    }
    return values;
}

// A value whose name, type or size changed starts from what the new scene gives it.
void Livecode::handOver(const std::vector<Value>& values, const std::vector<Kept>& list)
{
    for (const Kept& entry : list)
        for (const Value& value : values)
            if (value.name == entry.name && value.type == entry.type && value.bytes.size() == entry.size)
                memcpy(entry.address, value.bytes.data(), entry.size);
}

void Livecode::snapshot()
{
    if (before.size() != kept.size()) before = valuesOf(kept);
    for (size_t i = 0; i < kept.size(); i++) memcpy(before[i].bytes.data(), kept[i].address, kept[i].size);
}

void Livecode::beginSwap()
{
    taken = valuesOf(kept);
    incoming.clear();
    swapping = true;
}

void Livecode::endSwap(bool swapped, bool codeFaulted)
{
    swapping = false;
    if (!swapped) {
        incoming.clear();
        arriving.faulted = arriving.faulted || codeFaulted;
        drop(arriving);
        handOver(taken, kept);
        return;
    }
    handOver(taken, incoming);
    kept.swap(incoming);
    incoming.clear();
    taken.clear();
    before.clear();
    if (!arriving.registration) return;  // a fall back: the versions are in place already
    if (running.faulted) {
        putAside(running);
    } else if (previous.module != running.module) {
        drop(previous);
        previous = running;
    }
    running = arriving;
    arriving = Version();
}

void Livecode::faulted() { running.faulted = true; }

Livecode::Registration Livecode::fallBack()
{
    if (!swapping) taken = before.size() == kept.size() ? before : valuesOf(kept);
    incoming.clear();
    swapping = true;
    if (arriving.registration) putAside(arriving);  // it was swapping in, and faulted
    if (running.module) putAside(running);
    running = previous;
    previous = program;
    return running.registration;
}
