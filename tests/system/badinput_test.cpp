// Every bad input a user can give, one row each of tests/data/bad-input.table: the real demo run
// on a fixture changed as the row says, never ending on a signal or late.
#include <gtest/gtest.h>

#include <regex>
#include <stdexcept>

#include "tests/support/fixture.h"
#include "tests/support/program.h"
#include "tests/support/transcript.h"

namespace {

struct Row {
    std::string name, setup;
    bool unprivileged = false;
    std::vector<std::string> arguments, expectations;
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
    // name | [unprivileged: ]setup | arguments | status | expectations, whose trailing blanks count
    const std::regex fields(R"(\s*(\w+)\s*\| (unprivileged: )?([^|]*?) *\|([^|]*)\|\s*(\d+)\s*\| ?(.*))");
    std::vector<Row> rows;
    for (const std::string& line : program::lines(fixture::readFile(transcript::dataFile("bad-input.table")))) {
        std::smatch field;
        if (line.empty() || line[0] == '#') continue;
        if (!std::regex_match(line, field, fields)) throw std::runtime_error("bad-input.table: unreadable row " + line);
        rows.push_back({field[1], field[3], field[2].matched, split(field[4], " +"), split(field[6], " ; "),
                        std::stoi(field[5])});
    }
    return rows;
}

// Test names carry the row's name; gtest would print the row's bytes.
void PrintTo(const Row& row, std::ostream* out) { *out << row.name; }

class BadInput : public testing::TestWithParam<Row> {};

TEST_P(BadInput, EndsWithItsMessageAndStatusOrPlays)
{
    const Row& row = GetParam();
    fixture::Directory directory;
    directory.config({{"MUSIC", "\"short.wav\""}});
    Process setup;
    Process::Setting inFixture;
    inFixture.directory = directory.path();
    ASSERT_TRUE(setup.start({"bash", "-c", row.setup}, inFixture).ok() && setup.wait(10) && setup.status() == 0)
        << row.setup;

    program::Program demo(directory, row.arguments);
    if (row.unprivileged && !demo.unprivileged()) GTEST_SKIP() << "no user without privileges to run the demo as";
    demo.start();
    program::Ended result = demo.wait();
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
