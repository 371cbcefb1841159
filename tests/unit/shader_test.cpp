// Shaders in process, on the real GL context and Mesa's GLSL compiler: the log of a build and
// a release, every setter reaching the variable it names with its values, the fatal look-ups,
// and the manager's pairing of sorted file lists.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <GL/glew.h>

#include <algorithm>
#include <filesystem>
#include <functional>

#include "framework/loader.h"
#include "framework/shader.h"
#include "framework/shadermanager.h"
#include "tests/support/fixture.h"
#include "tests/support/inprocess.h"

namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::ElementsAreArray;
using testing::Eq;
using testing::ExitedWithCode;

// Every variable is used, so none is optimised away; all sit on one vertex.
const char* const setterVertex =
    "attribute float a1;\nattribute vec2 a2;\nattribute vec3 a3;\nattribute vec4 a4;\n"
    "void main()\n{\n    gl_Position = ftransform() + vec4(a1 + a2.x + a3.x + a4.x, a2.y + a3.y, a3.z, a4.w);\n}\n";
const char* const setterFragment =
    "uniform float f1;\nuniform vec2 f2;\nuniform vec3 f3;\nuniform vec4 f4;\n"
    "uniform int i1;\nuniform ivec2 i2;\nuniform ivec3 i3;\nuniform ivec4 i4;\n"
    "uniform float fa1[2];\nuniform vec2 fa2[2];\nuniform vec3 fa3[2];\nuniform vec4 fa4[2];\n"
    "uniform int ia1[2];\nuniform ivec2 ia2[2];\nuniform ivec3 ia3[2];\nuniform ivec4 ia4[2];\n"
    "uniform mat2 m2;\nuniform mat3 m3;\nuniform mat4 m4;\n"
    "uniform float unused;\n"
    "void main()\n{\n"
    "    float f = f1 + f2.y + f3.z + f4.w + fa1[1] + fa2[1].y + fa3[1].z + fa4[1].w;\n"
    "    int i = i1 + i2.y + i3.z + i4.w + ia1[1] + ia2[1].y + ia3[1].z + ia4[1].w;\n"
    "    f += fa1[0] + fa2[0].x + fa3[0].x + fa4[0].x + float(ia1[0] + ia2[0].x + ia3[0].x + ia4[0].x);\n"
    "    gl_FragColor = vec4(f + float(i), m2[1][1], m3[2][2], m4[3][3]);\n"
    "}\n";

class ShaderBuild : public testing::Test {
protected:
    void SetUp() override
    {
        scratch.write("setters.vert", setterVertex);
        scratch.write("setters.frag", setterFragment);
        vertex = scratch.file("setters.vert");
        fragment = scratch.file("setters.frag");
        log.reset();
        shader.init("setters", vertex.c_str(), fragment.c_str());
    }

    // What GL holds for a uniform ('f' float, 'i' integer) or a vertex attribute ('a'), as floats
    std::vector<float> read(char kind, const char* name, size_t n)
    {
        std::vector<float> values(16);
        if (kind == 'a') {
            glGetVertexAttribfv(glGetAttribLocation(shader.program, name), GL_CURRENT_VERTEX_ATTRIB, values.data());
        } else if (kind == 'i') {
            int ints[4];
            glGetUniformiv(shader.program, glGetUniformLocation(shader.program, name), ints);
            std::copy(ints, ints + 4, values.begin());
        } else {
            glGetUniformfv(shader.program, glGetUniformLocation(shader.program, name), values.data());
        }
        values.resize(n);
        return values;
    }

    fixture::Directory scratch;
    fixture::LogCapture log;
    std::string vertex, fragment;
    Shader shader;
};

TEST_F(ShaderBuild, LogsEveryStepNamingTheVertexFileWhenAttachingTheFragmentSource)
{
    std::string vs = std::to_string(shader.vertexShader), fs = std::to_string(shader.fragmentShader);
    std::string program = std::to_string(shader.program);
    ASSERT_NE(shader.program, 0u);
    EXPECT_THAT(log.lines(),
                ElementsAre("Shader: Loading file: " + vertex, "Shader: Loading file: " + fragment,
                            "Shader: Using OpenGL 2.0 shader.", "Shader: Creating vertex shader object: " + vertex,
                            "Shader: Attatching vertex shader source (" + vertex + ") to shader object: " + vs,
                            "Shader: Compiling vertex shader: " + vertex, "Shader: Validating shader: " + vs,
                            "Shader: Creating fragment shader object: " + fragment,
                            "Shader: Attatching fragment shader source  (" + vertex + ") to shader object: " + fs,
                            "Shader: Compiling fragment shader: " + fragment, "Shader: Validating shader: " + fs,
                            "Shader: Creating program object: 0",
                            "Shader: Attaching vertex shader source (" + vertex + ") to program object: " + program,
                            "Shader: Attaching fragment shader source (" + fragment + ") to program object: " + program,
                            "Shader: Linking program object: " + program, "Shader: Validating program: " + program));
    EXPECT_EQ(std::string(shader.vertexSource), setterVertex);
    EXPECT_EQ(std::string(shader.fragmentSource), setterFragment);
}

