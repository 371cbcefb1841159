// Solardistrict: two clocks by design. The sway and the breathing follow processor time
// (clock()), so they move whatever the music does; the preset jumps follow the music; the
// orbit advances a degree per drawn frame.
#include "scenes/solardistrict.h"

#include <GL/gl.h>
#include <GL/glu.h>
#include <cmath>

#include "framework/camera.h"
#include "framework/livecode.h"
#include "framework/texturemanager.h"
#include "framework/timer.h"

static const double pi = 3.14159265358979323846;

// Corners of a box from (0, 0, 0) to (sx, sy, sz), as multiples of the three sizes.
static const float corners[8][3] = {{1, 1, 0}, {0, 1, 0}, {0, 0, 0}, {1, 0, 0}, {1, 0, 1}, {1, 1, 1}, {0, 1, 1}, {0, 0, 1}};
static const int faces[6][4] = {{2, 3, 0, 1}, {3, 4, 5, 0}, {0, 5, 6, 1}, {7, 2, 1, 6}, {7, 4, 3, 2}, {4, 7, 6, 5}};
static const float normals[6][3] = {{0, 0, -1}, {1, 0, 0}, {0, 1, 0}, {-1, 0, 0}, {0, -1, 0}, {0, 0, 1}};
// The top and bottom faces get no coordinates: the last one, (1, 1), stays in effect, so they
// show a single texel colour.
static const bool textured[6] = {true, true, false, true, false, true};
static const float faceCoordinates[4][2] = {{1, 0}, {0, 0}, {0, 1}, {1, 1}};

// The orbit and the preset advance with the frames drawn; the sway is worked out anew each frame.
Solardistrict::Solardistrict()
{
    livecode.keep("solardistrict.rotation", rotation);
    livecode.keep("solardistrict.view", view);
}

Solardistrict::~Solardistrict() {}

void Solardistrict::init()
{
    rotation = 0;
    view = 3;
    swayX = 0.0f;
    swayAngle = 0.0f;
    swayZ = 0.0f;
    glClearColor(0.0f, 0.0f, 0.0f, 0.0f);
    glEnable(GL_LIGHTING);
    glEnable(GL_LIGHT0);
    glEnable(GL_DEPTH_TEST);
}

void Solardistrict::release() {}

void Solardistrict::animateCamera()
{
    float a = static_cast<float>(0.5 * sin(timer.getProcessorSeconds() + pi / 2) + 0.5);
    float b = static_cast<float>(0.5 * sin(timer.getProcessorSeconds()) + 0.5);
    swayX = a * 11.5f - 5.0f;
    swayAngle = a * -286.0f;
    swayZ = b * 10.5f - 4.0f;

    // Tested once per drawn frame: above 100 frames a second a 10 ms step advances the view
    // more than once, and it advances every frame below 10 ms. That is part of the look.
    int k = timer.getPosition() / 10;
    if (k % 700 == 0 || k % 1700 == 0 || k % 1100 == 0) view = (view + 1) % 4;
}

void Solardistrict::setPerspective(int view)
{
    switch (view) {
    case 0: gluLookAt(5, 2.2, 0, 0, 0.2, -10, 0, 1, 0); break;
    case 1:
        gluLookAt(0, 8, 25, 0, 8, 0, 0, 1, 0);
        glRotatef(90.0f, 0.9f, 0.0f, 0.0f);  // from above
        break;
    case 2: gluLookAt(10, 5, 10, 0, 0.2, -10, 0, 1, 0); break;
    case 3: gluLookAt(10, 20.2, 10, 0, 0.2, -10, 0, 1, 0); break;
    default: break;
    }
}

// A textured square lying at y = 0 with half-side `half`.
static void groundQuad(float half)
{
    glBegin(GL_QUADS);
    glNormal3f(0.0f, 1.0f, 0.0f);
    glTexCoord2f(1.0f, 0.0f);
    glVertex3f(half, 0.0f, half);
    glTexCoord2f(0.0f, 0.0f);
    glVertex3f(-half, 0.0f, half);
    glTexCoord2f(0.0f, 1.0f);
    glVertex3f(-half, 0.0f, -half);
    glTexCoord2f(1.0f, 1.0f);
    glVertex3f(half, 0.0f, -half);
    glEnd();
}

void Solardistrict::drawStreet()
{
    texturemanager.bindTexture("font1.png", GL_TEXTURE0);
    groundQuad(10.0f);
    texturemanager.unbind();
}

void Solardistrict::drawGarden()
{
    texturemanager.bindTexture("greets.png", GL_TEXTURE0);
    glTranslatef(0.0f, 0.1f, 0.0f);
    groundQuad(3.0f);
    // Does not undo the lift: everything after the garden stands 0.099 higher.
    glTranslatef(0.0f, -0.001f, 0.0f);
    texturemanager.unbind();
}

