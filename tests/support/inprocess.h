// Unit tests only: points the program's global log at a scratch file, whatever DEBUG says, and
// reads it back as lines without their date prefix.
#pragma once

#include <regex>
#include <sstream>
#include <string>
#include <vector>

#include "framework/logger.h"
#include "tests/support/fixture.h"

namespace fixture {

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

}  // namespace fixture
