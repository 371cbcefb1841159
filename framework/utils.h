// Utils: recursive listing of the data files of one kind.
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
