// Utils: recursive listing of the data files of one kind, and numbers read from text.
#pragma once

#include <string>
#include <vector>

class Utils {
public:
    // Appends the bare names of the files under `directory` (sub-directories included) whose
    // extension is exactly `extension` (".png"), in the order the file system yields them
    void iterateDirectory(std::string directory, std::string extension, std::vector<std::string>& files);
};

extern Utils utils;

// The leading base-10 digits of `text` (after an optional sign) as an int, 0 when there are
// none; values beyond the 32-bit range are clamped to it rather than wrapped
int toInt(const char* text);
