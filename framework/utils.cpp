// Utils: directory walking on Boost.Filesystem, whose extension rule treats ".png" itself as
// a name with the extension ".png".
#include "utils.h"

#include <boost/filesystem.hpp>  // Required for: recursive_directory_iterator, extension()
#include <algorithm>                // Required for: std::clamp()
#include <climits>                  // Required for: INT_MIN, INT_MAX
#include <cstdlib>                  // Required for: strtol()

#include "logger.h"

namespace fs = boost::filesystem;

void Utils::iterateDirectory(std::string directory, std::string extension, std::vector<std::string>& files)
{
    try {
        for (fs::recursive_directory_iterator it(directory), end; it != end; ++it) {
            if (fs::is_directory(it->status())) continue;
            if (it->path().extension().string() == extension) files.push_back(it->path().filename().string());
        }
    } catch (const fs::filesystem_error& error) {
        fatal("Utils: Error! Cannot list " + directory + ": " + error.code().message());
    }
}

int toInt(const char* text)
{
    // strtol itself saturates at the range of long, which is wider than int here.
    return static_cast<int>(std::clamp<long>(strtol(text, nullptr, 10), INT_MIN, INT_MAX));
}
