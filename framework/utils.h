// Utils: the data files of one kind in a data directory, data files opened without waiting on
// them, and numbers read from text.
//
// Depends on: Boost.Filesystem 1.74 (the walk), POSIX open/fstat. Owns: nothing; no state.
#pragma once

#include <string>
#include <vector>

#include "logger.h"

class Utils {
public:
    // Appends the bare names of the files under `directory` (sub-directories included) whose
    // extension is exactly `extension` (".png"), in the order the file system yields them.
    // A directory that cannot be walked ends the program (status 1)
    void iterateDirectory(std::string directory, std::string extension, std::vector<std::string>& files);
    // The same walk, handing back what stops it: refused with "Utils: Error! Cannot list <the
    // folder that failed>: <reason>". With `relative`, each file's path below the directory
    // ("camera/zoom.track") instead of its bare name
    Result listFiles(const std::string& directory, const std::string& extension, std::vector<std::string>& files,
                     bool relative = false);
};

extern Utils utils;

// Opens a data file for reading only if it is a regular file, never waiting on it (a pipe, a
// device), into `file`; refused with why in the words of a message ("does not exist", "is
// unreadable", "is not a regular file", "cannot be opened (<reason>)") and errno set to the
// system's reason, 0 for a file that is not regular
Result openData(const std::string& path, int& file);
// The whole of a data file opened as openData does; refused as openData refuses
Result readData(const std::string& path, std::string& text);
// What a load says of a file that openData refused. At start-up and on the keys a file that
// cannot be opened "does not exist", whatever the reason; a reload on save (`staged`) gives the
// reason. A file that is not regular is named so either way: reading it could wait for ever.
std::string refusal(const std::string& why, bool staged);

// The leading base-10 digits of `text` (after an optional sign) as an int, 0 when there are
// none; values beyond the 32-bit range are clamped to it rather than wrapped
int toInt(const char* text);
