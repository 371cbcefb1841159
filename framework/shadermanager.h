// Shadermanager: one Shader for every "<name>.vert" / "<name>.frag" pair under
// "data/shaders/", paired by position after sorting, handed out by name.
#pragma once

#include <map>
#include <string>

#include "shader.h"

class Shadermanager {
public:
    std::map<std::string, Shader*> shaders;  // owned

    void loadShaders();
    // Null, with a log line, for an unknown name
    Shader* getShader(std::string name);
    void freeShaders();

    // Builds every pair as loadShaders would and deletes it again; false with the pair and the
    // message that loadShaders would have ended the program with
    bool check(std::string& error);
};

extern Shadermanager shadermanager;