TEST_F(ShaderBuild, BindSelectsTheProgramAndEverySetterWritesItsValuesToTheNamedVariable)
{
    while (glGetError() != GL_NO_ERROR) continue;  // what earlier drawing left behind
    shader.bind();
    GLint current = 0;
    glGetIntegerv(GL_CURRENT_PROGRAM, &current);
    EXPECT_EQ(current, static_cast<GLint>(shader.program));

    // Arrays of two: the count reaches the second element. Matrices: the transpose flag goes
    // through, so the stored columns are the given rows. Attributes: missing components come
    // as GL's defaults (0, 0, 0, 1).
    float m[16] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
    int n[8] = {21, 22, 23, 24, 25, 26, 27, 28};
    struct Setter {
        char kind;
        const char* variable;
        std::function<bool(Shader&)> set;
        std::vector<float> stored;
    };
    const Setter setters[] = {
        {'f', "f1", [&](Shader& s) { return s.setUniform1f("f1", 1.5f); }, {1.5f}},
        {'f', "f2", [&](Shader& s) { return s.setUniform2f("f2", 2.5f, 3.5f); }, {2.5f, 3.5f}},
        {'f', "f3", [&](Shader& s) { return s.setUniform3f("f3", 4.5f, 5.5f, 6.5f); }, {4.5f, 5.5f, 6.5f}},
        {'f', "f4", [&](Shader& s) { return s.setUniform4f("f4", 7.5f, 8.5f, 9.5f, 10.5f); },
         {7.5f, 8.5f, 9.5f, 10.5f}},
        {'i', "i1", [&](Shader& s) { return s.setUniform1i("i1", 11); }, {11}},
        {'i', "i2", [&](Shader& s) { return s.setUniform2i("i2", 12, 13); }, {12, 13}},
        {'i', "i3", [&](Shader& s) { return s.setUniform3i("i3", 14, 15, 16); }, {14, 15, 16}},
        {'i', "i4", [&](Shader& s) { return s.setUniform4i("i4", 17, 18, 19, 20); }, {17, 18, 19, 20}},
        {'f', "fa1[1]", [&](Shader& s) { return s.setUniform1fv("fa1", 2, m); }, {2}},
        {'f', "fa2[1]", [&](Shader& s) { return s.setUniform2fv("fa2", 2, m); }, {3, 4}},
        {'f', "fa3[1]", [&](Shader& s) { return s.setUniform3fv("fa3", 2, m); }, {4, 5, 6}},
        {'f', "fa4[1]", [&](Shader& s) { return s.setUniform4fv("fa4", 2, m); }, {5, 6, 7, 8}},
        {'i', "ia1[1]", [&](Shader& s) { return s.setUniform1iv("ia1", 2, n); }, {22}},
        {'i', "ia2[1]", [&](Shader& s) { return s.setUniform2iv("ia2", 2, n); }, {23, 24}},
        {'i', "ia3[1]", [&](Shader& s) { return s.setUniform3iv("ia3", 2, n); }, {24, 25, 26}},
        {'i', "ia4[1]", [&](Shader& s) { return s.setUniform4iv("ia4", 2, n); }, {25, 26, 27, 28}},
        {'f', "m2", [&](Shader& s) { return s.setUniformMatrix2fv("m2", 1, GL_TRUE, m); }, {1, 3, 2, 4}},
        {'f', "m3", [&](Shader& s) { return s.setUniformMatrix3fv("m3", 1, GL_FALSE, m); },
         {1, 2, 3, 4, 5, 6, 7, 8, 9}},
        {'f', "m4", [&](Shader& s) { return s.setUniformMatrix4fv("m4", 1, GL_TRUE, m); },
         {1, 5, 9, 13, 2, 6, 10, 14, 3, 7, 11, 15, 4, 8, 12, 16}},
        {'a', "a1", [&](Shader& s) { return s.setVertexAttrib1f("a1", 0.5f); }, {0.5f, 0, 0, 1}},
        {'a', "a2", [&](Shader& s) { return s.setVertexAttrib2f("a2", 1.5f, 2.5f); }, {1.5f, 2.5f, 0, 1}},
        {'a', "a3", [&](Shader& s) { return s.setVertexAttrib3f("a3", 3.5f, 4.5f, 5.5f); }, {3.5f, 4.5f, 5.5f, 1}},
        {'a', "a4", [&](Shader& s) { return s.setVertexAttrib4f("a4", 6.5f, 7.5f, 8.5f, 9.5f); },
         {6.5f, 7.5f, 8.5f, 9.5f}},
        {'a', "a1", [&](Shader& s) { return s.setVertexAttrib1fv("a1", m + 4); }, {5, 0, 0, 1}},
        {'a', "a2", [&](Shader& s) { return s.setVertexAttrib2fv("a2", m + 3); }, {4, 5, 0, 1}},
        {'a', "a3", [&](Shader& s) { return s.setVertexAttrib3fv("a3", m + 2); }, {3, 4, 5, 1}},
        {'a', "a4", [&](Shader& s) { return s.setVertexAttrib4fv("a4", m + 1); }, {2, 3, 4, 5}},
    };
    for (size_t row = 0; row < std::size(setters); row++) {
        const Setter& setter = setters[row];
        EXPECT_TRUE(setter.set(shader)) << "row " << row;
        EXPECT_THAT(read(setter.kind, setter.variable, setter.stored.size()), ElementsAreArray(setter.stored))
            << "row " << row << ": " << setter.variable;
    }
    EXPECT_EQ(glGetError(), static_cast<GLenum>(GL_NO_ERROR));

    shader.unbind();
    glGetIntegerv(GL_CURRENT_PROGRAM, &current);
    EXPECT_EQ(current, 0);
}

