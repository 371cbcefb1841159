// Guard: a guarded call is a sigsetjmp; every way out of the module's code but a return comes
// back to it with a siglongjmp: from a signal handler running on a stack of its own (a stack
// overflow leaves none), from the terminate handler, from the logger's fatal error, or from the
// watch on the exits this program defines in place of the C library's. The handlers use only
// what is safe in a signal handler: the text they write is put together in fixed buffers.
#include "guard.h"

#include <GL/glew.h>
#include <fcntl.h>
#include <pthread.h>
#include <setjmp.h>
#include <signal.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <cxxabi.h>
#include <exception>
#include <typeinfo>

#include "config.h"
#include "exits.h"

namespace {

bool installed = false;
// In a throw-away copy of the program: whatever faults during a call is the call's
bool sacrificial = false;

// The call being guarded; `calling` is set only while it runs.
volatile sig_atomic_t calling = 0;
sigjmp_buf* comeBack = nullptr;
const char* callScene = "";
const char* callOperation = "";

// What ended the call early, in words; written by the handlers, so a fixed buffer.
char what[512];

pid_t mainThread = 0;
uintptr_t stackLowest = 0;       // the lowest address the main thread's stack may reach
int logFile = -1;                // the log, appended to by a handler that ends the program
long utcOffset = 0;              // of local time, for the log's date
timer_t watchdog, quitTimer;     // the call's bound, and a quit's grace
volatile sig_atomic_t samples = 0;    // looks taken since the bound ran out, for the module's code
volatile sig_atomic_t quitting = 0;   // the quit signal received, 0 before one
struct sigaction sdlQuit[2];          // SIGTERM's and SIGINT's handlers before ours
std::terminate_handler runtimeTerminate = nullptr;

// Once the bound has run out with the call outside the module's code, the call is looked at
// this often, this many times: a loop that calls into the engine or the driver still passes
// through its own code now and then.
const long sampleNs = 1000000;
const int sampleCount = 250;
// A quit asked for while a call runs is given this long to come through the frame loop.
const long quitGraceNs = 900000000;

// Text appended to a fixed buffer, for handlers
class Text {
public:
    Text(char* buffer, size_t size) : start(buffer), end(buffer + size - 1), at(buffer) { *at = '\0'; }
    Text& operator<<(const char* text)
    {
        while (text && *text && at < end) *at++ = *text++;
        *at = '\0';
        return *this;
    }
    Text& operator<<(long number)
    {
        char digits[24];
        int count = 0;
        unsigned long magnitude = number < 0 ? 0ul - static_cast<unsigned long>(number) : static_cast<unsigned long>(number);
        do digits[count++] = static_cast<char>('0' + magnitude % 10); while ((magnitude /= 10) && count < 23);
        if (number < 0) *this << "-";
        while (count > 0 && at < end) *at++ = digits[--count];
        *at = '\0';
        return *this;
    }
    // Two digits, for the log's date
    Text& pair(long number) { return *this << (number < 10 ? "0" : "") << number; }
    const char* text() const { return start; }
    size_t size() const { return static_cast<size_t>(at - start); }

private:
    char *start, *end, *at;
};

long threadId() { return syscall(SYS_gettid); }

// Whether this thread is the one guarded calls run on: the main one, or a throw-away copy's only one
bool onCallThread() { return sacrificial || threadId() == mainThread; }

// A hexadecimal number at `text`, which is left after it
uintptr_t hexadecimal(const char*& text)
{
    uintptr_t value = 0;
    for (;; text++) {
        int digit = *text >= '0' && *text <= '9' ? *text - '0' : *text >= 'a' && *text <= 'f' ? *text - 'a' + 10 : -1;
        if (digit < 0) return value;
        value = value * 16 + static_cast<uintptr_t>(digit);
    }
}

// `text` past `fields` words and the blanks before and after them
const char* pastFields(const char* text, int fields)
{
    for (int i = 0; i < fields; i++) {
        while (*text == ' ') text++;
        while (*text && *text != ' ') text++;
    }
    while (*text == ' ') text++;
    return text;
}

// The path of the mapping holding `address`, read from /proc/self/maps ("from-to perms offset
// device inode path") into `path`; false when no mapping that may run code holds it.
bool mappingOf(uintptr_t address, char* path, size_t size)
{
    int maps = open("/proc/self/maps", O_RDONLY | O_CLOEXEC);
    if (maps < 0) return false;
    char buffer[8192];
    size_t held = 0;
    bool found = false;
    for (ssize_t got; !found && (got = read(maps, buffer + held, sizeof(buffer) - held)) > 0;) {
        held += static_cast<size_t>(got);
        char* line = buffer;
        for (char* end; !found && (end = static_cast<char*>(memchr(line, '\n', held - (line - buffer))));) {
            *end = '\0';
            const char* field = line;
            uintptr_t from = hexadecimal(field);
            uintptr_t to = hexadecimal(++field);
            if (from <= address && address < to && field[3] == 'x') {
                strncpy(path, pastFields(field, 4), size - 1);  // perms, offset, device, inode
                path[size - 1] = '\0';
                found = true;
            }
            line = end + 1;
        }
        held -= static_cast<size_t>(line - buffer);
        memmove(buffer, line, held);
        if (held == sizeof(buffer)) held = 0;  // a line longer than the buffer: skipped
    }
    close(maps);
    return found;
}

// Whether `path` is a mapping of a scene module's memory file
bool modulePath(const char* path)
{
    static const char prefix[] = "/memfd:";
    return strncmp(path, prefix, sizeof(prefix) - 1) == 0 &&
           strncmp(path + sizeof(prefix) - 1, Guard::moduleFile, strlen(Guard::moduleFile)) == 0;
}

// Whether `address` is in a scene module's code; its mapping's path into `path` either way
bool moduleCode(uintptr_t address, char* path, size_t size)
{
    path[0] = '\0';
    return mappingOf(address, path, size) && modulePath(path);
}

uintptr_t instructionOf(void* context) { return static_cast<ucontext_t*>(context)->uc_mcontext.gregs[REG_RIP]; }
uintptr_t stackPointerOf(void* context) { return static_cast<ucontext_t*>(context)->uc_mcontext.gregs[REG_RSP]; }

void arm(timer_t timer, long seconds, long nanoseconds)
{
    itimerspec when = {};
    when.it_value.tv_sec = seconds;
    when.it_value.tv_nsec = nanoseconds;
    timer_settime(timer, 0, &when, nullptr);
}

// Back to the guarded call, which refuses with `what`
[[noreturn]] void back() { siglongjmp(*comeBack, 1); }

// The signal's name and description: "SIGSEGV (Segmentation fault)"
void nameSignal(Text& text, int signal)
{
    text << "SIG" << sigabbrev_np(signal) << " (" << sigdescr_np(signal) << ")";
}

// The log's date prefix, from the time and the offset taken at install: localtime may lock.
void datePrefix(Text& text)
{
    long seconds = static_cast<long>(time(nullptr)) + utcOffset;
    long days = seconds / 86400, second = seconds % 86400;
    long z = days + 719468, era = z / 146097, dayOfEra = z - era * 146097;
    long yearOfEra = (dayOfEra - dayOfEra / 1460 + dayOfEra / 36524 - dayOfEra / 146096) / 365;
    long dayOfYear = dayOfEra - (365 * yearOfEra + yearOfEra / 4 - yearOfEra / 100), shifted = (5 * dayOfYear + 2) / 153;
    long day = dayOfYear - (153 * shifted + 2) / 5 + 1, month = shifted < 10 ? shifted + 3 : shifted - 9;
    text << yearOfEra + era * 400 + (month <= 2) << "-";
    text.pair(month) << "-";
    text.pair(day) << ": ";
    text.pair(second / 3600) << ":";
    text.pair(second / 60 % 60) << ":";
    text.pair(second % 60) << " - ";
}

// Writes the line `message` ends with to standard error and, dated, to the log
void say(Text& message)
{
    message << "\n";
    ssize_t written = write(2, message.text(), message.size());
    if (logFile >= 0) {
        char date[32];
        Text prefix(date, sizeof(date));
        datePrefix(prefix);
        written = write(logFile, prefix.text(), prefix.size());
        written = write(logFile, message.text(), message.size());
    }
    (void)written;
}

// "Livecode: credits draw: ", the call that runs, if one does
void startLine(Text& message)
{
    message << "Livecode: ";
    if (calling) message << callScene << (callScene[0] ? " " : "") << callOperation << ": ";
}

// The end when the fault is not the module's to answer for (elsewhere, or on another thread):
// the program ends with status 1 without another step; the build's watcher stops the build.
// `place`: the mapping where it happened.
[[noreturn]] void endHere(const char* fault, const char* place)
{
    char line[1024];
    Text message(line, sizeof(line));
    startLine(message);
    message << fault << " in " << (modulePath(place) ? "the scene module's code" : place[0] ? place : "unknown code")
            << ": the demo cannot go on";
    say(message);
    syscall(SYS_exit_group, 1);
    __builtin_unreachable();
}

// A quit signal that the frame loop did not take in time: the signal's own end
[[noreturn]] void quitNow(int signal)
{
    char line[512];
    Text message(line, sizeof(line));
    startLine(message);
    nameSignal(message, signal);
    message << ", the demo ends now";
    say(message);
    struct sigaction fallback = {};
    fallback.sa_handler = SIG_DFL;
    sigaction(signal, &fallback, nullptr);
    sigset_t only;
    sigemptyset(&only);
    sigaddset(&only, signal);
    sigprocmask(SIG_UNBLOCK, &only, nullptr);
    raise(signal);
    syscall(SYS_exit_group, 1);
    __builtin_unreachable();
}

// As if the guard were not there: the default action of `signal`, now
void asBefore(int signal)
{
    struct sigaction fallback = {};
    fallback.sa_handler = SIG_DFL;
    sigaction(signal, &fallback, nullptr);
    raise(signal);  // delivered once this handler returns
}

// SIGSEGV, SIGBUS, SIGFPE, SIGILL and SIGABRT
void crashed(int signal, siginfo_t*, void* context)
{
    char place[512];
    bool ours = moduleCode(instructionOf(context), place, sizeof(place));
    bool main = onCallThread();
    bool overflow = signal == SIGSEGV && main && stackPointerOf(context) < stackLowest + 65536;
    if (calling && main && (sacrificial || ((ours || overflow) && signal != SIGABRT))) {
        Text text(what, sizeof(what));
        if (overflow) text << "stack overflow (";
        nameSignal(text, signal);
        if (overflow) text << ")";
        back();
    }
    if (!calling && !ours) return asBefore(signal);
    char fault[128];
    Text text(fault, sizeof(fault));
    nameSignal(text, signal);
    if (!main) text << " on another thread";
    endHere(fault, place);
}

// The watchdog's and the quit's timers
void timedOut(int signal, siginfo_t* info, void* context)
{
    if (info->si_code != SI_TIMER) return asBefore(signal);
    if (info->si_value.sival_ptr == &quitTimer) quitNow(quitting);
    if (!calling) return;
    samples++;
    char place[512];
    if (moduleCode(instructionOf(context), place, sizeof(place))) {
        Text(what, sizeof(what)) << "still running after " << static_cast<long>(Guard::bound) << " s (an endless loop?)";
        back();
    }
    if (samples < sampleCount) return arm(watchdog, 0, sampleNs);
    char fault[128];
    Text(fault, sizeof(fault)) << "still running after " << static_cast<long>(Guard::bound) << " s";
    endHere(fault, place);
}

// SIGTERM and SIGINT: the frame loop takes them, as before the guard (SDL turns them into a
// quit event); if it has not within the grace, or on a second one, they end the program.
void quit(int signal, siginfo_t* info, void* context)
{
    if (quitting) quitNow(signal);
    quitting = signal;
    struct sigaction& before = sdlQuit[signal == SIGINT];
    if (!(before.sa_flags & SA_SIGINFO) && before.sa_handler == SIG_IGN) {
        quitting = 0;
        return;
    }
    if (!(before.sa_flags & SA_SIGINFO) && before.sa_handler == SIG_DFL) quitNow(signal);
    struct sigaction ours;
    sigaction(signal, nullptr, &ours);
    if (before.sa_flags & SA_SIGINFO)
        before.sa_sigaction(signal, info, context);
    else
        before.sa_handler(signal);
    sigaction(signal, &ours, nullptr);  // SDL's handler puts itself back in our place
    arm(quitTimer, 0, quitGraceNs);
}

// A type's name as the source writes it: "std::runtime_error"
std::string readable(const std::type_info* type)
{
    if (!type) return "an unknown exception";
    int status = 0;
    char* name = abi::__cxa_demangle(type->name(), nullptr, nullptr, &status);
    std::string text = name ? name : type->name();
    free(name);
    return text;
}

// std::terminate during a call: the module's own doing, whoever called it
void terminated()
{
    if (!calling || !onCallThread()) runtimeTerminate();
    Text text(what, sizeof(what));
    text << "std::terminate called";
    if (const std::type_info* type = abi::__cxa_current_exception_type())
        text << " after a " << readable(type).c_str() << " was thrown";
    back();
}

// The engine's fatal error, raised on the module's behalf during a call
void diverted(const std::string& message)
{
    if (!calling || !onCallThread()) return;
    Text(what, sizeof(what)) << message.c_str();
    back();
}

void handle(int signal, void (*handler)(int, siginfo_t*, void*), struct sigaction* before = nullptr)
{
    struct sigaction action = {};
    action.sa_sigaction = handler;
    action.sa_flags = SA_SIGINFO | SA_ONSTACK;
    sigaction(signal, &action, before);
}

timer_t timerFor(void* which)
{
    sigevent event = {};
    event.sigev_notify = SIGEV_THREAD_ID;
    event.sigev_signo = SIGALRM;
    event.sigev_value.sival_ptr = which;
    event._sigev_un._tid = static_cast<pid_t>(mainThread);
    timer_t timer = {};
    timer_create(CLOCK_MONOTONIC, &event, &timer);
    return timer;
}

// The depths of the GL stacks a call may leave pushed, and the matrix mode
struct Depths {
    GLint modelview, projection, texture, attributes, clientAttributes, mode;
};

Depths depths()
{
    Depths now;
    glGetIntegerv(GL_MODELVIEW_STACK_DEPTH, &now.modelview);
    glGetIntegerv(GL_PROJECTION_STACK_DEPTH, &now.projection);
    glGetIntegerv(GL_TEXTURE_STACK_DEPTH, &now.texture);
    glGetIntegerv(GL_ATTRIB_STACK_DEPTH, &now.attributes);
    glGetIntegerv(GL_CLIENT_ATTRIB_STACK_DEPTH, &now.clientAttributes);
    glGetIntegerv(GL_MATRIX_MODE, &now.mode);
    return now;
}

// Pops or pushes the stack `depth` names until it stands at `wanted`
void level(GLenum depth, GLint wanted, void (*push)(), void (*pop)())
{
    GLint now = wanted;
    glGetIntegerv(depth, &now);
    for (; now > wanted; now--) pop();
    for (; now < wanted; now++) push();
}

// The GL state an interrupted call left, put right for the scenes that draw next: a glBegin
// closed, every stack back at its depth before the call, no shader program in use
void putRight(const Depths& before)
{
    glEnd();  // an error, cleared below, when no glBegin was open
    for (int i = 0; i < 8 && glGetError() != GL_NO_ERROR; i++) {
    }
    const struct {
        GLenum mode, depth;
        GLint wanted;
    } stacks[] = {{GL_MODELVIEW, GL_MODELVIEW_STACK_DEPTH, before.modelview},
                  {GL_PROJECTION, GL_PROJECTION_STACK_DEPTH, before.projection},
                  {GL_TEXTURE, GL_TEXTURE_STACK_DEPTH, before.texture}};
    for (const auto& stack : stacks) {
        glMatrixMode(stack.mode);
        level(stack.depth, stack.wanted, [] { glPushMatrix(); }, [] { glPopMatrix(); });
    }
    glMatrixMode(static_cast<GLenum>(before.mode));
    level(GL_ATTRIB_STACK_DEPTH, before.attributes, [] { glPushAttrib(GL_ALL_ATTRIB_BITS); }, [] { glPopAttrib(); });
    level(GL_CLIENT_ATTRIB_STACK_DEPTH, before.clientAttributes, [] { glPushClientAttrib(GL_CLIENT_ALL_ATTRIB_BITS); },
          [] { glPopClientAttrib(); });
    if (glUseProgram) glUseProgram(0);
    for (int i = 0; i < 8 && glGetError() != GL_NO_ERROR; i++) {
    }
}

// What a thrown exception says: "std::runtime_error: planted"
std::string thrown()
{
    std::string name = readable(abi::__cxa_current_exception_type());
    try {
        throw;
    } catch (const std::exception& exception) {
        return "threw " + name + ": " + exception.what();
    } catch (...) {
        return "threw " + name;
    }
}

// An exit called from the module's code ends the call; from the module's code elsewhere it ends
// the program as a fault there does; from anywhere else it goes on.
void leaving(const Exit& leaving)
{
    char place[512] = "";
    bool ours = moduleCode(reinterpret_cast<uintptr_t>(leaving.from) - 1, place, sizeof(place));
    if (!ours && !(sacrificial && calling)) return;
    char fault[256];
    Text text(fault, sizeof(fault));
    if (leaving.assertion) {
        text << "assertion " << leaving.assertion << " failed (" << leaving.file << ":" << static_cast<long>(leaving.line)
             << ")";
    } else {
        text << leaving.how << "(";
        if (leaving.hasStatus) text << static_cast<long>(leaving.status);
        text << ") called";
    }
    if (calling && onCallThread()) {
        Text(what, sizeof(what)) << fault;
        back();
    }
    endHere(fault, place);
}

}  // namespace

