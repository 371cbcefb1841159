// The demo's pictures: file name, size and the function that draws each one.
#pragma once

#include "canvas.h"

#include <vector>

struct Picture {
    const char* file;
    int width, height;
    void (*draw)(const Canvas&);
};

// Every picture the scenes load, in the order the demo first shows them.
const std::vector<Picture>& pictures();

// Intro: backdrop and layers.
void drawIntroBackdrop(const Canvas&);
void drawIntroFlies(const Canvas&);
void drawIntroBanner(const Canvas&);
void drawIntroMan(const Canvas&);
void drawIntroArmReaching(const Canvas&);
void drawIntroArmWithdrawn(const Canvas&);
void drawIntroHorse(const Canvas&);

// Cards: the two group logos, the title, the credits roll.
void drawLogoTinLantern(const Canvas&);
void drawLogoMothKettle(const Canvas&);
void drawTitle(const Canvas&);
void drawCredits(const Canvas&);

// The rider: parallax landscape and the two frames of the rocking horse.
void drawRideSky(const Canvas&);
void drawRideMountains(const Canvas&);
void drawRideHills(const Canvas&);
void drawRideMeadow(const Canvas&);
void drawRiderForward(const Canvas&);
void drawRiderBack(const Canvas&);

// The guillotine: frame on its backdrop, blade, head.
void drawGuillotine(const Canvas&);
void drawGuillotineBlade(const Canvas&);
void drawGuillotineHead(const Canvas&);

// The district: ground, greetings garden, facade.
void drawDistrictGround(const Canvas&);
void drawGreetings(const Canvas&);
void drawFacade(const Canvas&);
