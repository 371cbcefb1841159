// Process: fork, a watcher, then exec or the body. Everything the child needs is made before
// the fork: after it, in the copy of a program that has threads (the sound's, the renderer's),
// only what is safe in a signal handler may run.
#include "process.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <ctime>

extern char** environ;

// Null-terminated pointers to `texts`, which must outlive them
static std::vector<char*> pointers(std::vector<std::string>& texts)
{
    std::vector<char*> list;
    for (std::string& text : texts) list.push_back(&text[0]);
    list.push_back(nullptr);
    return list;
}

// This program's environment with `changes` made
static std::vector<std::string> environmentWith(const std::vector<std::pair<std::string, std::string>>& changes)
{
    std::vector<std::string> variables;
    for (char** variable = environ; *variable; variable++) {
        std::string entry = *variable;
        bool changed = false;
        for (const auto& [name, value] : changes) changed = changed || entry.compare(0, name.size() + 1, name + "=") == 0;
        if (!changed) variables.push_back(entry);
    }
    for (const auto& [name, value] : changes) variables.push_back(name + "=" + value);
    return variables;
}

// The watcher: once `lifeline` closes (this program has ended, however) it stops the whole
// group; it ends itself with the child, its parent. It keeps no other descriptor open and
// outlasts the signals the group is stopped with, but SIGKILL.
[[noreturn]] static void watch(int lifeline, pid_t group)
{
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != group) _exit(0);  // the child went before the line above took effect
    for (int signal : {SIGTERM, SIGINT, SIGHUP, SIGQUIT, SIGPIPE}) ::signal(signal, SIG_IGN);
    if (lifeline > 0) close_range(0, static_cast<unsigned int>(lifeline) - 1, 0);
    close_range(static_cast<unsigned int>(lifeline) + 1, ~0u, 0);
    pollfd end = {lifeline, POLLIN, 0};
    while (poll(&end, 1, -1) < 0 && errno == EINTR) {
    }
    kill(-group, SIGKILL);
    _exit(0);
}

// The child's standard stream `target` from `source`: a descriptor, /dev/null, or as it is
static void redirect(int source, int target)
{
    if (source == Process::nowhere) source = open("/dev/null", target == 0 ? O_RDONLY : O_WRONLY);
    if (source >= 0 && source != target) dup2(source, target);
}

// In the child: its own group, the watcher beside it, its streams, folder and environment
static void settle(int lifeline[2], const Process::Setting& setting, char** environment)
{
    setpgid(0, 0);
    close(lifeline[1]);
    pid_t self = getpid();
    if (fork() == 0) watch(lifeline[0], self);
    close(lifeline[0]);
    redirect(setting.in, 0);
    redirect(setting.out, 1);
    redirect(setting.err, 2);
    if (!setting.directory.empty() && chdir(setting.directory.c_str()) != 0) _exit(126);
    environ = environment;
}

Result Process::launch(const std::function<void()>& body, const Setting& setting)
{
    std::vector<std::string> variables = environmentWith(setting.environment);
    std::vector<char*> environment = pointers(variables);
    int line[2];
    if (pipe2(line, O_CLOEXEC) != 0) return Result::refuse(std::string("cannot make a pipe: ") + strerror(errno));
    ended = 0;
    child = fork();
    if (child == 0) {
        settle(line, setting, environment.data());
        body();
    }
    int forked = errno;
    close(line[0]);
    if (child < 0) {
        close(line[1]);
        return Result::refuse(std::string("cannot start a process: ") + strerror(forked));
    }
    setpgid(child, child);  // so that stop() reaches the group even before the child has run
    lifeline = line[1];
    return Result();
}

Result Process::start(const std::vector<std::string>& arguments, const Setting& setting)
{
    if (arguments.empty()) return Result::refuse("nothing to run");
    std::vector<std::string> words = arguments;
    std::vector<char*> argv = pointers(words);
    // Tells the exec's failure: nothing comes through it when the exec went through.
    int report[2];
    if (pipe2(report, O_CLOEXEC) != 0) return Result::refuse(std::string("cannot make a pipe: ") + strerror(errno));
    Result started = launch(
        [&] {
            execvp(argv[0], argv.data());
            int why = errno;
            ssize_t written = write(report[1], &why, sizeof why);
            (void)written;
            _exit(127);
        },
        setting);
    close(report[1]);
    int why = 0;
    ssize_t got = started.ok() ? read(report[0], &why, sizeof why) : 0;
    close(report[0]);
    if (got != static_cast<ssize_t>(sizeof why)) return started;
    wait(-1);
    return Result::refuse("cannot run " + arguments[0] + ": " + strerror(why));
}

Result Process::start(const std::function<int()>& body, const Setting& setting)
{
    return launch([&] { _exit(body()); }, setting);
}

Process::~Process()
{
    if (child <= 0) return;
    kill(-child, SIGKILL);
    waitpid(child, nullptr, 0);
    close(lifeline);
}

bool Process::running()
{
    if (child <= 0) return false;
    siginfo_t info = {};
    // Looked at before it is collected: until then its number cannot name another group.
    if (waitid(P_PID, static_cast<id_t>(child), &info, WEXITED | WNOHANG | WNOWAIT) == 0 && info.si_pid == 0)
        return true;
    kill(-child, SIGKILL);  // what it left behind, and the watcher
    int status = 0;
    if (waitpid(child, &status, 0) != child) status = 0;
    collect(status);
    return false;
}

void Process::collect(int status)
{
    ended = status;
    child = -1;
    close(lifeline);
    lifeline = -1;
}

static double now()
{
    timespec time;
    clock_gettime(CLOCK_MONOTONIC, &time);
    return static_cast<double>(time.tv_sec) + static_cast<double>(time.tv_nsec) * 1e-9;
}

bool Process::wait(double seconds)
{
    double until = now() + seconds;
    const timespec step = {0, 1000000};
    while (running()) {
        if (seconds >= 0 && now() >= until) return false;
        nanosleep(&step, nullptr);
    }
    return true;
}

void Process::stop(int signal)
{
    if (child > 0) kill(-child, signal);
}

std::string Process::ending() const
{
    if (WIFEXITED(ended)) return "exited with status " + std::to_string(WEXITSTATUS(ended));
    if (!WIFSIGNALED(ended)) return "ended";
    int signal = WTERMSIG(ended);
    const char* name = sigabbrev_np(signal);
    return std::string("killed by ") + (name ? std::string("SIG") + name : std::to_string(signal)) + " (" +
           strsignal(signal) + ")";
}