void Solardistrict::drawCube(float sx, float sy, float sz)
{
    glBegin(GL_QUADS);
    for (int face = 0; face < 6; face++) {
        glNormal3fv(normals[face]);
        for (int i = 0; i < 4; i++) {
            const float* corner = corners[faces[face][i]];
            if (textured[face]) glTexCoord2fv(faceCoordinates[i]);
            glVertex3f(corner[0] * sx, corner[1] * sy, corner[2] * sz);
        }
    }
    glEnd();
}

// A new quadric per sphere, freed once drawn: the picture is the same and nothing piles up.
void Solardistrict::drawSphere(double radius, int slices, int stacks)
{
    GLUquadric* quadric = gluNewQuadric();
    gluQuadricNormals(quadric, GLU_SMOOTH);
    gluSphere(quadric, radius, slices, stacks);
    gluDeleteQuadric(quadric);
}

// The eight buildings on a ring around the empty centre of a 3 x 3 grid; the fourth breathes
// in all three sizes, the eighth rises and falls.
static void drawBuildings(Solardistrict& scene, float p, float q)
{
    texturemanager.bindTexture("bakgrunn2.png", GL_TEXTURE0);
    glTranslatef(-7.0f, 0.0f, -7.0f);
    scene.drawCube(3, 4, 2);
    glTranslatef(6.0f, 0.0f, 0.0f);
    scene.drawCube(3, 4, 2);
    glTranslatef(6.0f, 0.0f, 0.0f);
    scene.drawCube(3, 4, 2);
    glTranslatef(0.0f, 0.0f, 6.0f);
    scene.drawCube(p, q, q);
    glTranslatef(0.0f, 0.0f, 6.0f);
    scene.drawCube(3, 4, 2);
    glTranslatef(-6.0f, 0.0f, 0.0f);
    scene.drawCube(3, 4, 2);
    glTranslatef(-6.0f, 0.0f, 0.0f);
    scene.drawCube(3, 4, 2);
    glTranslatef(0.0f, 0.0f, -6.0f);
    scene.drawCube(3, p, 2);
    texturemanager.unbind();
}

// The sun spinning at (7, 1, 1.5) and four spheres on the corners of a square turning about (7, 1, 1).
static void drawSpheres(Solardistrict& scene)
{
    glPushMatrix();
    glColor3f(1.0f, 0.9f, 0.1f);
    glTranslatef(7.0f, 1.0f, 1.5f);
    glRotatef(static_cast<float>(scene.rotation), 0.0f, 1.0f, 0.0f);
    scene.drawSphere(0.5, 20, 20);
    glPopMatrix();

    glPushMatrix();
    glColor3f(0.3f, 1.0f, 1.0f);
    glTranslatef(7.0f, 1.0f, 1.0f);
    glRotatef(static_cast<float>(scene.rotation), 0.0f, 1.0f, 0.0f);
    glTranslatef(1.5f, 0.0f, -1.5f);
    scene.drawSphere(0.5, 20, 20);
    glColor3f(0.0f, 0.0f, 1.0f);
    glTranslatef(0.0f, 0.0f, 3.0f);
    scene.drawSphere(0.5, 20, 20);
    glColor3f(1.0f, 0.0f, 0.0f);
    glTranslatef(-3.0f, 0.0f, 0.0f);
    scene.drawSphere(0.5, 20, 20);
    glColor3f(0.0f, 0.5f, 0.0f);
    glTranslatef(0.0f, 0.0f, -3.0f);
    scene.drawSphere(0.5, 20, 20);
    glPopMatrix();
}

void Solardistrict::draw()
{
    camera.enable3D();  // pops what the preceding 2D scene left pushed
    camera.setNormalPerspective();
    glClear(GL_COLOR_BUFFER_BIT | GL_DEPTH_BUFFER_BIT);
    glLoadIdentity();

    animateCamera();
    setPerspective(view);
    float q = static_cast<float>(sin(timer.getProcessorSeconds() + pi / 2) + 1.5);
    float p = static_cast<float>(sin(timer.getProcessorSeconds() * 0.5) + 2.5);

    glTranslatef(0.0f, 0.0f, -8.0f);
    glTranslatef(swayX, 0.0f, swayZ);
    glRotatef(swayAngle, 0.0f, 1.0f, 0.0f);

    glClearColor(0.0f, 0.0f, 0.0f, 0.0f);
    static const float lightPosition[4] = {1.0f, 6.0f, 3.0f, 1.0f};
    glLightfv(GL_LIGHT0, GL_POSITION, lightPosition);
    glColorMaterial(GL_FRONT, GL_AMBIENT);
    glEnable(GL_COLOR_MATERIAL);

    drawStreet();
    drawGarden();
    drawBuildings(*this, p, q);

    rotation = (rotation + 1) % 360;
    drawSpheres(*this);
}
