// Utils: directory walking on Boost.Filesystem, whose extension rule treats ".png" itself as
// a name with the extension ".png". Data files are opened without blocking and checked
// before a byte is read, so a pipe or a device under data/ is refused rather than waited on.
#include "utils.h"

#include <boost/filesystem.hpp>  // Required for: recursive_directory_iterator, extension()
#include <algorithm>             // Required for: std::clamp()
#include <cerrno>                // Required for: errno
#include <climits>               // Required for: INT_MIN, INT_MAX
#include <cstdlib>               // Required for: strtol()
#include <cstring>               // Required for: strerror()
#include <fcntl.h>               // Required for: open(), O_NONBLOCK
#include <sys/stat.h>            // Required for: fstat(), S_ISREG
#include <unistd.h>              // Required for: read(), close()

#include "logger.h"

namespace fs = boost::filesystem;

void Utils::iterateDirectory(std::string directory, std::string extension, std::vector<std::string>& files)
{
    std::string error;
    if (!listFiles(directory, extension, files, error)) fatal(error);
}

bool Utils::listFiles(const std::string& directory, const std::string& extension, std::vector<std::string>& files,
                      std::string& error)
{
    boost::system::error_code code;
    std::string at = directory;  // what the walk was reading when it failed
    for (fs::recursive_directory_iterator it(directory, code), end; !code && it != end; it.increment(code)) {
        at = it->path().string();
        // An entry whose status cannot be read (a link that loops) is listed, and the reader
        // that opens it names it with the reason.
        boost::system::error_code unknown;
        if (fs::is_directory(it->status(unknown))) continue;
        if (it->path().extension().string() == extension) files.push_back(it->path().filename().string());
    }
    if (!code) return true;
    error = "Utils: Error! Cannot list " + at + ": " + code.message();
    return false;
}

int openData(const std::string& path, std::string& why)
{
    int file = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    int reason = errno;
    struct stat status;
    if (file >= 0 && fstat(file, &status) == 0 && S_ISREG(status.st_mode)) return file;

    if (file >= 0) {
        close(file);
        why = "is not a regular file";
        reason = 0;
    } else if (reason == ENOENT || reason == ENOTDIR) {
        why = "does not exist";
    } else if (reason == EACCES || reason == EPERM) {
        why = "is unreadable";
    } else {
        why = std::string("cannot be opened (") + strerror(reason) + ")";
    }
    errno = reason;
    return -1;
}

bool readData(const std::string& path, std::string& text, std::string& why)
{
    int file = openData(path, why);
    if (file < 0) return false;
    text.clear();
    char buffer[65536];
    ssize_t got;
    while ((got = read(file, buffer, sizeof(buffer))) > 0) text.append(buffer, static_cast<size_t>(got));
    int reason = errno;
    if (got < 0) why = std::string("cannot be read (") + strerror(reason) + ")";
    close(file);
    errno = reason;
    return got == 0;
}

std::string refusal(const std::string& why, bool staged)
{
    return staged || why == "is not a regular file" ? why : "does not exist";
}

int toInt(const char* text)
{
    // strtol itself saturates at the range of long, which is wider than int here.
    return static_cast<int>(std::clamp<long>(strtol(text, nullptr, 10), INT_MIN, INT_MAX));
}
