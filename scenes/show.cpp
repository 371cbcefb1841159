// Show: the scenes are created on the heap and handed to the director, which owns them.
#include "scenes/show.h"

#include "framework/demo.h"
#include "framework/stage.h"
#include "scenes/credits.h"
#include "scenes/greets.h"
#include "scenes/guillotine.h"
#include "scenes/intro.h"
#include "scenes/riderideranke.h"
#include "scenes/solardistrict.h"

// Every picture the scenes bind by name. A reload on save refuses a set of pictures without
// one of them, where the scene would end the program when it binds it.
static const char* const boundPictures[] = {
    "logo_vek.png",    "logo_ka.png",    "title_brun.png",      "intro_bg.png",        "intro_fluer.png",
    "intro_hale.png",  "intro_mann.png", "intro_arm1.png",      "intro_arm2.png",      "intro_hest.png",
    "bg.png",          "scroll1.png",    "scroll2.png",         "scroll3.png",         "ri_hest_ri0.png",
    "ri_hest_ri1.png", "guillotine.png", "guillotine_blad.png", "guillotine_head.png", "font1.png",
    "greets.png",      "bakgrunn2.png",  "credits.png",
};

void addScenes()
{
    for (const char* picture : boundPictures) stage.require(picture);
    demo.addScene("riderideranke", new Riderideranke());
    demo.addScene("intro", new Intro());
    demo.addScene("guillotine", new Guillotine());
    demo.addScene("greets", new Greets());
    demo.addScene("solardistrict", new Solardistrict());
    demo.addScene("credits", new Credits());
}

void loadShow()
{
    addScenes();
    demo.loadScript("data/demo.lua");
    demo.initScenes();
}

#ifdef SCENE_MODULE
// The live scene module's one exported symbol: what a rehearsing program calls to take the
// rebuilt scenes.
extern "C" __attribute__((visibility("default"))) void registerScenes() { addScenes(); }
#endif