void Guard::forked()
{
    sacrificial = true;
    logFile = -1;  // the program's, not this copy's
}

void Guard::install()
{
    if (installed) return;
    installed = true;
    mainThread = static_cast<pid_t>(threadId());

    pthread_attr_t attributes;
    void* lowest = nullptr;
    size_t size = 0;
    if (pthread_getattr_np(pthread_self(), &attributes) == 0) {
        pthread_attr_getstack(&attributes, &lowest, &size);
        pthread_attr_destroy(&attributes);
    }
    stackLowest = reinterpret_cast<uintptr_t>(lowest);
    // A stack overflow leaves no room for the handler: it runs on a stack of its own.
    static char alternate[1 << 16];
    stack_t own = {};
    own.ss_sp = alternate;
    own.ss_size = sizeof(alternate);
    sigaltstack(&own, nullptr);

    for (int signal : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT}) handle(signal, crashed);
    handle(SIGALRM, timedOut);
    handle(SIGTERM, quit, &sdlQuit[0]);
    handle(SIGINT, quit, &sdlQuit[1]);
    watchdog = timerFor(&watchdog);
    quitTimer = timerFor(&quitTimer);
    runtimeTerminate = std::set_terminate(terminated);
    onFatalDivert(diverted);
    exitWatch = leaving;

    time_t now = time(nullptr);
    tm local;
    localtime_r(&now, &local);
    utcOffset = local.tm_gmtoff;
    if (logger.getEnabled()) logFile = open(Config::logfile.c_str(), O_WRONLY | O_APPEND | O_CLOEXEC);
}

