// Stage: the scratch set of a reload on save. Everything the show reads from data/ (the
// schedule, the sync tracks, the shader pairs, the pictures) is read once into it, through the
// same loaders as at start-up, and goes live only when all of it was read without a fault.
// The set that goes live is the set that was checked; whatever changes on disk meanwhile is
// the next reload's business.
//
// Depends on: the script, the shader and texture managers, the sync tracks, the loading
// screen, the director (the schedule goes in through it). Owns: what it holds between a
// reading and the swap.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "image.h"
#include "logger.h"
#include "shader.h"
#include "synctracks.h"
#include "timeline.h"

class Stage {
public:
    // The pictures each registered scene binds by name, by scene: in its init, needed whatever
    // the schedule; while drawing, needed when the schedule shows it
    typedef std::map<std::string, std::pair<std::vector<std::string>, std::vector<std::string>>> Bindings;

    std::string warning;            // the pictures that will be drawn garbled, "" for none
    std::function<bool()> between;  // after each file read; false abandons the reading

    ~Stage();

    // The pictures the scene `scene` binds in its init and while drawing: a set without one of
    // them is refused, one it binds while drawing only when the schedule shows the scene
    void require(const std::string& scene, const std::vector<std::string>& init, const std::vector<std::string>& drawn);
    // Reads everything once; refused with the first fault, and nothing staged
    Result read();
    // After each file a load reads: at start-up and on the keys a step of the loading screen,
    // staged a call of `between`. Refused when that abandons the reading
    Result advance(bool staged, std::string what);
    // The show's schedule, shaders and pictures make way for the staged ones
    void swap();
    // Lets go of whatever is staged
    void discard();

private:
    std::vector<Timeline> schedule;          // the entries demo.lua adds, not yet scheduled
    std::map<std::string, Shader*> shaders;  // built and linked
    std::map<std::string, Image*> images;    // decoded, not yet uploaded
    Synctracks::Files tracks;                // the sync tracks' files, read
    Bindings required;
};

extern Stage stage;
