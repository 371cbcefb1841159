// The capture program as a user runs it: stretches of the fixture demo, seen through ffmpeg and
// compared with the same show drawn in this process by the capture's own globals.
#include <fcntl.h>
#include <sndfile.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cmath>
#include <cstring>
#include <filesystem>
#include <memory>
#include <set>
#include <sstream>

#include <gtest/gtest.h>

#include "capture/frames.h"
#include "framework/demo.h"
#include "framework/music.h"
#include "framework/process.h"
#include "framework/timer.h"
#include "tests/support/drawing.h"
#include "tests/support/fixture.h"
#include "tests/support/noise.h"
#include "tests/support/program.h"
#include "tests/support/transcript.h"

using program::output;

// The test track's rate; it is white noise, so that a cross-correlation with it has one clear peak
static const int RATE = 22050;

// A fixture directory that only the capture writes to (no debug log), its track 24-bit noise
struct Directory : fixture::Directory {
    Directory()
    {
        config({{"DEBUG", "false"}});
        fixture::writeTrack(file("data/audio/long.wav"), 150.0, RATE, 1, SF_FORMAT_WAV | SF_FORMAT_PCM_24, noise::sample);
    }
    // The names in `folder` of the directory, data/ left out
    std::set<std::string> written(const std::string& folder = "") const
    {
        std::set<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(file(folder)))
            if (entry.path().filename() != "data") names.insert(entry.path().filename());
        return names;
    }
};

struct Outcome {
    int status;  // the exit status, 128 + the signal's number for a signal
    std::string err;

    // The exit status and the last line of standard error
    std::pair<int, std::string> ending() const
    {
        return {status, program::lines(err).empty() ? "" : program::lines(err).back()};
    }
};

// One capture run in `directory`, `arguments` split at blanks, standard error kept in `name`.err
class CaptureRun {
public:
    CaptureRun(const Directory& directory, const std::string& arguments, const std::string& name)
        : directory(directory), err(name + ".err")
    {
        std::vector<std::string> words{CAPTURE_BINARY};
        std::istringstream split(arguments);
        for (std::string word; split >> word;) words.push_back(word);
        Process::Setting setting;
        setting.directory = directory.path();
        setting.out = Process::nowhere;
        setting.err = open(directory.file(err).c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
        EXPECT_TRUE(process.start(words, setting).ok());
        close(setting.err);
    }
    Outcome end()
    {
        if (!process.wait(300)) process.stop(SIGKILL);
        process.wait(-1);
        int status = process.status();
        Outcome outcome{WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status), directory.read(err)};
        directory.remove(err);
        return outcome;
    }

    Process process;

private:
    const Directory& directory;
    std::string err;
};

// Runs the capture once for each list of arguments, all at once: each run's status and error
static std::vector<Outcome> captures(const Directory& directory, const std::vector<std::string>& arguments)
{
    std::vector<std::unique_ptr<CaptureRun>> runs;
    for (size_t i = 0; i < arguments.size(); i++)
        runs.push_back(std::make_unique<CaptureRun>(directory, arguments[i], std::to_string(i)));
    std::vector<Outcome> outcomes;
    for (auto& run : runs) outcomes.push_back(run->end());
    return outcomes;
}

// A video's or numbered sequence's pictures as 8-bit RGB, bottom row first; `options` precede the input
static std::string pictures(const std::string& input, const std::string& options = "")
{
    return output("ffmpeg -v error " + options + " -i '" + input + "' -map 0:v -vf vflip -f rawvideo -pix_fmt rgb24 -");
}

// A file's sound as 32-bit floats, which hold the track's 24 bits exactly, so that a master that kept
// fewer shows it; `options` follow the input (by default one channel at the track's rate)
static std::vector<float> soundOf(const std::string& input,
                                  const std::string& options = "-ac 1 -ar " + std::to_string(RATE))
{
    std::string bytes = output("ffmpeg -v error -i '" + input + "' -map 0:a " + options + " -f f32le -");
    std::vector<float> samples(bytes.size() / sizeof(float));
    memcpy(samples.data(), bytes.data(), samples.size() * sizeof(float));
    return samples;
}

// The track's samples from `from` to `to` ms of music
static std::vector<float> track(const Directory& directory, long from, long to)
{
    std::string span = std::to_string(from * RATE / 1000) + ":end_sample=" + std::to_string(to * RATE / 1000);
    return soundOf(directory.file("data/audio/long.wav"), "-af atrim=start_sample=" + span);
}

