// Show: the production's scene list and the start-up that loads it. The demo, the capture
// program, the tests, the benchmarks and the live scene module all start the show through here.
//
// Depends on: the director, the stage (the pictures the scenes bind), the live code, every scene.
// Owns: nothing; the director owns the scenes.
#pragma once

#include <string>
#include <vector>

// The pictures a scene binds by name: in its init, which the show needs whatever the schedule
// (every registered scene is initialised), and while drawing, which it needs while the schedule
// shows the scene. A reload on save refuses a set of pictures without one of them, where the
// scene would end the program when it binds it.
struct ScenePictures {
    const char* scene;
    std::vector<std::string> init, drawn;
};

inline const std::vector<ScenePictures> scenePictures = {
    {"intro",
     {},
     {"logo_vek.png", "logo_ka.png", "title_brun.png", "intro_bg.png", "intro_fluer.png", "intro_hale.png",
      "intro_mann.png", "intro_arm1.png", "intro_arm2.png", "intro_hest.png"}},
    {"riderideranke", {"ri_hest_ri0.png", "ri_hest_ri1.png"}, {"bg.png", "scroll1.png", "scroll2.png", "scroll3.png"}},
    {"guillotine", {}, {"guillotine.png", "guillotine_blad.png", "guillotine_head.png"}},
    {"greets", {}, {}},
    {"solardistrict", {}, {"font1.png", "greets.png", "bakgrunn2.png"}},
    {"credits", {}, {"credits.png"}},
};

// Registers every scene of the production with the director, each under the name the
// schedule uses, and the pictures they bind. A new scene is one file pair, one line in this
// function and one line in the list above.
void addScenes();

// Registers the scenes, runs the schedule ("data/demo.lua") and initialises every scene: what
// has to happen, in this order, before the show starts. These scenes are also what a rehearsal
// falls back to when no rebuilt module can play.
void loadShow();
