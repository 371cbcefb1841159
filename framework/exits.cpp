// Exits: each tells the watch, then calls the library's own, looked up past this program.
// _exit and _Exit are the system call itself: a child just forked calls them, where looking
// the library's up could wait on a lock another thread held at the fork.
#include "exits.h"

#include <dlfcn.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cstdlib>

void (*exitWatch)(const Exit& leaving) = nullptr;

// Tells the watch, if any, of the call of `how` from `from`
static void tell(const char* how, int status, bool hasStatus, void* from)
{
    if (exitWatch) exitWatch({how, status, hasStatus, from, nullptr, nullptr, 0});
}

template <typename Function>
static Function library(const char* name)
{
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

extern "C" {

void exit(int status) noexcept
{
    tell("exit", status, true, __builtin_return_address(0));
    library<void (*)(int)>("exit")(status);
    __builtin_unreachable();
}

void quick_exit(int status) noexcept
{
    tell("quick_exit", status, true, __builtin_return_address(0));
    library<void (*)(int)>("quick_exit")(status);
    __builtin_unreachable();
}

void _exit(int status)
{
    tell("_exit", status, true, __builtin_return_address(0));
    syscall(SYS_exit_group, status);
    __builtin_unreachable();
}

void _Exit(int status) noexcept
{
    tell("_Exit", status, true, __builtin_return_address(0));
    syscall(SYS_exit_group, status);
    __builtin_unreachable();
}

void abort() noexcept
{
    tell("abort", 0, false, __builtin_return_address(0));
    library<void (*)()>("abort")();
    __builtin_unreachable();
}

void __assert_fail(const char* assertion, const char* file, unsigned int line, const char* function) noexcept
{
    if (exitWatch) exitWatch({"assert", 0, false, __builtin_return_address(0), assertion, file, line});
    library<void (*)(const char*, const char*, unsigned int, const char*)>("__assert_fail")(assertion, file, line,
                                                                                             function);
    __builtin_unreachable();
}

}  // extern "C"