// Share of colour values more than `tolerance` apart; 1 for pictures of unlike sizes
static double differing(const std::string& a, const std::string& b, int tolerance)
{
    if (a.size() != b.size() || a.empty()) return 1.0;
    long count = 0;
    for (size_t i = 0; i < a.size(); i++) count += std::abs(uint8_t(a[i]) - uint8_t(b[i])) > tolerance;
    return static_cast<double>(count) / a.size();
}

// A directory's show drawn here at a capture's size, a frame at a time, as 8-bit RGB bottom row first
class Showing {
public:
    Showing(const Directory& directory, int width, int height) : size(static_cast<size_t>(width) * height * 3)
    {
        std::filesystem::path here = std::filesystem::current_path();
        std::filesystem::current_path(directory.path());  // where its schedule is
        frames = std::make_unique<Frames>(width, height, 1, 0);
        std::filesystem::current_path(here);
    }

    std::string draw(int ms)
    {
        music.hold(ms);
        // A capture runs the district's processor clock at half a second per second of music.
        timer.holdProcessor(ms / 2000.0);
        demo.draw();
        const uint8_t* bgra = frames->read();
        std::string rgb(size, '\0');
        for (size_t i = 0; i < size / 3; i++)
            for (int c = 0; c < 3; c++) rgb[3 * i + c] = static_cast<char>(bgra[4 * i + 2 - c]);
        return rgb;
    }

    std::string frame(const std::string& pictures, long k) const { return pictures.substr(k * size, size); }

private:
    size_t size;
    std::unique_ptr<Frames> frames;
};

TEST(Capture, EachFormatHoldsItsStreamsWithTheFramesAndDurationAsked)
{
    Directory directory;
    std::filesystem::create_directory(directory.file("frames"));
    std::string range = "--from 2000 --to 3000 --fps 30 --size 160x96 --output ";
    for (const Outcome& run : captures(directory, {range + "v.mp4", range + "v.mkv", range + "frames/%05d.png",
                                                   "--from 2000 --to 2050 --fps 30 --size 3840x2160 --output 4k.mp4"}))
        ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(directory.written(), (std::set<std::string>{"4k.mp4", "frames", "v.mkv", "v.mp4"}));
    std::string probe = "ffprobe -v error -of csv=p=0 -show_entries ";
    EXPECT_EQ(output(probe + "stream=width,height,nb_frames -select_streams v " + directory.file("4k.mp4")),
              "3840,2160,2\n");

    std::string mp4 = directory.file("v.mp4");
    EXPECT_EQ(output(probe + "stream=codec_name,profile,width,height,pix_fmt,sample_rate,channels,duration " + mp4),
              "h264,High,160,96,yuv420p,1.000000\naac,LC,48000,2,1.000000\n");
    EXPECT_EQ(output(probe + "stream=nb_frames -select_streams v " + mp4), "30\n");
    // The index before the media data: the file plays while it downloads.
    EXPECT_LT(directory.read("v.mp4").find("moov"), directory.read("v.mp4").find("mdat"));

    std::string mkv = directory.file("v.mkv");
    EXPECT_EQ(output(probe + "stream=codec_name,width,height,pix_fmt,sample_rate,channels:format=duration " + mkv),
              "ffv1,160,96,bgr0\nflac,22050,1\n1.000000\n");

    std::set<std::string> sequence{"soundtrack.wav"};
    for (int k = 0; k < 30; k++) sequence.insert((k < 10 ? "0000" : "000") + std::to_string(k) + ".png");
    EXPECT_EQ(directory.written("frames"), sequence);
    EXPECT_EQ(output(probe + "stream=codec_name,width,height,pix_fmt " + directory.file("frames/00029.png")),
              "png,160,96,rgb24\n");
    std::string wav = directory.file("frames/soundtrack.wav");
    EXPECT_EQ(output(probe + "stream=codec_name,sample_rate,channels,duration " + wav), "pcm_s24le,22050,1,1.000000\n");
}

