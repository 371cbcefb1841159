// Light: a white diffuse positional light at (1, 0, 0) by default.
#include "light.h"

#include <GL/gl.h>

static void set4(float* target, float a, float b, float c, float d)
{
    target[0] = a;
    target[1] = b;
    target[2] = c;
    target[3] = d;
}

Light::Light() { setDefaults(); }

void Light::setDefaults()
{
    set4(position, 1.0f, 0.0f, 0.0f, 1.0f);
    set4(spotDirection, 0.0f, 0.0f, 0.0f, 1.0f);
    spotExponent = 0.0f;
    set4(diffuse, 1.0f, 1.0f, 1.0f, 1.0f);
    set4(ambient, 0.0f, 0.0f, 0.0f, 0.0f);
    set4(specular, 0.0f, 0.0f, 0.0f, 1.0f);
}

void Light::setPosition(float x, float y, float z) { set4(position, x, y, z, 1.0f); }

void Light::setSpotDirection(float x, float y, float z) { set4(spotDirection, x, y, z, 1.0f); }

void Light::setSpotExponent(float e) { spotExponent = e; }

void Light::setAmbient(float r, float g, float b, float a) { set4(ambient, r, g, b, a); }

void Light::setDiffuse(float r, float g, float b, float a) { set4(diffuse, r, g, b, a); }

void Light::setSpecular(float r, float g, float b, float a) { set4(specular, r, g, b, a); }

void Light::use(int light)
{
    glLightfv(light, GL_POSITION, position);
    glLightfv(light, GL_AMBIENT, ambient);
    glLightfv(light, GL_DIFFUSE, diffuse);
    glLightfv(light, GL_SPECULAR, specular);
    glLightfv(light, GL_SPOT_DIRECTION, spotDirection);
}
