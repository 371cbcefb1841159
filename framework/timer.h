// Timer: the demo clock as the rest of the program asks for it. A facade over the music:
// it keeps no time of its own, so the picture can never drift from the sound.
// Owns: the held processor time, when one is held.
// Depends on: Music, the one clock; the C library's clock(); FPS in debug mode.
#pragma once

class Timer {
public:
    Timer();
    ~Timer();

    void start();
    void stop();
    void pause(bool pause);
    void update();
    void changePosition(int ms);
    int getPosition();
    double getPositionMinute();
    double getPositionSecond();
    double getPositionMS();  // centiseconds within the second, despite the name
    void print();

    // Seconds of processor time the program has used (clock() / 1e6), the clock the swaying
    // scene follows; or the value holdProcessor set
    double getProcessorSeconds();
    // Holds the processor clock at `seconds`, so that capture and the tests draw the sway of a
    // chosen moment; a negative value lets it follow the processor again
    void holdProcessor(double seconds);

private:
    double processorHeld;  // seconds, negative while the processor clock is followed
};

extern Timer timer;
