// Livecode: the build runs as a child process in its own process group, writing into a memory
// file; each frame asks once, without waiting, whether it has ended. The module it made is
// loaded from a copy, which is gone from the disk again as soon as it is loaded.
#include "livecode.h"

#include <dlfcn.h>       // Required for: dlopen(), dlsym(), dlclose(), dlerror()
#include <fcntl.h>       // Required for: open()
#include <signal.h>      // Required for: kill(), SIGKILL, SIGTERM
#include <sys/mman.h>    // Required for: memfd_create()
#include <sys/prctl.h>   // Required for: prctl(), PR_SET_PDEATHSIG
#include <sys/wait.h>    // Required for: waitpid()
#include <unistd.h>      // Required for: fork(), execlp(), dup2(), read(), write(), lseek(), access()

#include <cerrno>   // Required for: errno
#include <chrono>   // Required for: std::chrono::steady_clock
#include <cstdio>   // Required for: snprintf()
#include <cstdlib>  // Required for: getenv(), mkstemps()
#include <cstring>  // Required for: memcpy(), strerror()
#include <fstream>  // Required for: std::ifstream
#include <regex>    // Required for: std::regex, the compiler's error lines
#include <sstream>  // Required for: std::istringstream

#include "logger.h"

// The target scenes/CMakeLists.txt defines, and the file it writes in the build directory.
static const char* const moduleTarget = "scenemodule";
static const char* const moduleFile = "/scenes.so";

// A child that cannot start cmake says so with this status, as a shell does.
static const int cannotRun = 127;

static double seconds()
{
    return std::chrono::duration<double>(std::chrono::steady_clock::now().time_since_epoch()).count();
}

static std::string directory(const char* variable, const char* built)
{
    const char* chosen = getenv(variable);
    return chosen && *chosen ? chosen : built;
}

std::string Livecode::sourceDirectory() { return directory("DEMO_SCENES", SCENE_SOURCES_DIR); }

std::string Livecode::buildDirectory() { return directory("DEMO_SCENES_BUILD", SCENE_BUILD_DIR); }

Livecode::Livecode()
    : started(false), swapping(false), child(-1), output(-1), began(0.0), module(nullptr), loaded(nullptr),
      copies(0)
{
}

// The modules stay loaded to the end: the director deletes their scenes after this goes.
Livecode::~Livecode()
{
    if (child > 0) {
        kill(-child, SIGKILL);
        waitpid(child, nullptr, 0);
    }
    if (output >= 0) close(output);
}

void Livecode::keepValue(const char* name, void* address, size_t size)
{
    std::vector<Kept>& list = swapping ? incoming : kept;
    for (Kept& entry : list)
        if (entry.name == name) {
            entry = {name, address, size};  // a scene made again replaces its old values
            return;
        }
    list.push_back({name, address, size});
}

// The compiler the build directory was configured with, "" when it names none.
static std::string compilerOf(std::ifstream& cache)
{
    const std::string key = "CMAKE_CXX_COMPILER:FILEPATH=";
    for (std::string line; std::getline(cache, line);)
        if (line.compare(0, key.size(), key) == 0) return line.substr(key.size());
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
    std::ifstream cache(build + "/CMakeCache.txt");
    if (!cache) {
        logger << "Livecode: No build directory at " << build << ", saved scenes are not rebuilt" << std::endl;
        return;
    }
    // Without CMake or the compiler every build would fail the same way: said once, here.
    std::string compiler = compilerOf(cache);
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

void Livecode::rebuild(const std::string& file)
{
    if (!started) return;
    if (child <= 0) return launch(file);
    // The build that runs now builds sources that are stale already: it is stopped, and the
    // next one starts once it has gone. SIGTERM, so that make deletes what it was writing.
    if (waiting.empty()) kill(-child, SIGTERM);
    waiting = file;
}

void Livecode::launch(const std::string& file)
{
    logger << "Livecode: " << file << " changed, rebuilding the scenes" << std::endl;
    if (output < 0) output = memfd_create("scene build", MFD_CLOEXEC);
    if (output < 0 || ftruncate(output, 0) != 0) {
        logger << "Livecode: Cannot keep the build's output: " << strerror(errno) << std::endl;
        return;
    }
    std::string build = buildDirectory();
    began = seconds();
    child = fork();
    if (child == 0) {
        // Its own group, so that the whole build (make, the compilers) can be stopped at once,
        // and stopped with the program however the program ends.
        setpgid(0, 0);
        prctl(PR_SET_PDEATHSIG, SIGTERM);
        int nothing = open("/dev/null", O_RDONLY);
        dup2(nothing, 0);
        dup2(output, 1);
        dup2(output, 2);
        execlp("cmake", "cmake", "--build", build.c_str(), "--target", moduleTarget, static_cast<char*>(nullptr));
        std::string why = std::string("cannot run cmake: ") + strerror(errno) + "\n";
        ssize_t ignored = write(2, why.data(), why.size());
        (void)ignored;
        _exit(cannotRun);
    }
    if (child < 0) logger << "Livecode: Cannot start the build: " << strerror(errno) << std::endl;
}

Livecode::Registration Livecode::update()
{
    if (child <= 0) return nullptr;
    int status = 0;
    if (waitpid(child, &status, WNOHANG) != child) return nullptr;
    child = -1;
    if (waiting.empty()) return finish(status);
    std::string next = waiting;  // the build stopped for a newer save
    waiting.clear();
    launch(next);
    return nullptr;
}

// Everything the build wrote
static std::string readAll(int file)
{
    std::string text;
    char buffer[4096];
    lseek(file, 0, SEEK_SET);
    for (ssize_t got; (got = read(file, buffer, sizeof(buffer))) > 0;) text.append(buffer, static_cast<size_t>(got));
    return text;
}

// The compiler's first error as "file:line: error: message", the file relative to the scene sources'
// parent ("scenes/intro.cpp"); the build's last line when no compiler error is in it (make's
// own complaint, a linker's).
static std::string firstError(const std::string& text, const std::string& sources)
{
    static const std::regex error(R"(^(.+?):(\d+):(?:\d+:)? ((?:fatal )?error: .*)$)");
    std::string root = sources.substr(0, sources.find_last_of('/') + 1);
    std::istringstream lines(text);
    std::string last;
    for (std::string line; std::getline(lines, line);) {
        std::smatch found;
        if (std::regex_match(line, found, error)) {
            std::string file = found[1];
            if (file.compare(0, root.size(), root) == 0) file.erase(0, root.size());
            return file + ":" + found[2].str() + ": " + found[3].str();
        }
        if (!line.empty()) last = line;
    }
    return last;
}

Livecode::Registration Livecode::finish(int status)
{
    char took[32];
    snprintf(took, sizeof(took), "%.2f s", seconds() - began);
    std::string text = readAll(output);
    if (WIFEXITED(status) && WEXITSTATUS(status) == 0) {
        logger << "Livecode: Built in " << took << std::endl;
        return load();
    }
    if (WIFEXITED(status) && WEXITSTATUS(status) == cannotRun && text.rfind("cannot run cmake", 0) == 0) {
        logger << "Livecode: Cannot rebuild the scenes, " << text.substr(0, text.find('\n')) << std::endl;
        return nullptr;
    }
    logger << "Livecode: Build failed after " << took << ", the running scenes play on:" << std::endl;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) logger << "Livecode: " << line << std::endl;
    error = firstError(text, sourceDirectory());
    return nullptr;
}