Guard::~Guard()
{
    if (!installed) return;
    timer_delete(watchdog);
    timer_delete(quitTimer);
    if (logFile >= 0) close(logFile);
}

Result Guard::run(const char* scene, const char* operation, void (*body)(void*), void* context, bool drawing)
{
    if (!installed) {
        body(context);
        return Result();
    }
    const Depths before = drawing ? depths() : Depths();
    sigjmp_buf here;
    if (sigsetjmp(here, 1) == 0) {
        comeBack = &here;
        callScene = scene;
        callOperation = operation;
        samples = 0;
        calling = 1;
        arm(watchdog, bound, 0);
        std::string refusal;
        try {
            body(context);
        } catch (...) {
            refusal = thrown();
        }
        arm(watchdog, 0, 0);
        calling = 0;
        // Back, but only after the bound: a call this slow is at fault all the same (one
        // blocked in the system, whose wait the watchdog's signal cut short).
        if (samples > 0 && refusal.empty())
            refusal = "returned after more than " + std::to_string(bound) + " s (blocked, or far too slow)";
        if (refusal.empty()) return Result();
        if (drawing) putRight(before);
        return Result::refuse(std::string(scene) + (scene[0] ? " " : "") + operation + ": " + refusal);
    }
    arm(watchdog, 0, 0);
    calling = 0;
    if (drawing) putRight(before);
    return Result::refuse(std::string(scene) + (scene[0] ? " " : "") + operation + ": " + what);
}
