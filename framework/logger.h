// Logger: the single log writer. Every module writes one dated line per event through the
// global `logger`; the file exists only in debug mode, otherwise writes are dropped silently.
// Also home of the two tiers of failure: `fatal`, the one way the program ends on an error, and
// `Result`, the one way a rehearsal refuses something and plays on.
//
// The log's words are part of the program's interface: tools and people read them, so each
// line is written exactly as it was defined, misspellings included ("Toogling", "Chaning",
// "Allready", "Attatching"). Correcting one breaks whoever reads it.
//
// Depends on: the C++ streams, the C library's time functions, Config (the file name and the
// debug flag). Owns: the log file.
#pragma once

#include <fstream>
#include <string>
#include <utility>

class Logger {
public:
    bool enabled;
    std::ofstream file;  // public: modules write values after calling printDate()

    Logger();
    ~Logger();

    // Writes the local-time prefix "YYYY-MM-DD: HH:MM:SS - " to the file
    void printDate();
    void setEnabled(bool value);
    bool getEnabled();

    // Starts a dated line with the value and hands back the stream, so the caller goes on
    // with more values and ends the line with std::endl.
    template <typename T>
    std::ostream& operator<<(const T& value)
    {
        printDate();
        file << value;
        file.flush();
        return file;
    }
};

extern Logger logger;

// Ends the program at once with `status`: the message (and a line end) goes to standard
// error, and the log line, when given, to the log first. No destructor runs: the program may
// be half-constructed, and an error must not turn into a crash on the way out.
[[noreturn]] void fatal(const std::string& message, int status = 1);
// Has `fatal` run `cleanup` first, for a program that must undo something of its own however
// it ends (the capture's unfinished file); a later call replaces it, null removes it
void onFatal(void (*cleanup)());
[[noreturn]] void fatal(const std::string& logLine, const std::string& message, int status);
// Shows `divert` every fatal error first, with its message; one that does not return takes the
// error over (a rehearsal's guard turns one raised on a rebuilt scene's behalf into a refusal).
// Null removes it
void onFatalDivert(void (*divert)(const std::string& message));

// What a rehearsal survives (a bad save, a failed build, a faulting module, a misbehaving
// editor) comes back up as a Result, and the one who asked decides: the director keeps the
// running version, puts the reason in the title and the log, and clears it on the next good
// attempt. A lower module never acts on a refusal itself.
class [[nodiscard]] Result {
public:
    // It went through
    Result() : refused(false) {}
    // It did not, and why, in words a person can act on: the file or value and what is wrong
    static Result refuse(std::string reason)
    {
        Result result;
        result.refused = true;
        result.why = std::move(reason);
        return result;
    }

    bool ok() const { return !refused; }
    const std::string& reason() const { return why; }

private:
    bool refused;
    std::string why;
};
