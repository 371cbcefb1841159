// Every bad input a user can give, as one row each of tests/data/bad-input.table: the real demo
// run on a fixture changed as the row says, its exit status and what it wrote checked. No row
// may end on a signal or fail to end in time.
#include <gtest/gtest.h>

#include <sys/stat.h>  // Required for: mkfifo()

#include <filesystem>
#include <regex>

#include "tests/support/fixture.h"
#include "tests/support/program.h"
#include "tests/support/transcript.h"

namespace fs = std::filesystem;

namespace {

struct Row {
    std::string name;
    std::map<std::string, std::string> settings = {{"MUSIC", "\"short.wav\""}};
    std::vector<std::string> setup, arguments, expectations;
    bool unprivileged = false;
    int status = 0;
};

// The parts of `text` between matches of `separator`, empty ones left out
std::vector<std::string> split(const std::string& text, const std::string& separator)
{
    std::vector<std::string> parts;
    std::regex between(separator);
    for (std::sregex_token_iterator at(text.begin(), text.end(), between, -1), end; at != end; ++at)
        if (at->length() > 0) parts.push_back(*at);
    return parts;
}

std::vector<Row> table()
{
    // name | setup | arguments | status | expectations, whose trailing blanks count
    const std::regex fields(R"(\s*(\w+)\s*\|([^|]*)\|([^|]*)\|\s*(\d+)\s*\| ?(.*))");
    std::vector<Row> rows;
    for (const std::string& line : program::lines(fixture::readFile(transcript::dataFile("bad-input.table")))) {
        std::smatch field;
        if (line.empty() || line[0] == '#') continue;
        if (!std::regex_match(line, field, fields)) throw std::runtime_error("bad-input.table: unreadable row " + line);
        Row row;
        row.name = field[1];
        for (const std::string& step : split(field[2], "^ +| +; +| +$")) {
            if (step.rfind("config ", 0) == 0)
                row.settings[step.substr(7, step.find('=') - 7)] = step.substr(step.find('=') + 1);
            else if (step == "unprivileged")
                row.unprivileged = true;
            else
                row.setup.push_back(step);
        }
        row.arguments = split(field[3], " +");
        row.status = std::stoi(field[4]);
        row.expectations = split(field[5], " ; ");
        rows.push_back(row);
    }
    return rows;
}

// The bytes that hex digits stand for, blanks ignored
std::string bytes(const std::string& hex)
{
    std::string digits = std::regex_replace(hex, std::regex(" "), ""), made;
    for (size_t i = 0; i + 1 < digits.size(); i += 2) made += static_cast<char>(std::stoi(digits.substr(i, 2), nullptr, 16));
    return made;
}

// Carries out one setup step on the fixture: an action, then a path and text, or the rest
void prepare(const fixture::Directory& directory, const std::string& step)
{
    std::smatch part;
    std::regex_match(step, part, std::regex(R"((\w+) ?((\S*) ?(.*)))"));
    const std::string action = part[1], relative = part[3], path = directory.file(relative);
    const std::string text = std::regex_replace(part[4].str(), std::regex(R"(\\n)"), "\n");
    if (action == "schedule") {
        directory.schedule(part[2]);
    } else if (action == "write" || action == "bytes") {
        directory.write(relative, action == "write" ? text : bytes(text));
    } else if (action == "remove") {
        directory.remove(relative);
    } else if (action == "move") {
        fs::create_directories(fs::path(directory.file(text)).parent_path());
        fs::rename(path, directory.file(text));
    } else if (action == "cut") {
        fs::resize_file(path, std::stoul(text));
    } else if (action == "fifo") {
        fs::remove(path);
        ASSERT_EQ(mkfifo(path.c_str(), 0644), 0) << step;
    } else if (action == "link") {
        fs::remove(path);
        fs::create_symlink(text, path);
    } else if (action == "mkdir") {
        fs::create_directories(path);
    } else if (action == "mode") {
        fs::permissions(path, static_cast<fs::perms>(std::stoi(text, nullptr, 8)));
    } else {
        FAIL() << "unknown setup step: " << step;
    }
}

// Test names carry the row's name; gtest would print the row's bytes.
void PrintTo(const Row& row, std::ostream* out) { *out << row.name; }

class BadInput : public testing::TestWithParam<Row> {};

TEST_P(BadInput, EndsWithItsMessageAndStatusOrPlays)
{
    const Row& row = GetParam();
    fixture::Directory directory;
    directory.config(row.settings);
    for (const std::string& step : row.setup) prepare(directory, step);

    program::Program demo(directory, row.arguments);
    if (row.unprivileged && !demo.unprivileged()) GTEST_SKIP() << "no user without privileges to run the demo as";
    demo.start();
    program::Ended result = demo.wait(30);
    EXPECT_EQ(result.signal, 0) << "ended on a signal or did not end in time";
    EXPECT_EQ(result.status, row.status) << "standard error:\n" << result.err;
    for (const std::string& check : row.expectations) {
        bool absent = check[0] == '!';
        std::string stream = check.substr(absent, 3), pattern = check.substr(absent + 4);
        std::vector<std::string> lines = stream == "err"   ? program::lines(result.err)
                                         : stream == "out" ? program::lines(result.out)
                                                           : program::logLines(directory.read("demo.log"));
        bool found = std::any_of(lines.begin(), lines.end(),
                                 [&](const std::string& line) { return transcript::matches(pattern, line); });
        EXPECT_NE(found, absent) << (absent ? "unwanted " : "missing ") << stream << " line: \"" << pattern << "\"";
    }
}

INSTANTIATE_TEST_SUITE_P(Table, BadInput, testing::ValuesIn(table()),
                         [](const testing::TestParamInfo<Row>& row) { return row.param.name; });

}  // namespace
