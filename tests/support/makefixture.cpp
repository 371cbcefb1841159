// Writes the base test fixture (a data/ tree) into the directory named on the command line.
#include <cstdio>
#include <exception>

#include "tests/support/fixture.h"

int main(int argc, char** argv)
{
    if (argc != 2) {
        fprintf(stderr, "usage: makefixture <directory>\n");
        return 1;
    }
    try {
        fixture::writeBase(argv[1]);
    } catch (const std::exception& error) {
        fprintf(stderr, "makefixture: %s\n", error.what());
        return 1;
    }
    return 0;
}
