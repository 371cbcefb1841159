// Light: the parameters of one fixed-function light, uploaded on request.
// Owns: one light's ambient, diffuse, specular and position values.
// Depends on: OpenGL 1.x fixed function (glLightfv).
#pragma once

class Light {
public:
    float position[4];
    float spotDirection[4];
    float spotExponent;  // stored, never uploaded
    float diffuse[4];
    float ambient[4];
    float specular[4];

    Light();

    void setDefaults();
    // Always a positional light (w = 1)
    void setPosition(float x, float y, float z);
    void setSpotDirection(float x, float y, float z);
    void setSpotExponent(float e);
    void setAmbient(float r, float g, float b, float a);
    void setDiffuse(float r, float g, float b, float a);
    void setSpecular(float r, float g, float b, float a);
    // `light` is the GL enumerant itself (GL_LIGHT0, ...); neither the light nor lighting is
    // enabled here
    void use(int light);
};