void Livecode::fail(const std::string& what, const std::string& detail)
{
    logger << "Livecode: " << what << ", the running scenes play on: " << detail << std::endl;
    error = what + ": " + detail;
}

// A private copy of the built module: the next build rewrites the file in the build directory
// while this one runs. Every copy has a name of its own, since the loader takes a name it has
// loaded before for the module it loaded then; the name goes as soon as the module is loaded.
static std::string copyModule(const std::string& path, int number)
{
    std::ifstream file(path, std::ios::binary);
    if (!file) return "";
    const char* temporary = getenv("TMPDIR");
    std::string pattern = std::string(temporary && *temporary ? temporary : "/tmp") + "/demo-scenes-" +
                          std::to_string(getpid()) + "-" + std::to_string(number) + "-XXXXXX.so";
    int copy = mkstemps(&pattern[0], 3);
    if (copy < 0) return "";
    std::string bytes((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    bool written = write(copy, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size());
    close(copy);
    if (written) return pattern;
    unlink(pattern.c_str());
    return "";
}

Livecode::Registration Livecode::load()
{
    std::string path = buildDirectory() + moduleFile;
    std::string copy = copyModule(path, ++copies);
    if (copy.empty()) {
        fail("Cannot read the rebuilt scenes", path);
        return nullptr;
    }
    void* handle = dlopen(copy.c_str(), RTLD_NOW | RTLD_LOCAL);
    unlink(copy.c_str());
    if (!handle) {
        // Named after the module the build made, not the copy that is gone already.
        std::string why = dlerror();
        if (why.compare(0, copy.size(), copy) == 0) why.replace(0, copy.size(), path);
        fail("Cannot load the rebuilt scenes", why);
        return nullptr;
    }
    Registration registration = reinterpret_cast<Registration>(dlsym(handle, "registerScenes"));
    if (!registration) {
        dlclose(handle);
        fail("Cannot load the rebuilt scenes", path + " registers no scenes");
        return nullptr;
    }
    loaded = handle;
    return registration;
}

void Livecode::beginSwap()
{
    taken.clear();
    for (const Kept& entry : kept) {
        const unsigned char* bytes = static_cast<const unsigned char*>(entry.address);
        taken.push_back({entry.name, std::vector<unsigned char>(bytes, bytes + entry.size)});
    }
    incoming.clear();
    swapping = true;
}

void Livecode::endSwap(const Result& swapped)
{
    swapping = false;
    if (!swapped.ok()) {
        incoming.clear();
        if (loaded) dlclose(loaded);
        loaded = nullptr;
        fail("The rebuilt scenes were not swapped in", swapped.reason());
        return;
    }
    // A value whose name or size changed starts from what the new scene gives it.
    for (const Kept& entry : incoming)
        for (const Value& value : taken)
            if (value.name == entry.name && value.bytes.size() == entry.size)
                memcpy(entry.address, value.bytes.data(), entry.size);
    kept.swap(incoming);
    incoming.clear();
    taken.clear();
    // The old scenes are deleted by now; their code can go.
    if (module) dlclose(module);
    module = loaded;
    loaded = nullptr;
    error.clear();
}
