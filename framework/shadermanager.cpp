// Shadermanager: the base names of a pair are never compared; designers keep the two sorted
// lists in step by naming.
#include "shadermanager.h"

#include <algorithm>  // Required for: std::sort()
#include <vector>

#include "loader.h"
#include "logger.h"
#include "stage.h"
#include "utils.h"

// Plain text, not a std::string: it is used while the globals are still being constructed.
static const char* const shaderDirectory = "data/shaders/";

static const char* const unevenCount = "Shader manager: Error! File count is not even!";

// Both halves of every pair, each list in byte-wise order: its i-th entries form one shader.
static bool listPairs(std::vector<std::string>& vertexFiles, std::vector<std::string>& fragmentFiles,
                      std::string& error)
{
    if (!utils.listFiles(shaderDirectory, ".vert", vertexFiles, error) ||
        !utils.listFiles(shaderDirectory, ".frag", fragmentFiles, error))
        return false;
    std::sort(vertexFiles.begin(), vertexFiles.end());
    std::sort(fragmentFiles.begin(), fragmentFiles.end());
    return true;
}

void Shadermanager::loadShaders()
{
    std::string error;
    if (!buildShaders(shaders, false, error)) fatal(error);
}

bool Shadermanager::buildShaders(std::map<std::string, Shader*>& into, bool staged, std::string& error)
{
    std::vector<std::string> vertexFiles, fragmentFiles;
    if (!listPairs(vertexFiles, fragmentFiles, error)) return false;
    if (!staged) loader.addSteps(static_cast<int>(vertexFiles.size()));
    if (vertexFiles.size() != fragmentFiles.size()) {
        error = unevenCount;
        return false;
    }

    for (size_t i = 0; i < vertexFiles.size(); i++) {
        std::string name = vertexFiles[i].substr(0, vertexFiles[i].size() - 5);  // without ".vert"
        logger << "Shader manager: Loading shader #" << i << ": " << name << std::endl;
        std::string vertexPath = shaderDirectory + vertexFiles[i];
        std::string fragmentPath = shaderDirectory + fragmentFiles[i];
        Shader* shader = new Shader();
        if (!shader->build(vertexPath.c_str(), fragmentPath.c_str(), error, staged)) {
            // At start-up the program ends on the spot; staged, the half-built pair goes.
            if (staged) {
                error = vertexPath + ", " + fragmentPath + ": " + error;
                shader->release();
            }
            delete shader;
            return false;
        }
        into[name] = shader;
        if (!stage.advance(staged, "shaders", error)) return false;
    }
    return true;
}

Shader* Shadermanager::getShader(std::string name)
{
    std::map<std::string, Shader*>::iterator found = shaders.find(name);
    if (found != shaders.end()) return found->second;
    logger << "Shader manager: Error! Cannot find shader " << name << std::endl;
    shaders[name] = nullptr;  // the empty entry stays; freeShaders skips it
    return nullptr;
}

void Shadermanager::freeShaders()
{
    logger << "Shader manager: freeing shaders..." << std::endl;
    for (std::map<std::string, Shader*>::iterator it = shaders.begin(); it != shaders.end(); ++it) {
        if (!it->second) continue;
        it->second->release();
        delete it->second;
    }
    shaders.clear();
}

void Shadermanager::takeShaders(std::map<std::string, Shader*>& staged)
{
    freeShaders();
    shaders.swap(staged);
}