TEST(Capture, LosslessFormatsHoldExactlyWhatWasDrawnAndTheTracksSamples)
{
    Directory directory;
    // Lit 3D, an orbit turning each frame drawn and a sway on the processor clock; from 1 s, so frames before count too
    directory.schedule("addSceneToTimeline(\"solardistrict\", 0, 150000)\n");
    std::filesystem::create_directory(directory.file("frames"));
    std::string range = "--from 1000 --to 1500 --fps 30 --size 96x54 --output ";
    for (const Outcome& run : captures(directory, {range + "v.mkv", range + "frames/%05d.png"}))
        ASSERT_EQ(run.status, 0) << run.err;

    std::string master = pictures(directory.file("v.mkv")), sequence = pictures(directory.file("frames/%05d.png"));
    Showing showing(directory, 96, 54);
    for (int j = 0; j < 30; j++) showing.draw(j * 1000 / 30);
    for (int k = 0; k < 15; k++) {
        std::string drawn = showing.draw(1000 + k * 1000 / 30);
        EXPECT_EQ(differing(showing.frame(master, k), drawn, 0), 0.0) << "master, frame " << k;
        EXPECT_EQ(differing(showing.frame(sequence, k), drawn, 0), 0.0) << "sequence, frame " << k;
    }

    std::vector<float> span = track(directory, 1000, 1500);
    EXPECT_TRUE(soundOf(directory.file("v.mkv")) == span);
    EXPECT_TRUE(soundOf(directory.file("frames/soundtrack.wav")) == span);
}

TEST(Capture, VideoKeepsPictureAndSoundInSyncToTheEndOfALongRange)
{
    Directory directory;
    // The rider bobs in steps of 150 ms; with its two pictures alike, the bob is all a frame shows.
    directory.schedule("addSceneToTimeline(\"riderideranke\", 0, 150000)\n");
    fixture::writeSolidPng(directory.file("data/textures/ri_hest_ri1.png"), 16, 16, {255, 0, 255, 255});
    drawing::texture("ri_hest_ri1.png", 1, 1, [](int, int) { return fixture::Rgba{255, 0, 255, 255}; });
    ASSERT_EQ(captures(directory, {"--to 140000 --fps 30 --size 128x72 --quality fast --output v.mp4"})[0].status, 0);

    // The last second, found by its time in the file
    std::string last = pictures(directory.file("v.mp4"), "-ss 139");
    Showing showing(directory, 128, 72);
    for (int k = 0; k < 30; k++)
        EXPECT_LT(differing(showing.frame(last, k), showing.draw(139000 + k * 1000 / 30), 40), 0.02) << "frame " << k;

    // Noise is unlike itself a sample away: only sound heard exactly in step correlates.
    std::vector<float> heard = soundOf(directory.file("v.mp4")), expected = track(directory, 0, 140000);
    ASSERT_GT(heard.size(), expected.size() - RATE / 2);
    for (long at : {static_cast<long>(RATE / 10), static_cast<long>(expected.size() - RATE)})
        EXPECT_GT(noise::correlation(&heard[at], &expected[at], RATE / 2), 0.9) << "half a second from sample " << at;
}

// A track of over two channels folds into stereo as in a showing: even channels left, odd right, each side their mean.
TEST(Capture, VideoFoldsATrackOfManyChannelsAsTheShowingDoes)
{
    Directory directory;
    std::vector<float> samples(3 * RATE * 4, 0.0f);
    for (long i = 0; i < 3 * RATE; i++) samples[i * 4 + 3] = noise::sample(i);  // the fourth channel alone
    fixture::writeSamples(directory.file("data/audio/long.wav"), samples, RATE, 4, SF_FORMAT_WAV | SF_FORMAT_PCM_24);
    const std::string range = "--from 1000 --to 2000 --fps 30 --size 64x36 --quality fast --output v.mp4";
    ASSERT_EQ(captures(directory, {range})[0].status, 0);

    std::vector<float> stereo = soundOf(directory.file("v.mp4"), "-ac 2");
    double power[2] = {0, 0};
    for (size_t i = 0; i < stereo.size(); i++) power[i % 2] += stereo[i] * stereo[i] / (stereo.size() / 2);
    EXPECT_LT(std::sqrt(power[0]), 0.01) << "left";
    EXPECT_NEAR(std::sqrt(power[1]), 0.5 * std::sqrt(1 / 12.0), 0.02) << "right: half the noise's level";
}

