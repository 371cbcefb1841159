// Failure: removes the unfinished output and ends the program with a message. The removal is
// made of system calls alone (no allocation, no stdio), so that it is safe in a signal handler
// too: a crash, however the heap stands, still removes the file before the process dies.
// SIGKILL alone cannot be caught, and leaves the temporary name behind.
#include "capture/failure.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstring>
#include <ctime>

#include "framework/logger.h"

// The temporary output; empty while nothing is in the making. A fixed array: a signal handler
// reads it.
static char partial[PATH_MAX];

// Unlinks every entry of a folder of pictures
static void emptyFolder(const char* path)
{
    int folder = open(path, O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (folder < 0) return;
    alignas(dirent64) char entries[8192];
    long size;
    while ((size = syscall(SYS_getdents64, folder, entries, sizeof(entries))) > 0) {
        for (long at = 0; at < size;) {
            const dirent64* entry = reinterpret_cast<const dirent64*>(entries + at);
            if (strcmp(entry->d_name, ".") != 0 && strcmp(entry->d_name, "..") != 0) unlinkat(folder, entry->d_name, 0);
            at += entry->d_reclen;
        }
    }
    close(folder);
}

static void removePartial()
{
    if (!partial[0]) return;
    int saved = errno;
    // The encoding thread may add a picture between emptying the folder and removing it: try
    // again, a bounded number of times.
    for (int attempt = 0; attempt < 100; attempt++) {
        if (unlink(partial) == 0 || errno == ENOENT) break;
        emptyFolder(partial);
        if (rmdir(partial) == 0 || errno == ENOENT) break;
        const timespec pause = {0, 1000000};
        nanosleep(&pause, nullptr);
    }
    partial[0] = '\0';
    errno = saved;
}

// A crash: the output goes, then the signal does what it would have done
static void crashed(int signal)
{
    removePartial();
    raise(signal);
}

void holdPartial(const std::string& path)
{
    size_t length = std::min(path.size(), sizeof(partial) - 1);
    memcpy(partial, path.data(), length);
    partial[length] = '\0';
    onFatal(removePartial);
    struct sigaction crash = {};
    crash.sa_handler = crashed;
    crash.sa_flags = SA_RESETHAND;  // the raise in the handler takes the default action
    for (int signal : {SIGSEGV, SIGBUS, SIGFPE, SIGILL, SIGABRT, SIGQUIT}) sigaction(signal, &crash, nullptr);
}

void releasePartial() { partial[0] = '\0'; }

void fail(const std::string& message, int status) { fatal("capture: " + message, status); }
