// Texturemanager: every PNG under "data/textures/" decoded and uploaded at start-up, then
// bound by file name ("credits.png") while drawing.
#pragma once

#include <map>
#include <string>

#include "image.h"
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

    // Decodes every picture as loadImages would, keeping none; false with the first failure
    bool check(std::string& error);
};

extern Texturemanager texturemanager;
