// Show: the scenes are created on the heap and handed to the director, which owns them.
#include "scenes/show.h"

#include "framework/demo.h"
#include "framework/livecode.h"
#include "framework/stage.h"
#include "scenes/credits.h"
#include "scenes/greets.h"
#include "scenes/guillotine.h"
#include "scenes/intro.h"
#include "scenes/riderideranke.h"
#include "scenes/solardistrict.h"

void addScenes()
{
    for (const ScenePictures& pictures : scenePictures) stage.require(pictures.scene, pictures.init, pictures.drawn);
    demo.addScene("riderideranke", new Riderideranke());
    demo.addScene("intro", new Intro());
    demo.addScene("guillotine", new Guillotine());
    demo.addScene("greets", new Greets());
    demo.addScene("solardistrict", new Solardistrict());
    demo.addScene("credits", new Credits());
}

void loadShow()
{
    livecode.own(addScenes);
    addScenes();
    demo.loadScript("data/demo.lua");
    demo.initScenes();
}

#ifdef SCENE_MODULE
// The live scene module's one exported symbol: what a rehearsing program calls to take the
// rebuilt scenes.
extern "C" __attribute__((visibility("default"))) void registerScenes() { addScenes(); }
#endif
