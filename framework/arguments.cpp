// Arguments: getopt over "e:x:y:b:dfvh".
#include "arguments.h"

#include <cstdlib>
#include <cstring>
#include <iostream>
#include <unistd.h>

#include "config.h"
#include "logger.h"
#include "utils.h"

Arguments::Arguments() {}

Arguments::~Arguments() {}

void Arguments::get(int argc, char** argv)
{
    logger << "Arguments: Parsing command-line arguments..." << std::endl;

    int option;
    while ((option = getopt(argc, argv, "e:x:y:b:dfvh")) != -1) {
        switch (option) {
        // Leading decimal digits only, 0 when there are none: "-x abc" gives a width of 0.
        case 'x': Config::width = toInt(optarg); break;
        case 'y': Config::height = toInt(optarg); break;
        case 'b': Config::bpp = toInt(optarg); break;
        case 'd': Config::debug = true; break;
        case 'f': Config::fullscreen = true; break;
        case 'v':
            std::cout << Config::title << " - version " << Config::version << std::endl;
            exit(1);
        case 'e':
            if (strcmp(optarg, "vek") == 0) std::cout << "Guru Meditation! :)" << std::endl;
            exit(1);
        case 'h':
        default:  // getopt has already named the unknown option or the missing value
            printHelp();
            exit(1);
        }
    }
}

void Arguments::printHelp()
{
    // -c is listed but refused, like any unknown option; -e stays out of the help.
    std::cout << "Usage:" << std::endl
              << "\t-x set width" << std::endl
              << "\t-y set height" << std::endl
              << "\t-b set bpp" << std::endl
              << "\t-c set config file" << std::endl
              << "\t-f turn on fullscreen" << std::endl
              << "\t-d turn on debug" << std::endl
              << "\t-h print this help information" << std::endl
              << "\t-v print version" << std::endl;
}
