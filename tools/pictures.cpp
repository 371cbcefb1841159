// The table of pictures. Full-screen pictures are 16:9; the credits are two screens tall;
// the district's textures are square.
#include "pictures.h"

const std::vector<Picture>& pictures()
{
    static const std::vector<Picture> table = {
        {"intro_bg.png", 1024, 576, drawIntroBackdrop},
        {"intro_fluer.png", 1024, 576, drawIntroFlies},
        {"intro_hale.png", 1024, 576, drawIntroBanner},
        {"intro_mann.png", 1024, 576, drawIntroMan},
        {"intro_arm1.png", 1024, 576, drawIntroArmReaching},
        {"intro_arm2.png", 1024, 576, drawIntroArmWithdrawn},
        {"intro_hest.png", 1024, 576, drawIntroHorse},
        {"logo_vek.png", 1024, 576, drawLogoTinLantern},
        {"logo_ka.png", 1024, 576, drawLogoMothKettle},
        {"title_brun.png", 1024, 576, drawTitle},
        {"bg.png", 1024, 576, drawRideSky},
        {"scroll1.png", 1024, 576, drawRideMountains},
        {"scroll2.png", 1024, 576, drawRideHills},
        {"scroll3.png", 1024, 576, drawRideMeadow},
        {"ri_hest_ri0.png", 1024, 576, drawRiderForward},
        {"ri_hest_ri1.png", 1024, 576, drawRiderBack},
        {"guillotine.png", 1024, 576, drawGuillotine},
        {"guillotine_blad.png", 1024, 576, drawGuillotineBlade},
        {"guillotine_head.png", 1024, 576, drawGuillotineHead},
        {"font1.png", 512, 512, drawDistrictGround},
        {"greets.png", 512, 512, drawGreetings},
        {"bakgrunn2.png", 512, 512, drawFacade},
        {"credits.png", 1024, 1152, drawCredits},
    };
    return table;
}
