// Shadermanager: the base names of a pair are never compared; designers keep the two sorted
// lists in step by naming.
#include "shadermanager.h"

#include <algorithm>
#include <vector>

#include "loader.h"
#include "logger.h"
#include "stage.h"
#include "utils.h"

// Plain text, not a std::string: it is used while the globals are still being constructed.
static const char* const shaderDirectory = "data/shaders/";

static const char* const unevenCount = "Shader manager: Error! File count is not even!";

// Both halves of every pair, each list in byte-wise order: its i-th entries form one shader.
static Result listPairs(std::vector<std::string>& vertexFiles, std::vector<std::string>& fragmentFiles)
{
    Result listed = utils.listFiles(shaderDirectory, ".vert", vertexFiles);
    if (listed.ok()) listed = utils.listFiles(shaderDirectory, ".frag", fragmentFiles);
    std::sort(vertexFiles.begin(), vertexFiles.end());
    std::sort(fragmentFiles.begin(), fragmentFiles.end());
    return listed;
}

void Shadermanager::loadShaders()
{
    Result built = buildShaders(shaders, false);
    if (!built.ok()) fatal(built.reason());
}

Result Shadermanager::buildShaders(std::map<std::string, Shader*>& into, bool staged)
{
    std::vector<std::string> vertexFiles, fragmentFiles;
    Result listed = listPairs(vertexFiles, fragmentFiles);
    if (!listed.ok()) return listed;
    if (!staged) loader.addSteps(static_cast<int>(vertexFiles.size()));
    if (vertexFiles.size() != fragmentFiles.size()) return Result::refuse(unevenCount);

    for (size_t i = 0; i < vertexFiles.size(); i++) {
        std::string name = vertexFiles[i].substr(0, vertexFiles[i].size() - 5);  // without ".vert"
        logger << "Shader manager: Loading shader #" << i << ": " << name << std::endl;
        std::string vertexPath = shaderDirectory + vertexFiles[i];
        std::string fragmentPath = shaderDirectory + fragmentFiles[i];
        Shader* shader = new Shader();
        Result built = shader->build(vertexPath.c_str(), fragmentPath.c_str(), staged);
        if (!built.ok()) {
            // At start-up the program ends on the spot; staged, the half-built pair goes.
            if (staged) {
                built = Result::refuse(vertexPath + ", " + fragmentPath + ": " + built.reason());
                shader->release();
            }
            delete shader;
            return built;
        }
        into[name] = shader;
        Result going = stage.advance(staged, "shaders");
        if (!going.ok()) return going;
    }
    return Result();
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
