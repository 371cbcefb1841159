// Unit tests only: helpers for running the program's modules inside the test process.
#pragma once

#include <unistd.h>  // Required for: getcwd(), chdir()

#include <cstdlib>   // Required for: free()
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "framework/logger.h"
#include "tests/support/fixture.h"

namespace fixture {

// Points the program's global log at a scratch file, whatever DEBUG says, and reads it back
// as lines without their date prefix.
class LogCapture {
public:
    LogCapture()
    {
        logger.file.close();
        logger.file.clear();
        logger.file.open(scratch.file("log.txt"), std::ios::out | std::ios::trunc);
    }

    std::string text()
    {
        logger.file.flush();
        return scratch.read("log.txt");
    }

    // Every line as the module wrote it, the "YYYY-MM-DD: HH:MM:SS - " prefix taken off
    std::vector<std::string> lines()
    {
        static const std::regex dated(R"(^\d{4}-\d{2}-\d{2}: \d{2}:\d{2}:\d{2} - )");
        std::vector<std::string> result;
        std::istringstream stream(text());
        for (std::string line; std::getline(stream, line);) result.push_back(std::regex_replace(line, dated, ""));
        return result;
    }

    // Starts the log afresh, so a check sees only what came after
    void reset()
    {
        logger.file.close();
        logger.file.open(scratch.file("log.txt"), std::ios::out | std::ios::trunc);
    }

private:
    Directory scratch;
};

// Makes another directory (one with its own data/ tree) the working directory for as long as
// it lives: the managers read "data/..." relative to it.
class WorkingDirectory {
public:
    explicit WorkingDirectory(const std::string& path) : previous(getcwd(nullptr, 0))
    {
        if (chdir(path.c_str()) != 0) ADD_FAILURE() << "cannot enter " << path;
    }
    ~WorkingDirectory()
    {
        if (chdir(previous) != 0) ADD_FAILURE() << "cannot return to " << previous;
        free(previous);
    }
    WorkingDirectory(const WorkingDirectory&) = delete;
    WorkingDirectory& operator=(const WorkingDirectory&) = delete;

private:
    char* previous;
};

}  // namespace fixture
