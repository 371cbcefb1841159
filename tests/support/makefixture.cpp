// Writes the base test fixture (a data/ tree) into the directory named on the command line;
// KEY=VALUE arguments after it replace settings of its data/config.lua.
#include <cstdio>
#include <exception>

#include "tests/support/fixture.h"

int main(int argc, char** argv)
{
    if (argc < 2) {
        fprintf(stderr, "usage: makefixture <directory> [KEY=VALUE...]\n");
        return 1;
    }
    std::map<std::string, std::string> changes;
    for (int i = 2; i < argc; i++) {
        std::string change = argv[i];
        changes[change.substr(0, change.find('='))] = change.substr(change.find('=') + 1);
    }
    try {
        fixture::writeBase(argv[1], changes);
    } catch (const std::exception& error) {
        fprintf(stderr, "makefixture: %s\n", error.what());
        return 1;
    }
    return 0;
}
