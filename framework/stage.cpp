// Stage: the schedule is read first (the cheapest and the likeliest to be mid-edit), then the
// sync tracks, the shaders and the pictures; the first fault ends the reading.
#include "stage.h"

#include "demo.h"
#include "loader.h"
#include "logger.h"
#include "script.h"
#include "shadermanager.h"
#include "synctracks.h"
#include "texturemanager.h"

static const char* const scheduleFile = "data/demo.lua";
static const char* const textureDirectory = "data/textures/";

Stage::~Stage() { discard(); }

void Stage::require(const std::string& scene, const std::vector<std::string>& init, const std::vector<std::string>& drawn)
{
    required[scene] = {init, drawn};
}

// Whether the staged schedule shows `scene` at some time
static bool shown(const std::vector<Timeline>& schedule, const std::string& scene)
{
    for (const Timeline& entry : schedule)
        if (entry.name == scene) return true;
    return false;
}

// A scene binding a picture that is gone would end the program: such a set is refused. Every
// registered scene is initialised, whatever the schedule; only the scenes it shows draw.
static Result everyBoundPicture(const Stage::Bindings& required, const std::vector<Timeline>& schedule,
                                const std::map<std::string, Image*>& images)
{
    for (const auto& [scene, pictures] : required) {
        std::vector<std::string> needed = pictures.first;
        if (shown(schedule, scene)) needed.insert(needed.end(), pictures.second.begin(), pictures.second.end());
        for (const std::string& picture : needed)
            if (images.find(picture) == images.end())
                return Result::refuse("Texture manager: Error! " + std::string(textureDirectory) + picture +
                                      " does not exist, and the " + scene + " scene binds it!");
    }
    return Result();
}

// Pictures of fewer than four components are drawn garbled (their rows are laid out four
// bytes a pixel); they are shown, and named.
static std::string garbled(const std::map<std::string, Image*>& images)
{
    std::string names;
    for (const auto& [name, image] : images)
        if (image->components < 4) names += (names.empty() ? "" : ", ") + std::string(textureDirectory) + name;
    return names.empty() ? "" : "Texture manager: Warning! " + names + ": fewer than four components, drawn garbled";
}

Result Stage::read()
{
    discard();
    Result complete = script.stage(scheduleFile, schedule);
    if (complete.ok()) complete = advance(true, "schedule");
    if (complete.ok()) complete = synctracks.readFiles(tracks);
    if (complete.ok()) complete = shadermanager.buildShaders(shaders, true);
    if (complete.ok()) complete = texturemanager.decodeImages(images, true);
    if (complete.ok()) complete = everyBoundPicture(required, schedule, images);
    if (!complete.ok()) {
        discard();
        return complete;
    }
    warning = garbled(images);
    if (!warning.empty()) logger << warning << std::endl;
    return complete;
}

Result Stage::advance(bool staged, std::string what)
{
    if (!staged) {
        loader.advance(1);
        loader.draw(what);
        return Result();
    }
    if (!between || between()) return Result();
    return Result::refuse("Stage: Reading abandoned after the " + what);
}

void Stage::swap()
{
    shadermanager.takeShaders(shaders);
    texturemanager.takeImages(images);
    synctracks.takeFiles(tracks);
    for (const Timeline& entry : schedule) demo.addSceneToTimeline(entry.name, entry.start, entry.end);
    schedule.clear();
}

void Stage::discard()
{
    schedule.clear();
    tracks.clear();
    for (const auto& [name, shader] : shaders) {
        shader->release();
        delete shader;
    }
    shaders.clear();
    for (const auto& [name, image] : images) {
        image->releaseData();
        delete image;
    }
    images.clear();
    warning.clear();
}
