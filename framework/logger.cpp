// Logger: dated lines into the file named by LOGFILE, debug mode only.
#include "logger.h"

#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <iostream>
#include <mutex>

#include "config.h"

Logger::Logger() : enabled(false)
{
    if (!Config::getDebug()) return;

    enabled = true;
    // An unopenable file leaves the stream failed, which silently drops every later write.
    file.open(Config::logfile.c_str(), std::ios::out | std::ios::trunc);
    printDate();
    file << "Logger: Logging to " << Config::logfile << std::endl;
    Config::print();
}

Logger::~Logger()
{
    if (!enabled) return;
    printDate();
    file << "Logger: Closing..." << std::endl;
    file.close();
}

void Logger::printDate()
{
    char buffer[25];
    time_t now = time(nullptr);
    strftime(buffer, sizeof(buffer), "%Y-%m-%d: %H:%M:%S - ", localtime(&now));
    file << buffer;
}

void Logger::setEnabled(bool value) { enabled = value; }

bool Logger::getEnabled() { return enabled; }

static void (*fatalCleanup)() = nullptr;
static void (*fatalDivert)(const std::string& message) = nullptr;

void onFatal(void (*cleanup)()) { fatalCleanup = cleanup; }

void onFatalDivert(void (*divert)(const std::string& message)) { fatalDivert = divert; }

void fatal(const std::string& message, int status)
{
    if (fatalDivert) fatalDivert(message);
    // One end at a time: another thread failing meanwhile (on a file the cleanup just took
    // away) waits for this end rather than speak over its message. Never released.
    static std::recursive_mutex ending;
    ending.lock();
    if (fatalCleanup) fatalCleanup();
    std::cout.flush();
    std::cerr << message << std::endl;
    std::fflush(nullptr);
    std::_Exit(status);
}

void fatal(const std::string& logLine, const std::string& message, int status)
{
    logger << logLine << std::endl;
    fatal(message, status);
}
