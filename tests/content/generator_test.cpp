// The generator gives the same bytes on every run, and says plainly when it cannot run.
#include "content_support.h"

#include <gtest/gtest.h>

#include <cstdio>
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

TEST(Generator, EndsWithAMessageWhenItCannotRun)
{
    const std::string generator = content::generatorPath();
    const std::string errors = "/tmp/contentgen-errors.txt";
    EXPECT_EQ(content::run(generator + " 2>" + errors), 1);
    EXPECT_NE(bytesOf(errors).find("usage: contentgen DATA_DIR"), std::string::npos) << bytesOf(errors);
    EXPECT_EQ(content::run(generator + " /proc/no-such-place/data 2>" + errors), 1);
    EXPECT_NE(bytesOf(errors).find("cannot create /proc/no-such-place/data"), std::string::npos) << bytesOf(errors);
    std::remove(errors.c_str());
}
