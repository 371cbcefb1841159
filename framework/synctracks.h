// Synctracks: values that move with the music, keyed on the rows of a beat grid: a camera's
// zoom, a fade, a flash on every hit. An author tunes them during a rehearsal in the
// demoscene's sync editor; a showing and the capture play them back from the track files under
// data/sync/. A scene asks for a track by name once, keeps the handle, and reads the value at
// the music time every frame: a binary search over that track's keys, nothing more.
//
// In debug mode the demo is the editor's TCP client, and never waits for it: one non-blocking
// look at the socket a frame, a bounded share of what came parsed, a bounded queue to send.
// What the editor asks of the show (a seek, a pause) and what it did wrong go back to the
// director, which acts on them; the keys it sends win over the files until the next connection.
//
// Depends on: POSIX sockets, the script (the settings), the utils (the walk, data files), the
// music (its length), the log. Owns: the tracks and their keys, the files as last read, the
// connection to the editor.
#pragma once

#include <cstddef>
#include <map>
#include <string>
#include <vector>

#include "logger.h"

struct addrinfo;

class Synctracks {
public:
    // A value from its row on, and how it goes on towards the next key's
    struct Key {
        int row;
        float value;
        unsigned char interpolation;  // 0 step, 1 linear, 2 smooth, 3 ramp
    };
    typedef std::vector<Key> Keys;              // rows rising
    typedef std::map<std::string, Keys> Files;  // the track files' keys, by track name
    struct Track {
        std::string name;
        Keys keys;
        bool edited;  // the keys are the editor's: they win over the files until the next connection
    };
    // What the editor asked of the director in one frame
    struct Requests {
        Result refused;        // the editor was dropped for what it sent, or a save of the files failed
        int seek = -1;         // ms of music to move to, -1 for none
        int pause = -1;        // 1 pause, 0 play, -1 as it is
        bool changed = false;  // a key changed: a still picture is drawn again
        bool linked = false;   // an editor came or went: the title says which
    };

    double rowsPerSecond;       // SYNC_BPM / 60 x SYNC_ROWS_PER_BEAT
    std::string host, port;     // the editor's address, from SYNC_EDITOR
    std::vector<Track> tracks;  // by handle, in the order the scenes asked for them
    Files files;                // as last read or written
    bool connected;             // to an editor that greeted back

    // Reads the settings and every track file; a bad one ends the program (status 1)
    Synctracks();
    ~Synctracks();

    // The handle of the track `name`: asked again, the same one. Its keys are its file's, none
    // without one. A name whose file would lie elsewhere ends the program (status 1)
    int getTrack(const std::string& name);
    // The value of track `handle` at `ms` of music; 0 for a handle getTrack never gave
    float getValue(int handle, int ms) const;
    // The row at `ms`, with its fraction
    double getRow(int ms) const;

    // Reads every track file under data/sync/ into `read`; refused with the first bad one
    Result readFiles(Files& read) const;
    // The files just read become the show's: every track the editor does not hold takes its keys
    void takeFiles(Files& read);
    // Reads and takes the files, at start-up and on the keys; a bad one ends the program (status 1)
    void loadFiles();
    // Whether the files differ from those held, or cannot be read: what the demo wrote itself
    // comes back as no change
    bool filesChanged() const;

    // Once a frame in debug mode, never waiting: the first call resolves the editor's address;
    // then the connection is looked after, the editor told the row of `ms` when it changed, and
    // what it sent carried out, up to a frame's share. `now` is ms on any steady clock
    Requests update(unsigned int now, int ms);

private:
    enum class Phase { Unresolved, Unreachable, Idle, Dialing, Greeting, Connected };

    Phase phase;
    addrinfo* addresses;      // the editor's, resolved once
    addrinfo* dialing;        // the one being tried
    int descriptor;           // the socket, -1 when there is none
    unsigned int since;       // when the phase began
    std::vector<char> inbox;  // what came and is not carried out yet
    size_t held;              // bytes of it
    std::string outbox;       // what waits to be sent
    int reported;             // the row the editor knows, -1 for none

    void resolve(unsigned int now, Requests& asked);
    void dial(addrinfo* from, unsigned int now);
    void dialed(unsigned int now);
    void hear(unsigned int now, Requests& asked);
    void exchange(unsigned int now, int ms, Requests& asked);
    size_t run(const unsigned char* bytes, size_t count, unsigned int now, Requests& asked, size_t& moved);
    bool fill(unsigned int now, Requests& asked);
    bool flush(unsigned int now, Requests& asked);
    void ask(size_t track);
    void refuse(const std::string& what, unsigned int now, Requests& asked);
    void lose(const std::string& why, unsigned int now, Requests& asked);
    void drop(unsigned int now);
    int seekTo(int row) const;
    Result saveFiles();
};

extern Synctracks synctracks;
