// Every bad input a user can give, as one row each of tests/data/bad-input.table: the real demo
// run on a fixture changed as the row says, its exit status and what it wrote checked. No row
// may end on a signal or fail to end in time.
#include <gtest/gtest.h>

#include <sys/stat.h>

#include <filesystem>
#include <regex>
#include <sstream>

#include "tests/support/fixture.h"
#include "tests/support/program.h"
#include "tests/support/transcript.h"

namespace fs = std::filesystem;

namespace {

struct Row {
    std::string name;
    std::vector<std::string> setup, arguments, expectations;
    int status = 0;
};

std::vector<std::string> split(const std::string& text, const std::string& separator)
{
    std::vector<std::string> parts;
    for (size_t from = 0;;) {
        size_t at = text.find(separator, from);
        parts.push_back(text.substr(from, at - from));
        if (at == std::string::npos) return parts;
        from = at + separator.size();
    }
}

std::string trimmed(const std::string& text)
{
    size_t first = text.find_first_not_of(' '), last = text.find_last_not_of(' ');
    return first == std::string::npos ? "" : text.substr(first, last - first + 1);
}

std::vector<Row> table()
{
    std::vector<Row> rows;
    for (const std::string& line : program::lines(fixture::readFile(transcript::dataFile("bad-input.table")))) {
        if (line.empty() || line[0] == '#') continue;
        std::vector<std::string> fields = split(line, "|");
        Row row;
        row.name = trimmed(fields.at(0));
        for (const std::string& step : split(fields.at(1), " ; "))
            if (!trimmed(step).empty()) row.setup.push_back(trimmed(step));
        std::istringstream words(fields.at(2));
        for (std::string word; words >> word;) row.arguments.push_back(word);
        row.status = std::stoi(fields.at(3));
        std::string checks = fields.at(4).empty() ? "" : fields.at(4).substr(1);  // trailing blanks count
        for (const std::string& check : split(checks, " ; "))
            if (!check.empty()) row.expectations.push_back(check);
        rows.push_back(row);
    }
    return rows;
}

// Carries out one setup step on the fixture; every "config" step of the row is gathered first.
void prepare(const fixture::Directory& directory, const std::string& step)
{
    std::string action = step.substr(0, step.find(' '));
    std::string rest = step.size() > action.size() ? step.substr(action.size() + 1) : "";
    std::string path = rest.substr(0, rest.find(' '));
    std::string text = rest.size() > path.size() ? rest.substr(path.size() + 1) : "";
    text = std::regex_replace(text, std::regex(R"(\\n)"), "\n");
    if (action == "schedule") {
        directory.schedule(rest);
    } else if (action == "write") {
        directory.write(path, text);
    } else if (action == "remove") {
        directory.remove(path);
    } else if (action == "move") {
        fs::create_directories(fs::path(directory.file(text)).parent_path());
        fs::rename(directory.file(path), directory.file(text));
    } else if (action == "bytes") {
        std::string bytes;
        std::istringstream words(text);
        for (std::string hex; words >> hex;)
            for (size_t i = 0; i + 1 < hex.size(); i += 2)
                bytes += static_cast<char>(std::stoi(hex.substr(i, 2), nullptr, 16));
        directory.write(path, bytes);
    } else if (action == "cut") {
        fs::resize_file(directory.file(path), std::stoul(text));
    } else if (action == "fifo") {
        fs::remove(directory.file(path));
        ASSERT_EQ(mkfifo(directory.file(path).c_str(), 0644), 0) << step;
    } else if (action == "link") {
        fs::remove(directory.file(path));
        fs::create_symlink(text, directory.file(path));
    } else if (action == "mkdir") {
        fs::create_directories(directory.file(path));
    } else if (action == "mode") {
        fs::permissions(directory.file(path), static_cast<fs::perms>(std::stoi(text, nullptr, 8)));
    } else if (action != "config" && action != "unprivileged") {
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
    std::map<std::string, std::string> settings = {{"MUSIC", "\"short.wav\""}};
    for (const std::string& step : row.setup) {
        if (step.rfind("config ", 0) == 0) {
            size_t equals = step.find('=');
            settings[step.substr(7, equals - 7)] = step.substr(equals + 1);
        }
    }
    directory.config(settings);
    for (const std::string& step : row.setup) prepare(directory, step);

    program::Program demo(directory, row.arguments);
    if (std::find(row.setup.begin(), row.setup.end(), "unprivileged") != row.setup.end() && !demo.unprivileged())
        GTEST_SKIP() << "no user without privileges to run the demo as";
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