TEST_F(ShaderBuild, ReleaseDetachesAndDeletesEveryObject)
{
    unsigned int vs = shader.vertexShader, fs = shader.fragmentShader, program = shader.program;
    log.reset();
    shader.release();
    EXPECT_THAT(log.lines(),
                ElementsAre("Shader: Detaching vertex shader " + std::to_string(vs) + " from program object " +
                                std::to_string(program),
                            "Shader: Detaching fragment shader " + std::to_string(fs) + " from program object " +
                                std::to_string(program),
                            "Shader: Deleting vertex shader object: " + std::to_string(vs),
                            "Shader: Deleting fragment shader object: " + std::to_string(fs),
                            "Shader: Deleting program object: " + std::to_string(program)));
    EXPECT_FALSE(glIsProgram(program));
    EXPECT_FALSE(glIsShader(vs));
    EXPECT_FALSE(glIsShader(fs));
    EXPECT_EQ(shader.program, program) << "handles keep their values";
}

TEST(Shader, ReleasingAShaderNeverBuiltDeletesNothing)
{
    fixture::LogCapture log;
    Shader shader;
    shader.release();
    EXPECT_THAT(log.lines(), ElementsAre("Shader: Detaching vertex shader 0 from program object 0",
                                         "Shader: Detaching fragment shader 0 from program object 0"));
}

TEST_F(ShaderBuild, UnknownVariableOrMissingSourceFileEndsTheProgramNamingIt)
{
    EXPECT_EXIT(shader.setUniform1f("nothing", 1.0f), ExitedWithCode(1),
                Eq("Shader: Cannot find uniform variable nothing in shader.\n"));
    EXPECT_EXIT(shader.setUniform1f("unused", 1.0f), ExitedWithCode(1),
                Eq("Shader: Cannot find uniform variable unused in shader.\n")) << "optimised away";
    EXPECT_EXIT(shader.setUniformMatrix4fv("m5", 1, GL_FALSE, nullptr), ExitedWithCode(1),
                Eq("Shader: Cannot find uniform variable m5 in shader.\n"));
    EXPECT_EXIT(shader.setVertexAttrib2f("a5", 1.0f, 2.0f), ExitedWithCode(1),
                Eq("Shader: Cannot find attrib a5 in shader.\n"));
    EXPECT_EXIT(shader.loadFile("data/shaders/absent.vert"), ExitedWithCode(1),
                Eq("Shader: Error! data/shaders/absent.vert does not exist!\n"));
}

