// A stand-in for the sync editor: a TCP server on 127.0.0.1 only (as editors often listen), on a
// port of its own, for one demo at a time, speaking whatever bytes it is given; every wait bounded.
#pragma once

#include <initializer_list>
#include <string>

// The bytes, written as numbers: how a test spells out the protocol
std::string bytes(std::initializer_list<int> values);

class StandInEditor {
public:
    StandInEditor();
    ~StandInEditor();

    // How a demo's SYNC_EDITOR names it
    std::string address() const { return "localhost:" + std::to_string(port); }
    // Takes a demo's connection, waiting up to `seconds`; false when none came
    bool accept(double seconds);
    // The next `count` bytes the demo sent, or as many as came within `seconds`
    std::string receive(size_t count, double seconds = 5);
    void send(const std::string& data);
    // Ends the connection, as an editor that quits does; it goes on listening
    void hangUp();

private:
    int listener = -1, connection = -1, port = 0;
};
