// The demo or the capture (ENTRY names its entry point, renamed) with a scene that draws a sync
// track registered as "tracks" beside the production's, none of which uses one. The scene's red
// is the value of "test/level:red" (a folder, and a character its file name escapes).
#include <GL/gl.h>

#include "framework/demo.h"
#include "framework/music.h"
#include "framework/scene.h"
#include "framework/synctracks.h"

class TrackScene : public Scene {
public:
    void init() override {}
    void release() override {}
    void draw() override
    {
        glClearColor(synctracks.getValue(level, music.getPosition()), 0.0f, 0.0f, 1.0f);
        glClear(GL_COLOR_BUFFER_BIT);
    }

private:
    int level = synctracks.getTrack("test/level:red");
};

int ENTRY(int argc, char** argv);

int main(int argc, char** argv)
{
    demo.addScene("tracks", new TrackScene());
    return ENTRY(argc, argv);
}
