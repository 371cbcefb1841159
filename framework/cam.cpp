// Cam: moves are horizontal only; pitch does not tilt them.
#include "cam.h"

#include <GL/gl.h>
#include <GL/glu.h>
#include <cmath>
#include <iostream>

static const double pi = 3.14159265358979323846;

static double radians(float degrees) { return degrees * pi / 180.0; }

// The unit heading (hx, hz) in the x-z plane for a yaw in degrees.
static void heading(float yawDegrees, double& hx, double& hz)
{
    double yaw = radians(yawDegrees);
    hx = sin(yaw + pi / 2);
    hz = sin(yaw);
}

// Yaw and pitch in degrees that look from `from` toward `to`; false when they coincide.
// The yaw lies in 0..180, so a target behind (smaller z) is aimed at as if mirrored.
static bool aim(float fx, float fy, float fz, float tx, float ty, float tz, float& yaw, float& pitch)
{
    double dx = tx - fx, dy = ty - fy, dz = tz - fz;
    double length = sqrt(dx * dx + dy * dy + dz * dz);
    if (length == 0.0) return false;
    yaw = static_cast<float>(90.0 - asin(dx / length) * 180.0 / pi);
    pitch = static_cast<float>(asin(dy / length) * 180.0 / pi);
    return true;
}

static void look(float x, float y, float z, float yawDegrees, float pitchDegrees)
{
    double hx, hz;
    heading(yawDegrees, hx, hz);
    glLoadIdentity();
    gluLookAt(x, y, z, x + hx, y + sin(radians(pitchDegrees)), z + hz, 0.0, 1.0, 0.0);
}

Cam::Cam() : camYaw(-90.0f), camPitch(0.0f), camRoll(0.0f), camX(0.0f), camY(0.0f), camZ(3.0f)
{
    std::cout << "Cam: Initializing..." << std::endl;
}

Cam::~Cam() {}

void Cam::moveLeft(float steps)
{
    std::cout << "Cam: Moving left " << steps << " steps." << std::endl;
    double hx, hz;
    heading(camYaw, hx, hz);
    camX += hz * steps;
    camZ -= hx * steps;
}

void Cam::moveRight(float steps)
{
    std::cout << "Cam: Moving right " << steps << " steps." << std::endl;
    double hx, hz;
    heading(camYaw, hx, hz);
    camX -= hz * steps;
    camZ += hx * steps;
}

void Cam::moveFront(float steps)
{
    std::cout << "Cam: Moving forward " << steps << " steps." << std::endl;
    double hx, hz;
    heading(camYaw, hx, hz);
    camX += hx * steps;
    camZ += hz * steps;
}

void Cam::moveBack(float steps)
{
    std::cout << "Cam: Moving back " << steps << " steps." << std::endl;
    double hx, hz;
    heading(camYaw, hx, hz);
    camX -= hx * steps;
    camZ -= hz * steps;
}

void Cam::moveUp(float steps)
{
    std::cout << "Cam: Moving up " << steps << " steps." << std::endl;
    camY += steps;
}

void Cam::moveDown(float steps)
{
    std::cout << "Cam: Moving down " << steps << " steps." << std::endl;
    camY -= steps;
}

void Cam::yaw(float angle)
{
    std::cout << "Cam: Yawing " << angle << std::endl;
    camYaw += angle;
}

void Cam::pitch(float angle)
{
    std::cout << "Cam: Pitching " << angle << std::endl;
    camPitch += angle;
}

void Cam::roll(float angle)
{
    std::cout << "Cam: Rolling " << angle << std::endl;
    camRoll += angle;
}

void Cam::setPosition(float x, float y, float z)
{
    camX = x;
    camY = y;
    camZ = z;
}

void Cam::setTarget(float x, float y, float z) { aim(camX, camY, camZ, x, y, z, camYaw, camPitch); }

void Cam::lookAt() { look(camX, camY, camZ, camYaw, camPitch); }

void Cam::lookAt(float* eye, float* target)
{
    float yaw, pitch;
    if (!aim(eye[0], eye[1], eye[2], target[0], target[1], target[2], yaw, pitch)) return;
    look(eye[0], eye[1], eye[2], yaw, pitch);
}
