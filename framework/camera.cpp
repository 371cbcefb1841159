// Camera: fixed-function matrix stacks only.
#include "camera.h"

#include <GL/gl.h>
#include <GL/glu.h>
#include <iostream>

#include "config.h"
#include "logger.h"

// The orthographic volume of the zoom keys; never reset, so zoom carries across scenes.
static float leftPlane = 0.0f;
static float rightPlane = 1.0f;
static float bottomPlane = 0.0f;
static float topPlane = 1.0f;
static float nearPlane = -1.0f;
static float farPlane = 1.0f;

Camera::Camera() : fov(45.0f), zNear(0.1f), zFar(14000.0f) {}

Camera::~Camera() {}

// Every perspective change also resets the modelview matrix.
static void applyPerspective(double fov, double aspect, double zNear, double zFar)
{
    glMatrixMode(GL_PROJECTION);
    glLoadIdentity();
    gluPerspective(fov, aspect, zNear, zFar);
    glMatrixMode(GL_MODELVIEW);
    glLoadIdentity();
}

void Camera::setFov(float f)
{
    fov = f;
    applyPerspective(fov, static_cast<double>(Config::width) / Config::height, zNear, zFar);
}

void Camera::setPerspective(float fov, float zNear, float zFar)
{
    this->fov = fov;
    this->zNear = zNear;
    this->zFar = zFar;
    applyPerspective(fov, static_cast<double>(Config::width) / Config::height, zNear, zFar);
}

void Camera::setNormalPerspective()
{
    applyPerspective(fov, static_cast<float>(Config::width) / static_cast<float>(Config::height), zNear, zFar);
}

// Both stacks get one level more; enable2D reloads both matrices, so drawing stays right even
// once a scene that never pops has filled the stacks.
static void pushOrtho(double right, double top)
{
    glMatrixMode(GL_PROJECTION);
    glPushMatrix();
    glLoadIdentity();
    glOrtho(0.0, right, 0.0, top, -1.0, 1.0);
    glMatrixMode(GL_MODELVIEW);
    glPushMatrix();
    glLoadIdentity();
}

void Camera::enable2D() { pushOrtho(1.0, 1.0); }

void Camera::enable2D(int w, int h) { pushOrtho(w, h); }

void Camera::disable2D()
{
    glMatrixMode(GL_PROJECTION);
    glPopMatrix();
    glMatrixMode(GL_MODELVIEW);
    glPopMatrix();
}

void Camera::enable3D() { disable2D(); }

// The factors are not reciprocal (0.75 x 1.33 = 0.9975): zooming in and out again drifts.
static void zoom(const char* message, float factor)
{
    std::cout << message << std::endl;
    leftPlane *= factor;
    rightPlane *= factor;
    topPlane *= factor;
    bottomPlane *= factor;
    setViewingVolume();
}

void Camera::zoomIn() { zoom("Zoom in: ", 0.75f); }

void Camera::zoomOut() { zoom("Zoom out: ", 1.33f); }

void Camera::toogleDepth()
{
    if (glIsEnabled(GL_DEPTH_TEST)) {
        logger << "Camera: Disabling depth!" << std::endl;
        glDisable(GL_DEPTH_TEST);
    } else {
        logger << "Camera: Enabling depth!" << std::endl;
        glEnable(GL_DEPTH_TEST);
    }
}

void Camera::resetViewport(int width, int height)
{
    logger << "Camera: resetting viewport " << width << "x" << height << " (" << Config::aspectratio << ")"
           << std::endl;
    int centring = height == 0 ? 1 : height;
    int viewHeight = height;
    if (Config::aspectratio == "16:10")
        viewHeight = static_cast<int>(width * 0.625);
    else if (Config::aspectratio == "16:9")
        viewHeight = static_cast<int>(width * 0.5625);
    glViewport(0, (centring - viewHeight) / 2, width, viewHeight);
}

void setViewingVolume()
{
    int width = Config::width;
    int height = Config::height;
    double aspect = static_cast<double>(width) / height;
    glViewport(0, 0, width, height);
    glMatrixMode(GL_PROJECTION);
    glLoadIdentity();
    // Chosen on non-zero sizes, not on which side is longer.
    if (width != 0 && height != 0)
        glOrtho(aspect * leftPlane, aspect * rightPlane, bottomPlane, topPlane, nearPlane, farPlane);
    else
        glOrtho(leftPlane, rightPlane, aspect * bottomPlane, aspect * topPlane, nearPlane, farPlane);
    glMatrixMode(GL_MODELVIEW);
}
