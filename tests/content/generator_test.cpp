// The generator gives the same bytes on every run.
#include "content_support.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <fstream>
#include <sstream>

namespace {

std::string bytesOf(const std::string& path)
{
    std::ifstream file(path, std::ios::binary);
    std::ostringstream bytes;
    bytes << file.rdbuf();
    return bytes.str();
}

}  // namespace

TEST(Generator, TwoRunsWriteIdenticalFiles)
{
    const std::string generator = content::generatorPath();
    char pattern[] = "/tmp/contentgen-XXXXXX";
    ASSERT_NE(mkdtemp(pattern), nullptr);
    const std::string root = pattern;
    ASSERT_EQ(content::run(generator + " " + root + "/a"), 0) << generator;
    ASSERT_EQ(content::run(generator + " " + root + "/b"), 0) << generator;

    std::vector<std::string> files = {"audio/soundtrack.ogg"};
    for (const std::string& picture : content::pictureFiles()) files.push_back("textures/" + picture);
    for (const std::string& file : files) {
        SCOPED_TRACE(file);
        const std::string first = bytesOf(root + "/a/" + file);
        EXPECT_FALSE(first.empty());
        EXPECT_TRUE(first == bytesOf(root + "/b/" + file)) << "runs differ";
    }
    content::run("rm -rf " + root);
}
