// The program runner: the engine's own Process, Xvfb with -displayfd, xdotool through the shell.
#include "tests/support/program.h"

#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <pwd.h>
#include <regex>
#include <sstream>
#include <stdexcept>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>
#include <X11/Xlib.h>
#include <X11/Xutil.h>

namespace program {

using Clock = std::chrono::steady_clock;

bool waitFor(double seconds, const std::function<bool()>& ready)
{
    Clock::time_point deadline = Clock::now() + std::chrono::milliseconds(static_cast<int>(seconds * 1000));
    while (true) {
        if (ready()) return true;
        if (Clock::now() > deadline) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
}

Program::Program(const fixture::Directory& directory, std::vector<std::string> arguments)
    : directory(directory), arguments(std::move(arguments))
{
    int channel[2];
    if (pipe(channel) != 0) throw std::runtime_error("pipe failed");
    Process::Setting quiet;
    quiet.err = Process::nowhere;
    Result started = xvfb.start({"Xvfb", "-displayfd", std::to_string(channel[1]), "-screen", "0", "1280x1024x24",
                                 "-nolisten", "tcp", "-noreset"},
                                quiet);
    close(channel[1]);
    char number[32] = {0};
    ssize_t got = read(channel[0], number, sizeof(number) - 1);  // once it listens, or nothing when it ends
    close(channel[0]);
    if (!started.ok() || got <= 0) throw std::runtime_error("Xvfb did not start: " + started.reason());
    displayName = ":" + std::string(number, strcspn(number, "\n"));
}

// Ended with SIGTERM: killed, Xvfb would leave its lock and its socket behind
Program::~Program()
{
    if (x) XCloseDisplay(x);
    xvfb.stop(SIGTERM);
    xvfb.wait(5);
}

void Program::environment(const std::string& name, const std::string& value) { variables.push_back({name, value}); }

bool Program::unprivileged()
{
    if (geteuid() != 0) return true;
    const passwd* nobody = getpwnam("nobody");
    if (!nobody) return false;
    user = static_cast<int>(nobody->pw_uid);
    group = static_cast<int>(nobody->pw_gid);
    return true;
}

void Program::start()
{
    std::vector<std::string> command;
    if (user >= 0) {  // the program writes its log and its screenshots there
        namespace fs = std::filesystem;
        for (const fs::directory_entry& entry : fs::recursive_directory_iterator(directory.path()))
            lchown(entry.path().c_str(), user, group);
        lchown(directory.path().c_str(), user, group);
        command = {"setpriv", "--reuid", std::to_string(user), "--regid", std::to_string(group), "--clear-groups"};
    }
    command.push_back(binary);
    command.insert(command.end(), arguments.begin(), arguments.end());
    Process::Setting setting;
    setting.directory = directory.path();
    setting.environment = variables;
    setting.environment.push_back({"DISPLAY", displayName});
    setting.out = open(directory.file("stdout.txt").c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    setting.err = open(directory.file("stderr.txt").c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    Result started = process.start(command, setting);
    close(setting.out);
    close(setting.err);
    if (!started.ok()) throw std::runtime_error(started.reason());
}

bool Program::running() { return process.running(); }

Ended Program::wait(double seconds)
{
    if (!process.wait(seconds)) {
        process.stop(SIGKILL);
        process.wait(5);
    }
    int status = process.status();
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, WIFSIGNALED(status) ? WTERMSIG(status) : 0, out(), err()};
}

void Program::loseDisplay()
{
    xvfb.stop(SIGKILL);
    xvfb.wait(5);
}

Ended Program::quit()
{
    key("Escape");
    return wait();
}

void Program::send(int signal)
{
    if (process.running()) kill(process.id(), signal);
}

std::string Program::log() const { return directory.read("demo.log"); }

std::string Program::out() const { return directory.read("stdout.txt"); }

std::string Program::err() const { return directory.read("stderr.txt"); }

bool Program::waitForLog(const std::string& text, double seconds) const
{
    return waitFor(seconds, [&] { return log().find(text) != std::string::npos; });
}

std::string Program::xdotool(const std::string& arguments)
{
    std::string expanded = arguments;
    for (size_t at; (at = expanded.find("%w")) != std::string::npos;) expanded.replace(at, 2, window());
    std::string said = output("DISPLAY=" + displayName + " timeout 10 xdotool " + expanded + " 2>/dev/null");
    while (!said.empty() && (said.back() == '\n' || said.back() == '\r')) said.pop_back();
    return said;
}

std::string Program::window()
{
    if (windowId.empty()) {
        std::string found = xdotool("search --sync --onlyvisible --pid " + std::to_string(process.id()));
        windowId = found.substr(0, found.find('\n'));
        if (!windowId.empty()) xdotool("windowfocus --sync " + windowId);
    }
    return windowId;
}

std::string Program::title() { return xdotool("getwindowname " + window()); }

bool Program::waitForTitle(const std::string& text, double seconds)
{
    return waitFor(seconds, [&] { return title().find(text) != std::string::npos; });
}

fixture::Rgba Program::centre()
{
    if (!x) {
        // A window that went (the program ended) is an error reply, which would end the tests.
        XSetErrorHandler([](::Display*, XErrorEvent*) { return 0; });
        x = XOpenDisplay(displayName.c_str());
    }
    Window drawable = std::stoul(window());
    XWindowAttributes attributes;
    if (!x || !XGetWindowAttributes(x, drawable, &attributes)) return {0, 0, 0, 0};
    XImage* image = XGetImage(x, drawable, attributes.width / 2, attributes.height / 2, 1, 1, AllPlanes, ZPixmap);
    if (!image) return {0, 0, 0, 0};
    unsigned long pixel = XGetPixel(image, 0, 0);
    XDestroyImage(image);
    return {static_cast<uint8_t>(pixel >> 16), static_cast<uint8_t>(pixel >> 8), static_cast<uint8_t>(pixel), 255};
}

bool Program::waitForStatusAlone(double seconds)
{
    return waitFor(seconds, [&] {
        std::string shown = title();
        size_t rate = shown.find(" - FPS: ");
        return rate != std::string::npos && shown.find(" - ", rate + 3) == std::string::npos;
    });
}

bool Program::shows(const std::string& shades, double seconds)
{
    return waitFor(seconds, [&] { return shades.find(shade(centre())) != std::string::npos; });
}

char shade(fixture::Rgba seen)
{
    auto high = [](int level) { return level > 150; };
    auto low = [](int level) { return level < 80; };
    if (high(seen.r) && seen.r == seen.g && seen.g == seen.b) return 'w';
    if (high(seen.r) && low(seen.g) && low(seen.b)) return 'r';
    if (low(seen.r) && high(seen.g) && low(seen.b)) return 'g';
    if (low(seen.r) && low(seen.g) && seen.b > 100) return 'b';
    return '?';
}

// Keys go to the focused window (XTEST): SDL ignores events sent to a window directly.
void Program::key(const std::string& keys)
{
    window();
    xdotool("key " + keys);
}

std::string output(const std::string& command)
{
    std::string text;
    if (FILE* pipe = popen(command.c_str(), "r")) {
        char buffer[4096];
        for (size_t got; (got = fread(buffer, 1, sizeof(buffer), pipe)) > 0;) text.append(buffer, got);
        pclose(pipe);
    }
    return text;
}

int occurrences(const std::string& text, const std::string& needle)
{
    int found = 0;
    for (size_t at = text.find(needle); at != std::string::npos; at = text.find(needle, at + 1)) found++;
    return found;
}

std::vector<std::string> lines(const std::string& text)
{
    std::vector<std::string> result;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) result.push_back(line);
    return result;
}

std::vector<int> musicPositions(const std::string& log)
{
    std::vector<int> found;
    for (const std::string& line : lines(log))
        if (size_t at = line.find(" - Plot "); at != std::string::npos) found.push_back(std::stoi(line.substr(at + 8)));
    return found;
}

std::vector<std::string> logLines(const std::string& log)
{
    static const std::regex dated(R"(^\d{4}-\d{2}-\d{2}: \d{2}:\d{2}:\d{2} - )");
    std::vector<std::string> result;
    for (const std::string& line : lines(log)) {
        std::string text = std::regex_replace(line, dated, "");
        bool timed = text.rfind("Plot ", 0) == 0 || text.rfind("Events: Mouse focus", 0) == 0 ||
                     text.rfind("Events: Keyboard focus", 0) == 0;
        if (!timed) result.push_back(text);
    }
    return result;
}

}  // namespace program