TEST(Capture, KeyframesAtEveryChangeOfTheScheduleAndEveryTwoSeconds)
{
    Directory directory;
    // The rider follows the intro at 44000 ms, frame 39 from 42700 at 30 fps; fast quality adds no cuts of its own.
    const std::string range = "--from 42700 --to 48000 --fps 30 --size 64x36 --quality fast --output v.mp4";
    ASSERT_EQ(captures(directory, {range})[0].status, 0);
    std::vector<int> keys;
    int count = 0;
    std::string probe = "ffprobe -v error -select_streams v -show_entries frame=key_frame -of compact ";
    for (const std::string& line : program::lines(output(probe + directory.file("v.mp4")))) {
        if (line.rfind("frame|", 0) != 0) continue;  // the first frame's side data has lines of its own
        if (line.find("key_frame=1") != std::string::npos) keys.push_back(count);
        count++;
    }
    keys.push_back(count);
    ASSERT_EQ(count, 159);
    EXPECT_EQ(keys[0], 0);
    EXPECT_NE(std::find(keys.begin(), keys.end(), 39), keys.end());
    for (size_t i = 1; i < keys.size(); i++) EXPECT_LE(keys[i] - keys[i - 1], 60) << "after frame " << keys[i - 1];
}

// The rows of tests/data/capture-bad-input.table
TEST(Capture, BadInputNamesTheValueEndsWithStatusOneAndLeavesEverythingAsItWas)
{
    std::vector<std::string> arguments, messages;
    for (const std::string& row : program::lines(fixture::readFile(transcript::dataFile("capture-bad-input.table"))))
        if (!row.empty() && row[0] != '#') {
            arguments.push_back(row.substr(0, row.find(" | ")));
            messages.push_back("capture: " + row.substr(row.find(" | ") + 3));
        }
    Directory directory;
    std::filesystem::create_directory(directory.file("folder.mp4"));
    ASSERT_EQ(mkfifo(directory.file("pipe.mp4").c_str(), 0644), 0);
    std::vector<Outcome> runs = captures(directory, arguments);
    for (size_t i = 0; i < runs.size(); i++) EXPECT_EQ(runs[i].ending(), std::pair(1, messages[i])) << arguments[i];
    EXPECT_EQ(directory.written(), (std::set<std::string>{"folder.mp4", "pipe.mp4"}));
    EXPECT_TRUE(std::filesystem::is_fifo(directory.file("pipe.mp4")));
}

TEST(Capture, EngineErrorsAtStartOrMidwayLeaveNoFile)
{
    Directory directory;
    directory.write("data/textures/notes.png", "not a picture");
    EXPECT_EQ(captures(directory, {"--to 1000 --output v.mp4"})[0].ending(),
              std::pair(1, std::string("Image: Error! data/textures/notes.png is not a png file!")));
    EXPECT_EQ(directory.written(), std::set<std::string>{});

    // A truncated picture is skipped at start-up; the credits bind it half a second in.
    directory.remove("data/textures/notes.png");
    directory.write("data/textures/credits.png", directory.read("data/textures/credits.png").substr(0, 100));
    directory.schedule("addSceneToTimeline(\"credits\", 500, 150000)\n");
    std::filesystem::create_directory(directory.file("frames"));
    EXPECT_EQ(captures(directory, {"--to 2000 --fps 30 --size 64x36 --output frames/%05d.png"})[0].ending(),
              std::pair(1, std::string("Texture manager: Trying to bind texture credits.png that does not exist!")));
    EXPECT_EQ(directory.written(), std::set<std::string>{"frames"});
    EXPECT_EQ(directory.written("frames"), std::set<std::string>{});
}

TEST(Capture, InterruptedOrCrashedCaptureLeavesNoFile)
{
    const rlimit noCore = {0, 0};  // a crash leaves no core file among what the capture wrote
    setrlimit(RLIMIT_CORE, &noCore);
    Directory directory;
    for (int signal : {SIGINT, SIGSEGV}) {
        CaptureRun run(directory, "--size 640x360", "signalled");
        // Once the file is being written, not while the program is still starting
        program::waitFor(60, [&] { return directory.written().size() > 1; });
        sleep(1);
        run.process.stop(signal);
        Outcome outcome = run.end();
        EXPECT_EQ(outcome.status, signal == SIGINT ? 130 : 128 + signal);
        EXPECT_EQ(directory.written(), std::set<std::string>{}) << signal;
        EXPECT_EQ(outcome.err.find("capture: interrupted") != std::string::npos, signal == SIGINT) << signal;
    }
}
