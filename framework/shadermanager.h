// Shadermanager: one Shader for every "<name>.vert" / "<name>.frag" pair under
// "data/shaders/", paired by position after sorting, handed out by name.
//
// Depends on: the shader program, the directory listing, the loading screen. Owns: the shaders.
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

    // Lists the pairs and builds each into `into`, as loadShaders does, handing problems back:
    // refused at the first, with its message. Staged (for a reload on save) nothing is drawn, a
    // pair that does not link is refused, and the message names the pair
    Result buildShaders(std::map<std::string, Shader*>& into, bool staged);
    // The show's shaders make way for `staged`, which the manager owns from then on
    void takeShaders(std::map<std::string, Shader*>& staged);
};

extern Shadermanager shadermanager;
