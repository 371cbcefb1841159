// The projection side and the free camera, read back from GL: the letterboxed viewport, the
// unit-square mode and its stack pairing, the perspective, the zoom keys' drifting volume,
// and where the free camera stands and looks after its moves and turns.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <regex>
#include <tuple>

#include "framework/cam.h"
#include "framework/camera.h"
#include "framework/config.h"
#include "tests/unit/toolkit.h"

using toolkit::integer;
using toolkit::Matrix;
using toolkit::matrix;

namespace {

using Viewport = std::array<int, 4>;

Viewport viewport()
{
    Viewport v;
    glGetIntegerv(GL_VIEWPORT, v.data());
    return v;
}

Viewport viewportFor(const char* ratio, int width, int height)
{
    Config::aspectratio = ratio;
    camera.resetViewport(width, height);
    return viewport();
}

// A point in eye coordinates under a modelview matrix.
std::array<double, 3> toEye(const Matrix& m, double x, double y, double z)
{
    return {m[0] * x + m[4] * y + m[8] * z + m[12], m[1] * x + m[5] * y + m[9] * z + m[13],
            m[2] * x + m[6] * y + m[10] * z + m[14]};
}

void expectOnViewAxis(const Matrix& m, double x, double y, double z, double distance)
{
    std::array<double, 3> eye = toEye(m, x, y, z);
    EXPECT_NEAR(eye[0], 0.0, 1e-5);
    EXPECT_NEAR(eye[1], 0.0, 1e-5);
    EXPECT_NEAR(eye[2], -distance, 1e-5) << "straight ahead, " << distance << " away";
}

void loadTranslation(float x, float y, float z)
{
    glMatrixMode(GL_MODELVIEW);
    glLoadIdentity();
    glTranslatef(x, y, z);
}

}  // namespace

TEST(Camera, WideRatiosLetterboxTheFullWidthCentredVerticallyAndZeroHeightCentresOnOneRow)
{
    toolkit::LogCapture log;
    const std::tuple<const char*, int, int, Viewport> cases[] = {
        {"16:10", 1280, 1024, {0, 112, 1280, 800}}, {"16:9", 1280, 1024, {0, 152, 1280, 720}},
        {"4:3", 1280, 1024, {0, 0, 1280, 1024}},    {"5:4", 1280, 1024, {0, 0, 1280, 1024}},
        {"16:9", 800, 1280, {0, 415, 800, 450}},    // taller than wide is not special
        {"16:9", 1366, 768, {0, 0, 1366, 768}},     // 1366 x 0.5625 = 768.375, truncated
        {"16:10", 1280, 0, {0, -399, 1280, 800}},   {"4:3", 1280, 0, {0, 0, 1280, 0}}};
    for (const auto& [ratio, width, height, expected] : cases)
        EXPECT_EQ(viewportFor(ratio, width, height), expected) << width << "x" << height << " " << ratio;
    EXPECT_EQ(log.lines().front(), "Camera: resetting viewport 1280x1024 (16:10)");
    EXPECT_EQ(log.lines().size(), 8u);
}

TEST(Camera, ZoomingInThenOutDriftsToThreeQuartersOfAThousandth)
{
    double aspect = 800.0 / 600.0;
    loadTranslation(0.25f, 0.0f, 0.0f);
    glViewport(10, 10, 20, 20);

    testing::internal::CaptureStdout();
    camera.zoomIn();
    Matrix in = matrix(GL_PROJECTION_MATRIX);
    camera.zoomOut();
    Matrix out = matrix(GL_PROJECTION_MATRIX);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Zoom in: \nZoom out: \n");

    // glOrtho(aspect * left, aspect * right, bottom, top, near, far) with left = bottom = 0
    EXPECT_NEAR(2.0 / in[0] / aspect, 0.75, 1e-6);
    EXPECT_NEAR(2.0 / in[5], 0.75, 1e-6);
    EXPECT_NEAR(2.0 / out[0] / aspect, 0.9975, 1e-6) << "0.75 x 1.33, not back to 1";
    EXPECT_NEAR(2.0 / out[5], 0.9975, 1e-6);
    EXPECT_FLOAT_EQ(out[12], -1.0f) << "left stays at 0";
    EXPECT_FLOAT_EQ(out[13], -1.0f) << "bottom stays at 0";
    EXPECT_FLOAT_EQ(out[10], -1.0f) << "near and far are not zoomed";
    EXPECT_FLOAT_EQ(out[14], 0.0f);

    EXPECT_EQ(viewport(), (Viewport{0, 0, 800, 600}));
    EXPECT_EQ(integer(GL_MATRIX_MODE), GL_MODELVIEW);
    EXPECT_FLOAT_EQ(matrix(GL_MODELVIEW_MATRIX)[12], 0.25f) << "the modelview is selected, not reset";
}

