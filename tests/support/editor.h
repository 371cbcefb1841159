// A stand-in for the sync editor: a TCP server on 127.0.0.1 only (as editors often listen),
// on a port of its own, for one demo at a time; it speaks whatever bytes the test gives it.
// Every wait is bounded.
#pragma once

#include <initializer_list>
#include <string>

// The bytes, written as numbers: the protocol's byte sequences as a test spells them out
std::string bytes(std::initializer_list<int> values);

class StandInEditor {
public:
    StandInEditor();
    ~StandInEditor();
    StandInEditor(const StandInEditor&) = delete;
    StandInEditor& operator=(const StandInEditor&) = delete;

    // The address a demo's SYNC_EDITOR names it by
    std::string address() const;
    // Takes the demo's connection, waiting up to `seconds`; false when none came
    bool accept(double seconds);
    // The next `count` bytes the demo sent, or as many as came within `seconds`
    std::string receive(size_t count, double seconds = 5);
    void send(const std::string& data);
    // Ends the connection, as an editor that quits does; the server goes on listening
    void hangUp();

private:
    int listener = -1;
    int connection = -1;
    int port = 0;
};
