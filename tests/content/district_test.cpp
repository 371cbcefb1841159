// The district as the demo draws it: the capture program renders the scene's whole span at the
// demo's own rate, so its views switch where a showing's do, with the greetings over its last part.
#include "content_support.h"
#include "tests/support/fixture.h"
#include "tests/support/program.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <vector>

TEST(District, ReadsWithAMeanLumaOfAtLeast40AndNoQuarterSecondNearBlack)
{
    fixture::Directory directory;
    directory.copyData("data", "");
    const std::string capture = "cd " + directory.path() + " && " + content::builtProgram("capture") +
                                " --from 74000 --to 122000 --size 320x180 --output district.mp4 >/dev/null 2>&1";
    ASSERT_EQ(std::system(capture.c_str()), 0);
    const std::string frames = program::output("ffmpeg -v error -i " + directory.file("district.mp4") +
                                               " -vf 'select=not(mod(n\\,15))' -vsync 0 -f rawvideo -pix_fmt rgb24 -");
    const size_t size = 320 * 180 * 3;
    ASSERT_EQ(frames.size(), 192 * size) << "one frame every quarter second of 48 s";
    std::vector<double> means;
    for (size_t at = 0; at < frames.size(); at += size) {
        double sum = 0;
        for (size_t i = at; i < at + size; i += 3) sum += content::luma(reinterpret_cast<const uint8_t*>(&frames[i]));
        means.push_back(sum / (size / 3));
    }
    EXPECT_GE(std::accumulate(means.begin(), means.end(), 0.0) / means.size(), 40);
    // Faces turned from the light keep only the ambient term, so single views may sit below 40,
    // but none may be the near-black of the old pictures.
    const auto darkest = std::min_element(means.begin(), means.end());
    EXPECT_GE(*darkest, 10) << "at " << 74000 + (darkest - means.begin()) * 250 << " ms";
}
