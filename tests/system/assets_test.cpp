// Loading the pictures and shaders as the real program does at start-up: what the log shows
// of it, and the bad files that end the program with a message on standard error and status 1.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>

#include "tests/support/fixture.h"
#include "tests/support/program.h"

using fixture::Directory;
using program::countLines;
using program::Result;
using program::run;
using testing::HasSubstr;
using testing::Not;
using testing::StartsWith;

// The free camera greets every start on standard output.
static const std::string greeting = "Cam: Initializing...\n";

TEST(Loading, LogShowsEveryShaderAndTextureStepAndTheMemoryFigure)
{
    Directory directory;
    directory.config({{"MUSIC", "\"short.wav\""}});
    Result result = run(directory);
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.err, "");

    std::string log = directory.read("demo.log");
    EXPECT_THAT(log, HasSubstr("Loader: Initializing...\n"));
    EXPECT_THAT(log, HasSubstr("Loader: Adding 1 steps...\n"));
    EXPECT_THAT(log, HasSubstr("Shader manager: Loading shader #0: plain\n"));
    EXPECT_THAT(log, HasSubstr("Shader: Attatching fragment shader source  (data/shaders/plain.vert) to shader object: "));
    EXPECT_THAT(log, HasSubstr("Shader: Creating program object: 0\n"));
    EXPECT_THAT(log, HasSubstr("Loader: Adding 46 steps...\n"));
    // Steps accumulate: after the one shader the bar is full, then 2 of 47 after the first picture.
    EXPECT_THAT(log, HasSubstr("Loading: Percentage: 0.0425532\n"));
    EXPECT_EQ(countLines(log, "Loading: Percentage: "), 47);
    EXPECT_EQ(countLines(log, "Loading: Percentage: 1"), 2);
    EXPECT_EQ(countLines(log, "Texture manager: Adding image "), 23);
    EXPECT_THAT(log, HasSubstr("Image: data/textures/credits.png info: width=16, height=16, color=6408, "
                               "components=4\n"));
    EXPECT_THAT(log, HasSubstr("Texture manager: Uploaded 23 textures.\n"));
    EXPECT_THAT(log, HasSubstr("Texture manager: Video memory usage: 23kB\n"));
    // And released again at the end.
    EXPECT_THAT(log, HasSubstr("Shader manager: freeing shaders...\n"));
    EXPECT_THAT(log, HasSubstr("Shader: Deleting program object: "));
    EXPECT_THAT(log, HasSubstr("Texture manager: Clearing images...\n"));
}

TEST(Loading, PicturesThatCannotBeReadEndTheProgramNamingTheFile)
{
    Directory notPng;
    notPng.write("data/textures/notes.png", "Remember: the horse rocks at 44 seconds.\n");
    Result result = run(notPng);
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.out, greeting);
    EXPECT_EQ(result.err, "Image: Error! data/textures/notes.png is not a png file!\n");
    EXPECT_THAT(notPng.read("demo.log"), Not(HasSubstr("is not a png file")));

    // Listed by its bare name, then looked for at the top level.
    Directory nested;
    std::filesystem::create_directories(nested.file("data/textures/sub"));
    fixture::writeSolidPng(nested.file("data/textures/sub/b.png"), 4, 4, {1, 2, 3, 255});
    result = run(nested);
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "Image: Error! data/textures/b.png does not exist!\n");
}

TEST(Loading, UndecodablePictureIsSkippedUntilASceneBindsIt)
{
    Directory directory;
    directory.config({{"MUSIC", "\"short.wav\""}});
    directory.schedule("addSceneToTimeline(\"credits\", 0, 3000)\n");
    std::string picture = directory.read("data/textures/credits.png");
    directory.write("data/textures/credits.png", picture.substr(0, picture.size() / 2));
    Result result = run(directory);
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "Texture manager: Trying to bind texture credits.png that does not exist!\n");
    EXPECT_THAT(directory.read("demo.log"), HasSubstr("Texture manager: Uploaded 22 textures.\n"));
}

