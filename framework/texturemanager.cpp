// Texturemanager: decode everything first, then upload everything, one loading-screen step
// for each; pixel memory goes right after upload.
#include "texturemanager.h"

#include <GL/glew.h>
#include <sstream>
#include <vector>

#include "imagepng.h"
#include "loader.h"
#include "logger.h"
#include "stage.h"
#include "utils.h"

static const char* const textureDirectory = "data/textures/";

// GL names of cleared textures, by file name. A reload uploads into the same names again, so
// nothing grows with every reload and an identifier that an effect kept from before (the
// flip-book keeps its frames across reloads) still shows that picture.
// Built on first use: the first upload runs while the globals are still being constructed.
static std::map<std::string, unsigned int>& retired()
{
    static std::map<std::string, unsigned int> names;
    return names;
}

void Texturemanager::loadImages()
{
    std::map<std::string, Image*> decoded;
    Result decodedAll = decodeImages(decoded, false);
    if (!decodedAll.ok()) fatal(decodedAll.reason());
    for (const auto& [name, image] : decoded) addImage(name, image);
    uploadImages();
}

Result Texturemanager::decodeImages(std::map<std::string, Image*>& into, bool staged)
{
    std::vector<std::string> files;
    Result listed = utils.listFiles(textureDirectory, ".png", files);
    if (!listed.ok()) return listed;
    if (!staged) loader.addSteps(static_cast<int>(files.size()) * 2);  // one to decode, one to upload

    ImagePNG png;
    for (size_t i = 0; i < files.size(); i++) {
        logger << "Texture manager: Adding image " << files[i] << std::endl;
        // A file found in a sub-directory is opened at the top level all the same.
        std::string path = textureDirectory + files[i];
        Image* image = nullptr;
        if (staged) {
            Result read = png.read(path, image);
            if (!read.ok()) return read;
        } else {
            image = png.load(path);
        }
        if (image) {
            // The same name found twice (once in a sub-directory): the later decoding stays.
            Image*& kept = into[files[i]];
            if (kept) {
                kept->releaseData();
                delete kept;
            }
            kept = image;
        }
        Result going = stage.advance(staged, "images");
        if (!going.ok()) return going;
    }
    return Result();
}

void Texturemanager::addImage(std::string name, Image* image) { images[name] = image; }

void Texturemanager::uploadImages()
{
    logger << "Texture manager: Uploading textures to OpenGL..." << std::endl;
    glEnable(GL_TEXTURE_2D);

    int count = 0;
    int bytes = 0;
    for (std::map<std::string, Image*>::iterator it = images.begin(); it != images.end(); ++it) {
        Image* image = it->second;
        Texture* texture = new Texture();
        std::map<std::string, unsigned int>::iterator old = retired().find(it->first);
        if (old != retired().end()) {
            texture->id = old->second;
            retired().erase(old);
        }
        texture->upload(*image);
        textures[it->first] = texture;
        count++;
        bytes += static_cast<int>(image->width * image->height * 4);
        image->releaseData();
        loader.advance(1);
        loader.draw("uploading images");
    }
    logger << "Texture manager: Uploaded " << count << " textures." << std::endl;
    logger << "Texture manager: Video memory usage: " << bytes / 1000 << "kB" << std::endl;
}

void Texturemanager::bindTexture(std::string name, int unit)
{
    if (unit < GL_TEXTURE0 || unit > GL_TEXTURE8) {
        std::ostringstream message;
        message << "Texture manager: Error! Trying to bind texture " << name << " to an invalid texture unit << "
                << unit - GL_TEXTURE0 << "!";
        fatal(message.str());
    }
    std::map<std::string, Texture*>::iterator found = textures.find(name);
    if (found == textures.end()) fatal("Texture manager: Trying to bind texture " + name + " that does not exist!");
    found->second->bind(unit);
}

void Texturemanager::bindTexture(std::string name)
{
    std::map<std::string, Texture*>::iterator found = textures.find(name);
    if (found == textures.end()) fatal("Texture manager: Trying to bind texture " + name + " that does not exist!");
    // GL refuses 0 as a unit, so the texture lands on whichever unit is active.
    found->second->bind(0);
}

unsigned int Texturemanager::getID(std::string name)
{
    std::map<std::string, Texture*>::iterator found = textures.find(name);
    if (found == textures.end()) fatal("trying to get an texture ID " + name + " that does not exist!");
    return found->second->id;
}

void Texturemanager::unbind() { glBindTexture(GL_TEXTURE_2D, 0); }

void Texturemanager::clearTextureUnits()
{
    logger << "Texture manager: Clearing textures units..." << std::endl;
    // Eight units although nine can be bound; GL_TEXTURE0 stays active.
    for (int unit = GL_TEXTURE7; unit >= GL_TEXTURE0; unit--) {
        glActiveTexture(unit);
        glDisable(GL_TEXTURE_2D);
    }
}

void Texturemanager::clearImages()
{
    logger << "Texture manager: Clearing images..." << std::endl;
    for (std::map<std::string, Image*>::iterator it = images.begin(); it != images.end(); ++it) {
        it->second->releaseData();
        delete it->second;
    }
    images.clear();
    for (std::map<std::string, Texture*>::iterator it = textures.begin(); it != textures.end(); ++it) {
        retired()[it->first] = it->second->id;
        delete it->second;
    }
    textures.clear();
}

void Texturemanager::takeImages(std::map<std::string, Image*>& staged)
{
    clearImages();
    // Unlike the keys' reload, a reload on save lets go of the pictures it no longer has:
    // renaming a large picture again and again must not fill the memory.
    for (std::map<std::string, unsigned int>::iterator it = retired().begin(); it != retired().end();) {
        if (staged.count(it->first)) {
            ++it;
            continue;
        }
        glDeleteTextures(1, &it->second);
        it = retired().erase(it);
    }
    images.swap(staged);
    uploadImages();
}
