// Shadermanager: the base names of a pair are never compared; designers keep the two sorted
// lists in step by naming.
#include "shadermanager.h"

#include <algorithm>  // Required for: std::sort()
#include <vector>

#include "loader.h"
#include "logger.h"
#include "utils.h"

// Plain text, not a std::string: it is used while the globals are still being constructed.
static const char* const shaderDirectory = "data/shaders/";

static const char* const unevenCount = "Shader manager: Error! File count is not even!";

// Both halves of every pair, each list in byte-wise order: its i-th entries form one shader.
static void listPairs(std::vector<std::string>& vertexFiles, std::vector<std::string>& fragmentFiles)
{
    utils.iterateDirectory(shaderDirectory, ".vert", vertexFiles);
    utils.iterateDirectory(shaderDirectory, ".frag", fragmentFiles);
    std::sort(vertexFiles.begin(), vertexFiles.end());
    std::sort(fragmentFiles.begin(), fragmentFiles.end());
}

void Shadermanager::loadShaders()
{
    std::vector<std::string> vertexFiles, fragmentFiles;
    listPairs(vertexFiles, fragmentFiles);
    loader.addSteps(static_cast<int>(vertexFiles.size()));
    if (vertexFiles.size() != fragmentFiles.size()) fatal(unevenCount);

    for (size_t i = 0; i < vertexFiles.size(); i++) {
        std::string name = vertexFiles[i].substr(0, vertexFiles[i].size() - 5);  // without ".vert"
        logger << "Shader manager: Loading shader #" << i << ": " << name << std::endl;
        std::string vertexPath = shaderDirectory + vertexFiles[i];
        std::string fragmentPath = shaderDirectory + fragmentFiles[i];
        Shader* shader = new Shader();
        shader->init(name, vertexPath.c_str(), fragmentPath.c_str());
        shaders[name] = shader;
        loader.advance(1);
        loader.draw("shaders");
    }
}

Shader* Shadermanager::getShader(std::string name)
{
    std::map<std::string, Shader*>::iterator found = shaders.find(name);
    if (found != shaders.end()) return found->second;
    logger << "Shader manager: Error! Cannot find shader " << name << std::endl;
    shaders[name] = nullptr;  // the empty entry stays, as it always has; freeShaders skips it
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

bool Shadermanager::check(std::string& error)
{
    std::vector<std::string> vertexFiles, fragmentFiles;
    listPairs(vertexFiles, fragmentFiles);
    if (vertexFiles.size() != fragmentFiles.size()) {
        error = unevenCount;
        return false;
    }
    for (size_t i = 0; i < vertexFiles.size(); i++) {
        std::string vertexPath = shaderDirectory + vertexFiles[i];
        std::string fragmentPath = shaderDirectory + fragmentFiles[i];
        Shader probe;
        bool built = probe.build(vertexPath.c_str(), fragmentPath.c_str(), error);
        probe.release();
        if (!built) {
            error = vertexPath + ", " + fragmentPath + ": " + error;
            return false;
        }
    }
    return true;
}
