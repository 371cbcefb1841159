// Arguments: the command line, "e:x:y:b:dfvh". Writes into Config; the informational
// options print and end the program with status 1.
// Owns: nothing: it writes the values it reads into Config.
// Depends on: POSIX getopt and strtol (through toInt); Config for what it sets.
#pragma once

class Arguments {
public:
    Arguments();
    ~Arguments();

    void get(int argc, char** argv);
    void printHelp();
};

extern Arguments arguments;