// A data/ tree of its own for each test, with just these shader files in it.
class ShaderFiles : public testing::Test {
protected:
    void SetUp() override
    {
        shadermanager.freeShaders();
        directory.remove("data/shaders");
        std::filesystem::create_directories(directory.file("data/shaders"));
        loader.clear();
        log.reset();
    }

    void pair(const std::string& vertex, const std::string& fragment)
    {
        directory.write("data/shaders/" + vertex, fixture::readFile("data/shaders/plain.vert"));
        directory.write("data/shaders/" + fragment, fixture::readFile("data/shaders/plain.frag"));
    }

    fixture::Directory directory;
    fixture::LogCapture log;
};

TEST_F(ShaderFiles, PairsAreFormedBySortedPositionAndNamedAfterTheVertexFile)
{
    pair("b.vert", "a.frag");
    pair("a.vert", "b.frag");
    pair("c.vert", "d.frag");
    fixture::WorkingDirectory inside(directory.path());
    shadermanager.loadShaders();

    std::vector<std::string> lines = log.lines();
    std::vector<std::string> managerLines;
    std::copy_if(lines.begin(), lines.end(), std::back_inserter(managerLines),
                 [](const std::string& line) { return line.rfind("Shader manager: ", 0) == 0; });
    EXPECT_EQ(lines.front(), "Loader: Adding 3 steps...");
    EXPECT_THAT(managerLines, ElementsAre("Shader manager: Loading shader #0: a", "Shader manager: Loading shader #1: b",
                                          "Shader manager: Loading shader #2: c"));
    // "c" is made of c.vert and d.frag: the base names are never compared.
    EXPECT_THAT(lines, Contains("Shader: Creating fragment shader object: data/shaders/d.frag"));
    EXPECT_THAT(lines, Contains("Shader: Attatching fragment shader source  (data/shaders/c.vert) to shader object: " +
                                std::to_string(shadermanager.getShader("c")->fragmentShader)));
    EXPECT_EQ(std::count(lines.begin(), lines.end(), "Loader: Advancing 1 steps..."), 3);
    EXPECT_EQ(lines.back(), "Loading: Percentage: 1");
    for (const char* name : {"a", "b", "c"}) EXPECT_TRUE(glIsProgram(shadermanager.getShader(name)->program)) << name;
}

TEST_F(ShaderFiles, UnknownNameIsLoggedAndGivesNullAndFreeingSkipsIt)
{
    pair("a.vert", "a.frag");
    fixture::WorkingDirectory inside(directory.path());
    shadermanager.loadShaders();
    unsigned int program = shadermanager.getShader("a")->program;

    log.reset();
    EXPECT_EQ(shadermanager.getShader("a.vert"), nullptr);
    EXPECT_THAT(log.lines(), ElementsAre("Shader manager: Error! Cannot find shader a.vert"));

    log.reset();
    shadermanager.freeShaders();
    std::vector<std::string> lines = log.lines();
    ASSERT_EQ(lines.size(), 6u);
    EXPECT_EQ(lines[0], "Shader manager: freeing shaders...");
    EXPECT_EQ(lines[5], "Shader: Deleting program object: " + std::to_string(program));
    EXPECT_TRUE(shadermanager.shaders.empty());
    EXPECT_FALSE(glIsProgram(program));
}

TEST_F(ShaderFiles, EmptyDirectoryLoadsNothing)
{
    fixture::WorkingDirectory inside(directory.path());
    shadermanager.loadShaders();
    EXPECT_THAT(log.lines(), ElementsAre("Loader: Adding 0 steps..."));
    EXPECT_TRUE(shadermanager.shaders.empty());
}

TEST_F(ShaderFiles, UnevenFileCountEndsTheProgramAfterAnnouncingTheSteps)
{
    pair("a.vert", "a.frag");
    pair("b.vert", "b.frag");
    directory.write("data/shaders/c.vert", fixture::readFile("data/shaders/plain.vert"));
    fixture::WorkingDirectory inside(directory.path());
    EXPECT_EXIT(shadermanager.loadShaders(), ExitedWithCode(1), Eq("Shader manager: Error! File count is not even!\n"));
    EXPECT_THAT(log.lines(), ElementsAre("Loader: Adding 3 steps..."));
}

TEST_F(ShaderFiles, PairInASubDirectoryIsOpenedAtTheTopLevel)
{
    pair("fx/x.vert", "fx/x.frag");
    fixture::WorkingDirectory inside(directory.path());
    EXPECT_EXIT(shadermanager.loadShaders(), ExitedWithCode(1),
                Eq("Shader: Error! data/shaders/x.vert does not exist!\n"));
}

}  // namespace
