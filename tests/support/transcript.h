// Golden transcripts: a scripted run of the real program compared with an expected file under
// tests/data/, written by hand. The file gives the steps of the run, each with the lines the
// program logs after it (date prefix stripped, "Plot" lines left out), then standard output,
// then the exit status:
//
//   # a comment
//   == start                 a step without an action: the lines logged from the start
//   Demo: Starting now!
//   OpenGL: Vendor: *        a * stands for a value the system does not define
//   == seek: key Right Return  a step: xdotool's arguments ("%w" the program's window), then
//   ...                      any lines, up to the first that matches the next expected line
//   == stdout
//   Time: 0:5:0
//   == status
//   0
//
// After each step's action the runner waits until the log holds at least as many lines as the
// file expects by then; a failure names the step and the first line that differs.
#pragma once

#include <string>
#include <vector>

#include "tests/support/fixture.h"

namespace transcript {

// Runs the demo in `directory` with `arguments` through the steps of tests/data/<expected>, the
// last of which must end it, and compares its log, standard output and status with the file's
void check(const fixture::Directory& directory, const std::string& expected,
           const std::vector<std::string>& arguments = {});

// True when `text` is `pattern` with each "*" standing for any run of characters
bool matches(const std::string& pattern, const std::string& text);

// Where test data files live
std::string dataFile(const std::string& name);

}  // namespace transcript
