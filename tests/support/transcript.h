// Golden transcripts: a scripted run of the real program compared with an expected file under
// tests/data/, written by hand. The file lists the log (date prefix stripped, "Plot" lines left
// out), then standard output, then the exit status:
//
//   # a comment
//   == start                 a step: the lines the program logs after its action
//   Demo: Starting now!
//   OpenGL: Vendor: *        a trailing * stands for a value the system does not define
//   == stdout
//   Time: 0:5:0
//   == status
//   0
//
// The steps must be named in the file in the order the test runs them. After each step's action
// the runner waits until the log holds as many lines as the file expects by then; a failure
// names the step and the first line that differs.
#pragma once

#include <string>
#include <vector>

#include "tests/support/fixture.h"

namespace transcript {

struct Step {
    std::string name;
    std::string action;  // xdotool arguments, "%w" the program's window; "" for none
};

// Runs the demo in `directory` with `arguments` through `steps`, the last of which must end
// it, and compares the log, standard output and status with tests/data/<expected>
void check(const fixture::Directory& directory, const std::string& expected, const std::vector<Step>& steps,
           const std::vector<std::string>& arguments = {});

// Where test data files live
std::string dataFile(const std::string& name);

}  // namespace transcript
