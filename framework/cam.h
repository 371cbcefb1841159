// Cam: the free-flying debugging camera, a position and three angles in degrees. Every
// change is echoed to standard output so a path can be flown and read back.
// Owns: the free camera's position and angles.
// Depends on: OpenGL 1.x fixed function and GLU (gluLookAt); standard output for its echo.
#pragma once

class Cam {
public:
    float camYaw;    // in the x-z plane, from +x toward +z
    float camPitch;
    float camRoll;   // reported, never applied to the view
    float camX, camY, camZ;

    Cam();
    virtual ~Cam();

    virtual void moveLeft(float steps);
    virtual void moveRight(float steps);
    virtual void moveFront(float steps);
    virtual void moveBack(float steps);
    virtual void moveUp(float steps);
    virtual void moveDown(float steps);
    virtual void yaw(float angle);
    virtual void pitch(float angle);
    virtual void roll(float angle);

    void setPosition(float x, float y, float z);
    void setTarget(float x, float y, float z);
    // Loads the view of the stored position and angles into the modelview matrix
    void lookAt();
    // The same for two points, leaving the stored state alone
    void lookAt(float* eye, float* target);
};

extern Cam cam;
