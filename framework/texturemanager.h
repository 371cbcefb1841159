// Texturemanager: every PNG under "data/textures/" decoded and uploaded at start-up, then
// bound by file name ("credits.png") while drawing.
//
// Depends on: PNG decoding, OpenGL textures, the directory listing, the loading screen.
// Owns: the textures and images in its maps, and the GL names of pictures it has let go.
#pragma once

#include <map>
#include <string>

#include "image.h"
#include "logger.h"
#include "texture.h"

class Texturemanager {
public:
    std::map<std::string, Texture*> textures;
    std::map<std::string, Image*> images;  // sizes only once uploaded

    void loadImages();
    void addImage(std::string name, Image* image);
    void uploadImages();
    // `unit` is GL_TEXTURE0 + n, n from 0 to 8; anything else, or an unknown name, is fatal
    void bindTexture(std::string name, int unit);
    // Binds on whatever unit is active
    void bindTexture(std::string name);
    unsigned int getID(std::string name);
    void unbind();
    void clearTextureUnits();
    void clearImages();

    // Lists and decodes every picture into `into`, as loadImages does, handing problems back:
    // refused at the first, with its message. Staged (for a reload on save) nothing is drawn,
    // and a picture libpng cannot decode is refused rather than skipped
    Result decodeImages(std::map<std::string, Image*>& into, bool staged);
    // The show's pictures make way for `staged`, which the manager owns from then on. A
    // picture kept under its name keeps its GL name; the GL names of pictures no longer there
    // are deleted
    void takeImages(std::map<std::string, Image*>& staged);
};

extern Texturemanager texturemanager;
