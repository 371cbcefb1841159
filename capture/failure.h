// Failure: the one way the capture program ends on an error. The video is written under a
// temporary name next to its final one; every failure and every interruption removes it, so a
// capture either leaves the complete file or nothing at all.
#pragma once

#include <string>

// Names the temporary file in the making, so that a failure removes it
void holdPartial(const std::string& path);
// The file was renamed into place: nothing to remove any more
void releasePartial();
// Removes the file in the making, writes "capture: <message>" to standard error and exits
[[noreturn]] void fail(const std::string& message, int status = 1);
