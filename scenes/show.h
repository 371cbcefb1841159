// Show: the production's scene list and the start-up that loads it. The demo, the capture
// program, the tests, the benchmarks and the live scene module all start the show through here.
//
// Depends on: the director, the stage (the pictures the scenes bind), every scene. Owns: nothing;
// the director owns the scenes.
#pragma once

// Registers every scene of the production with the director, each under the name the
// schedule uses, and the pictures they bind. A new scene is one file pair and one line here.
void addScenes();

// Registers the scenes, runs the schedule ("data/demo.lua") and initialises every scene: what
// has to happen, in this order, before the show starts.
void loadShow();
