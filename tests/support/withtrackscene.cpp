// The demo or the capture (ENTRY names its renamed entry point) with the track scene registered
// as "tracks" beside the production's own: the production registers none that uses a track.
#include "framework/demo.h"
#include "tests/support/trackscene.h"

int ENTRY(int argc, char** argv);

int main(int argc, char** argv)
{
    demo.addScene("tracks", new TrackScene());
    return ENTRY(argc, argv);
}
