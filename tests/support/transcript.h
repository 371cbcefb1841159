// Golden transcripts: a scripted run of the real program compared with an expected file under
// tests/data/, written by hand. The file is steps, each a line "== name: action" (xdotool's
// arguments, "%w" the program's window; the first step has none) and the lines the program logs
// after it (date prefix stripped, "Plot" lines left out), then "== stdout" and "== status" with
// theirs. A "*" in a line stands for a value the system does not define, a line "..." for any
// lines up to the first that matches the next, and "#" starts a comment. After each action the
// runner waits until the log holds as many lines as the file expects by then; a failure names
// the step and the first line that differs.
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
