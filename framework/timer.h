// Timer: the demo clock as the rest of the program asks for it. A facade over the music:
// it keeps no time of its own, so the picture can never drift from the sound.
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
};

extern Timer timer;
