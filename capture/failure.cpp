// Failure: removes the unfinished video and ends the program with a message.
#include "capture/failure.h"

#include <cstdio>  // Required for: std::remove()

#include "framework/logger.h"

static std::string partial;

void holdPartial(const std::string& path) { partial = path; }

void releasePartial() { partial.clear(); }

void fail(const std::string& message, int status)
{
    if (!partial.empty()) std::remove(partial.c_str());
    fatal("capture: " + message, status);
}
