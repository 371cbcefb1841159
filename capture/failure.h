// Failure: the one way the capture program ends on an error. The output is written under a
// temporary name beside its final one (a file, or a folder of pictures); every failure, the
// engine's own fatal errors, an interruption and a crash remove it, so a capture leaves the
// complete output or nothing at all. Depends on the logger's `fatal`; owns the temporary name.
#pragma once

#include <string>

// Names the temporary file or folder in the making, so that any end but success removes it
void holdPartial(const std::string& path);
// The output was moved into place: nothing to remove any more
void releasePartial();
// Writes "capture: <message>" to standard error and exits, the temporary output removed
[[noreturn]] void fail(const std::string& message, int status = 1);