TEST(Camera, DepthKeyTogglesTheTestAndLogsEachWay)
{
    toolkit::LogCapture log;
    glEnable(GL_DEPTH_TEST);
    camera.toogleDepth();
    EXPECT_FALSE(glIsEnabled(GL_DEPTH_TEST));
    camera.toogleDepth();
    EXPECT_TRUE(glIsEnabled(GL_DEPTH_TEST));
    std::regex lines(
        "\\d{4}-\\d\\d-\\d\\d: \\d\\d:\\d\\d:\\d\\d - Camera: Disabling depth!\n"
        "\\d{4}-\\d\\d-\\d\\d: \\d\\d:\\d\\d:\\d\\d - Camera: Enabling depth!\n");
    EXPECT_TRUE(std::regex_match(log.text(), lines)) << log.text();
}

TEST(Camera, FlatModeIsTheUnitSquareOneLevelUpOnBothStacks)
{
    glMatrixMode(GL_PROJECTION);
    glLoadIdentity();
    glScalef(3.0f, 3.0f, 3.0f);
    loadTranslation(0.0f, 0.0f, -7.0f);
    int projectionDepth = integer(GL_PROJECTION_STACK_DEPTH);
    int modelviewDepth = integer(GL_MODELVIEW_STACK_DEPTH);

    camera.enable2D();
    Matrix square = matrix(GL_PROJECTION_MATRIX);
    // glOrtho(0, 1, 0, 1, -1, 1): x and y 0..1 onto -1..1, z flipped
    EXPECT_EQ(square, (Matrix{2, 0, 0, 0, 0, 2, 0, 0, 0, 0, -1, 0, -1, -1, 0, 1}));
    EXPECT_EQ(matrix(GL_MODELVIEW_MATRIX), (Matrix{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1}));
    EXPECT_EQ(integer(GL_MATRIX_MODE), GL_MODELVIEW);

    camera.enable2D(800, 600);
    Matrix pixels = matrix(GL_PROJECTION_MATRIX);
    EXPECT_FLOAT_EQ(pixels[0], 2.0f / 800);
    EXPECT_FLOAT_EQ(pixels[5], 2.0f / 600);
    EXPECT_EQ(integer(GL_PROJECTION_STACK_DEPTH), projectionDepth + 2);
    EXPECT_EQ(integer(GL_MODELVIEW_STACK_DEPTH), modelviewDepth + 2);

    camera.disable2D();
    EXPECT_EQ(matrix(GL_PROJECTION_MATRIX), square);
    camera.enable3D();
    EXPECT_EQ(integer(GL_PROJECTION_STACK_DEPTH), projectionDepth);
    EXPECT_EQ(integer(GL_MODELVIEW_STACK_DEPTH), modelviewDepth);
    EXPECT_FLOAT_EQ(matrix(GL_PROJECTION_MATRIX)[0], 3.0f) << "the caller's projection comes back";
    EXPECT_FLOAT_EQ(matrix(GL_MODELVIEW_MATRIX)[14], -7.0f) << "and its modelview";
    EXPECT_EQ(integer(GL_MATRIX_MODE), GL_MODELVIEW);
}

TEST(Camera, PerspectiveUsesTheStoredFieldsAndResetsTheModelview)
{
    // gluPerspective: [5] = cot(fov / 2), [0] = [5] / aspect, [14] = 2 far near / (near - far)
    loadTranslation(1.0f, 2.0f, 3.0f);
    camera.setNormalPerspective();
    Matrix normal = matrix(GL_PROJECTION_MATRIX);
    EXPECT_NEAR(normal[5], 1.0 / tan(22.5 * M_PI / 180.0), 1e-5) << "45 degrees";
    EXPECT_NEAR(normal[0], normal[5] * 600.0 / 800.0, 1e-5);
    EXPECT_NEAR(normal[14], 2.0 * 14000 * 0.1 / (0.1 - 14000), 1e-5) << "near 0.1, far 14000";
    EXPECT_EQ(matrix(GL_MODELVIEW_MATRIX), (Matrix{1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1}));
    EXPECT_EQ(integer(GL_MATRIX_MODE), GL_MODELVIEW);

    camera.setPerspective(60.0f, 1.0f, 100.0f);
    EXPECT_NEAR(matrix(GL_PROJECTION_MATRIX)[5], 1.0 / tan(30.0 * M_PI / 180.0), 1e-5);
    EXPECT_NEAR(matrix(GL_PROJECTION_MATRIX)[14], 2.0 * 100 * 1 / (1.0 - 100), 1e-5);
    camera.setFov(90.0f);
    EXPECT_NEAR(matrix(GL_PROJECTION_MATRIX)[5], 1.0, 1e-6);
    EXPECT_NEAR(matrix(GL_PROJECTION_MATRIX)[14], 2.0 * 100 * 1 / (1.0 - 100), 1e-5) << "keeps near and far";
    camera.setNormalPerspective();
    EXPECT_NEAR(matrix(GL_PROJECTION_MATRIX)[5], 1.0, 1e-6) << "the stored fov, now 90";
}

