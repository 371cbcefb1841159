// The generator writes the same bytes on every run.
#include "content_support.h"
#include "tests/support/fixture.h"

#include <gtest/gtest.h>

TEST(Generator, ASecondRunWritesTheSameBytesAsTheBuild)
{
    char root[] = "/tmp/contentgen-XXXXXX";
    ASSERT_TRUE(mkdtemp(root));
    ASSERT_EQ(std::system((content::builtProgram("tools/contentgen") + " " + root).c_str()), 0);
    std::vector<std::string> files = {"audio/soundtrack.ogg"};
    for (const std::string& picture : fixture::pictureFiles()) files.push_back("textures/" + picture);
    for (const std::string& file : files) {
        const std::string built = fixture::readFile("data/" + file);
        EXPECT_TRUE(!built.empty() && built == fixture::readFile(root + ("/" + file))) << file << " differs";
    }
    std::system((std::string("rm -rf ") + root).c_str());
}
