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

struct Expected {
    std::vector<std::string> steps;  // in file order, stdout and status excluded
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
            step = text.substr(3);
            if (step != "stdout" && step != "status") expected.steps.push_back(step);
            continue;
        }
        std::vector<Line>& into = step == "stdout" ? expected.out : step == "status" ? expected.status : expected.log;
        into.push_back({text, step, number});
    }
    return expected;
}

// Log lines the file expects up to the end of `step`
size_t linesThrough(const Expected& expected, const std::string& step)
{
    size_t count = 0;
    for (const Line& line : expected.log)
        if (std::find(expected.steps.begin(), expected.steps.end(), line.step) <=
            std::find(expected.steps.begin(), expected.steps.end(), step))
            count++;
    return count;
}

bool matches(const std::string& pattern, const std::string& text)
{
    if (!pattern.empty() && pattern.back() == '*') return text.rfind(pattern.substr(0, pattern.size() - 1), 0) == 0;
    return pattern == text;
}

// Reports the first difference between the expected lines and the actual ones.
void compare(const std::string& file, const std::vector<Line>& expected, const std::vector<std::string>& actual,
             const std::string& what)
{
    for (size_t i = 0; i < std::max(expected.size(), actual.size()); i++) {
        std::string want = i < expected.size() ? expected[i].text : "(nothing more)";
        std::string got = i < actual.size() ? actual[i] : "(nothing more)";
        if (i < expected.size() && i < actual.size() && matches(want, got)) continue;
        std::string where = i < expected.size() ? "step \"" + expected[i].step + "\", " + file + ":" +
                                                      std::to_string(expected[i].number)
                                                : "after the last expected line of " + file;
        ADD_FAILURE() << what << " differs at " << where << "\n  expected: " << want << "\n  actual:   " << got;
        return;
    }
}

}  // namespace

std::string dataFile(const std::string& name) { return std::string(TEST_DATA_DIR) + "/" + name; }

void check(const fixture::Directory& directory, const std::string& expectedName, const std::vector<Step>& steps,
           const std::vector<std::string>& arguments)
{
    Expected expected = readExpected(dataFile(expectedName));
    std::vector<std::string> names;
    for (const Step& step : steps) names.push_back(step.name);
    ASSERT_EQ(names, expected.steps) << "the steps of " << expectedName;

    program::Program demo(directory, arguments);
    demo.start();
    for (const Step& step : steps) {
        if (!step.action.empty()) {
            demo.window();  // focused, so keys reach it
            demo.xdotool(step.action);
        }
        size_t wanted = linesThrough(expected, step.name);
        program::waitFor(15, [&] { return program::logLines(demo.log()).size() >= wanted; });
    }
    program::Result result = demo.wait();
    compare(expectedName, expected.log, program::logLines(demo.log()), "The log");
    compare(expectedName, expected.out, program::lines(result.out), "Standard output");
    compare(expectedName, expected.status, {std::to_string(result.status)}, "The exit status");
}

}  // namespace transcript