TEST(Cam, MovesFollowTheHeadingHorizontallyAndEchoTheAmount)
{
    testing::internal::CaptureStdout();
    Cam fly;
    fly.moveFront(5.5f);
    float frontX = fly.camX, frontZ = fly.camZ;
    fly.moveRight(5.5f);
    float rightX = fly.camX, rightZ = fly.camZ;
    fly.moveUp(2.0f);
    fly.pitch(30.0f);
    fly.moveBack(1.5f);
    float backZ = fly.camZ;
    fly.moveLeft(0.5f);
    fly.moveDown(0.25f);
    fly.yaw(-5.5f);
    fly.roll(12.0f);
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "Cam: Initializing...\n"
              "Cam: Moving forward 5.5 steps.\n"
              "Cam: Moving right 5.5 steps.\n"
              "Cam: Moving up 2 steps.\n"
              "Cam: Pitching 30\n"
              "Cam: Moving back 1.5 steps.\n"
              "Cam: Moving left 0.5 steps.\n"
              "Cam: Moving down 0.25 steps.\n"
              "Cam: Yawing -5.5\n"
              "Cam: Rolling 12\n");

    EXPECT_NEAR(frontX, 0.0f, 1e-5);
    EXPECT_FLOAT_EQ(frontZ, -2.5f) << "forward from (0, 0, 3) is toward -z";
    EXPECT_FLOAT_EQ(rightX, 5.5f);
    EXPECT_FLOAT_EQ(rightZ, -2.5f);
    EXPECT_FLOAT_EQ(backZ, -1.0f) << "pitch does not tilt a move";
    EXPECT_FLOAT_EQ(fly.camX, 5.0f);
    EXPECT_FLOAT_EQ(fly.camY, 1.75f);
    EXPECT_FLOAT_EQ(fly.camYaw, -95.5f);
    EXPECT_FLOAT_EQ(fly.camPitch, 30.0f);
    EXPECT_FLOAT_EQ(fly.camRoll, 12.0f);
}

TEST(Cam, SetTargetAimsYawAndPitchAndIgnoresTheEyeItself)
{
    testing::internal::CaptureStdout();
    Cam fly;
    fly.setTarget(0.0f, 0.0f, 3.0f);
    EXPECT_FLOAT_EQ(fly.camYaw, -90.0f) << "a target at the eye changes nothing";
    EXPECT_FLOAT_EQ(fly.camPitch, 0.0f);

    fly.setTarget(0.0f, 0.0f, 10.0f);
    EXPECT_FLOAT_EQ(fly.camYaw, 90.0f);
    EXPECT_FLOAT_EQ(fly.camPitch, 0.0f);

    fly.setTarget(0.0f, 7.0f, 10.0f);
    EXPECT_FLOAT_EQ(fly.camPitch, 45.0f);

    fly.setTarget(0.0f, 0.0f, -10.0f);
    EXPECT_FLOAT_EQ(fly.camYaw, 90.0f) << "a target behind is aimed at as if mirrored";

    fly.setTarget(4.0f, 0.0f, 3.0f);
    EXPECT_NEAR(fly.camYaw, 0.0f, 1e-5);
    fly.moveFront(2.0f);
    EXPECT_FLOAT_EQ(fly.camX, 2.0f) << "aimed along +x, forward goes there";
    testing::internal::GetCapturedStdout();
}

TEST(Cam, LookAtPutsTheHeadingStraightAheadAndIgnoresRoll)
{
    testing::internal::CaptureStdout();
    Cam fly;
    loadTranslation(9.0f, 9.0f, 9.0f);
    fly.lookAt();
    Matrix start = matrix(GL_MODELVIEW_MATRIX);
    expectOnViewAxis(start, 0.0, 0.0, 3.0, 0.0);
    expectOnViewAxis(start, 0.0, 0.0, 0.0, 3.0);

    fly.setPosition(1.0f, 2.0f, 3.0f);
    fly.yaw(180.0f);   // heading +z
    fly.pitch(30.0f);  // centre half a unit up, the heading not shortened
    fly.roll(45.0f);
    fly.lookAt();
    Matrix turned = matrix(GL_MODELVIEW_MATRIX);
    expectOnViewAxis(turned, 1.0, 2.5, 4.0, sqrt(1.25));
    std::array<double, 3> up = toEye(turned, 1.0, 3.0, 3.0);
    EXPECT_NEAR(up[0], 0.0, 1e-5) << "world up stays in the vertical plane of the view: no roll";
    testing::internal::GetCapturedStdout();
}

TEST(Cam, LookAtTwoPointsLeavesTheCameraAloneAndCoincidingPointsTheMatrix)
{
    testing::internal::CaptureStdout();
    Cam fly;
    float eye[3] = {1.0f, 1.0f, 1.0f};
    float target[3] = {4.0f, 1.0f, 5.0f};
    fly.lookAt(eye, target);
    expectOnViewAxis(matrix(GL_MODELVIEW_MATRIX), 4.0, 1.0, 5.0, 5.0);
    EXPECT_FLOAT_EQ(fly.camYaw, -90.0f);
    EXPECT_FLOAT_EQ(fly.camZ, 3.0f);

    loadTranslation(0.0f, 0.0f, -7.0f);
    fly.lookAt(eye, eye);
    EXPECT_FLOAT_EQ(matrix(GL_MODELVIEW_MATRIX)[14], -7.0f);
    testing::internal::GetCapturedStdout();
}