TEST(Loading, ShadersThatCannotBeBuiltEndTheProgram)
{
    // Mesa compiles this, with a warning; any message at all is fatal. Mesa keeps compiled
    // shaders in an on-disk cache and gives no log for a cached one, so the text is new each run.
    Directory warned;
    warned.config({{"MUSIC", "\"short.wav\""}});
    warned.write("data/shaders/plain.frag", "// " + warned.path() + "\nvoid main()\n{\n    vec4 colour;\n"
                                            "    gl_FragColor = colour;\n}\n");
    Result result = run(warned);
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, StartsWith("Shader: Info log: \n"));
    EXPECT_THAT(result.err, HasSubstr("warning: `colour' used uninitialized"));
    EXPECT_THAT(result.err, Not(HasSubstr("Error compiling")));
    std::string log = warned.read("demo.log");
    EXPECT_THAT(log, HasSubstr("Shader: Info log: \n"));
    EXPECT_THAT(log, HasSubstr("warning: `colour' used uninitialized"));

    Directory broken;
    broken.config({{"MUSIC", "\"short.wav\""}});
    broken.write("data/shaders/plain.frag", "void main()\n{\n    gl_FragColor = undeclared;\n}\n");
    result = run(broken);
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, StartsWith("Shader: Error compiling "));
    EXPECT_THAT(result.err, HasSubstr("\nShader: Info log: \n"));
    EXPECT_THAT(result.err, HasSubstr("undeclared"));

    Directory uneven;
    uneven.write("data/shaders/extra.vert", uneven.read("data/shaders/plain.vert"));
    result = run(uneven);
    EXPECT_EQ(result.status, 1);
    EXPECT_EQ(result.err, "Shader manager: Error! File count is not even!\n");
    EXPECT_THAT(uneven.read("demo.log"), HasSubstr("Loader: Adding 2 steps...\n"));
}

// Mesa told to offer only GL 1.5 (and, further, no shader extensions) stands in for older
// drivers, for as long as the object lives.
class OlderGl {
public:
    explicit OlderGl(const char* extensions)
    {
        setenv("MESA_GL_VERSION_OVERRIDE", "1.5", 1);
        setenv("MESA_EXTENSION_OVERRIDE", extensions, 1);
    }
    ~OlderGl()
    {
        unsetenv("MESA_GL_VERSION_OVERRIDE");
        unsetenv("MESA_EXTENSION_OVERRIDE");
    }
};

TEST(Loading, WithoutOpenGlTwoShadersAreBuiltAndCheckedThroughTheArbExtension)
{
    OlderGl older("");
    Directory directory;
    directory.config({{"MUSIC", "\"short.wav\""}});
    Result result = run(directory);
    EXPECT_EQ(result.status, 0) << result.err;
    std::string log = directory.read("demo.log");
    EXPECT_THAT(log, HasSubstr("Shader: Using OpenGL ARB shader! - NOT DONE YET!\n"));
    EXPECT_THAT(log, HasSubstr("Shader: Validating program: "));
    EXPECT_THAT(log, HasSubstr("Shader: Deleting program object: "));

    Directory warned;
    warned.config({{"MUSIC", "\"short.wav\""}});
    warned.write("data/shaders/plain.frag", "// " + warned.path() + "\nvoid main()\n{\n    vec4 colour;\n"
                                            "    gl_FragColor = colour;\n}\n");
    result = run(warned);
    EXPECT_EQ(result.status, 1);
    EXPECT_THAT(result.err, StartsWith("Shader: Info log: \n"));
    EXPECT_THAT(result.err, HasSubstr("warning: `colour' used uninitialized"));
}

TEST(Loading, WithoutAnyGlslTheDemoRunsWithoutShaders)
{
    OlderGl older("-GL_ARB_vertex_shader -GL_ARB_fragment_shader -GL_ARB_shader_objects");
    Directory directory;
    directory.config({{"MUSIC", "\"short.wav\""}});
    Result result = run(directory);
    EXPECT_EQ(result.status, 0) << result.err;
    std::string log = directory.read("demo.log");
    EXPECT_THAT(log, HasSubstr("Shader: GLSL is not supported!\n"));
    EXPECT_THAT(log, HasSubstr("Shader: skipping release, shader not supported!\n"));
}
