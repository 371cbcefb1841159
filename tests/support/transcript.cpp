// Golden transcripts: the expected file read as steps of lines, compared line by line.
#include "tests/support/transcript.h"

#include <gtest/gtest.h>

#include "tests/support/program.h"

namespace transcript {

namespace {

struct Line {
    std::string text;
    std::string step;  // the step (or "stdout", "status") it belongs to
    int number;        // in the expected file
};

struct Step {
    std::string action;  // xdotool's arguments, "" for none
    size_t through;      // the log lines expected by the step's end
};

struct Expected {
    std::vector<Step> steps;  // in file order, stdout and status excluded
    std::vector<Line> log, out, status;
};

Expected readExpected(const std::string& path)
{
    Expected expected;
    std::string step;
    int number = 0;
    for (const std::string& text : program::lines(fixture::readFile(path))) {
        number++;
        if (text.rfind("#", 0) == 0) continue;
        if (text.rfind("== ", 0) == 0) {
            size_t colon = text.find(": ");
            step = text.substr(3, colon - 3);
            if (step == "stdout" || step == "status") continue;
            size_t through = expected.steps.empty() ? 0 : expected.steps.back().through;
            expected.steps.push_back({colon == std::string::npos ? "" : text.substr(colon + 2), through});
            continue;
        }
        std::vector<Line>& into = step == "stdout" ? expected.out : step == "status" ? expected.status : expected.log;
        into.push_back({text, step, number});
        if (&into == &expected.log && text != "...") expected.steps.back().through++;
    }
    return expected;
}

// Reports the first difference between the expected lines and the actual ones. A "..." line
// passes over actual lines up to the first that matches the expected line after it.
void compare(const std::string& file, const std::vector<Line>& expected, const std::vector<std::string>& actual,
             const std::string& what)
{
    size_t at = 0;
    for (size_t i = 0; i <= expected.size(); i++) {
        if (i < expected.size() && expected[i].text == "...") {
            while (at < actual.size() && i + 1 < expected.size() && !matches(expected[i + 1].text, actual[at])) at++;
            continue;
        }
        if (i == expected.size() && at == actual.size()) return;
        if (i < expected.size() && at < actual.size() && matches(expected[i].text, actual[at])) {
            at++;
            continue;
        }
        std::string where = i < expected.size()
                                ? "step \"" + expected[i].step + "\", " + file + ":" + std::to_string(expected[i].number)
                                : "after the last expected line of " + file;
        ADD_FAILURE() << what << " differs at " << where
                      << "\n  expected: " << (i < expected.size() ? expected[i].text : "(nothing more)")
                      << "\n  actual:   " << (at < actual.size() ? actual[at] : "(nothing more)");
        return;
    }
}

}  // namespace

bool matches(const std::string& pattern, const std::string& text)
{
    size_t star = pattern.find('*');
    if (star == std::string::npos) return pattern == text;
    if (text.compare(0, star, pattern, 0, star) != 0) return false;
    std::string rest = pattern.substr(star + 1);
    for (size_t from = star; from <= text.size(); from++)
        if (matches(rest, text.substr(from))) return true;
    return false;
}

std::string dataFile(const std::string& name) { return std::string(TEST_DATA_DIR) + "/" + name; }

void check(const fixture::Directory& directory, const std::string& expectedName,
           const std::vector<std::string>& arguments)
{
    Expected expected = readExpected(dataFile(expectedName));
    program::Program demo(directory, arguments);
    demo.start();
    for (const Step& step : expected.steps) {
        if (!step.action.empty()) {
            demo.window();  // found and focused, so that keys reach it
            demo.xdotool(step.action);
        }
        program::waitFor(15, [&] { return program::logLines(demo.log()).size() >= step.through; });
    }
    program::Ended result = demo.wait();
    compare(expectedName, expected.log, program::logLines(demo.log()), "The log");
    compare(expectedName, expected.out, program::lines(result.out), "Standard output");
    compare(expectedName, expected.status, {std::to_string(result.status)}, "The exit status");
}

}  // namespace transcript
