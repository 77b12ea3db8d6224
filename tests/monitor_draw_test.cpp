/// cri-monitor as a process: the pictures that it draws, and what its documents say of it.
#include <cairo.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <regex>
#include <set>

#include "Program.h"
#include "Recording.h"
#include "SimulatedSet.h"
#include "TestSupport.h"

namespace {

using namespace cri_sim;
using cri_test::Outcome;
using cri_test::Program;
using cri_test::RunToEnd;
using testing::HasSubstr;

const std::string kDirectory = "/run/user/5001/";

/// The monitor, with arguments that stand in one line.
std::vector<std::string> Command(const std::string& line) {
    return {"/bin/sh", "-c", "exec " CRI_MONITOR " " + line};
}

/// A picture's file, read back.
class Picture {
  public:
    explicit Picture(const std::string& path)
        : m_surface(cairo_image_surface_create_from_png(path.c_str()), cairo_surface_destroy) {}

    int Width() const { return cairo_image_surface_get_width(m_surface.get()); }
    /// Red, green and blue there, one byte each.
    unsigned At(int x, int y) const {
        cairo_surface_t* const surface = m_surface.get();
        const unsigned char* row =
            cairo_image_surface_get_data(surface) + y * cairo_image_surface_get_stride(surface);
        return reinterpret_cast<const std::uint32_t*>(row)[x] & 0xFFFFFFu;
    }

  private:
    const std::unique_ptr<cairo_surface_t, void (*)(cairo_surface_t*)> m_surface;
};

std::string RecordingOf(const std::vector<LineContent>& contents) {
    const std::string path = kDirectory + "drawn.jsonl";
    std::ofstream file(path);
    file << RecordingHeader() << '\n';
    for (const LineContent& content : contents)
        file << FormatLine({std::chrono::microseconds(0), content}) << '\n';
    return path;
}

TEST(MonitorDrawTest, DrawsALogoWhereItIsInTheServicesUnits) {
    const std::string recording =
        RecordingOf({VisionData{"", "", "", {{{200, 200, 600, 600}, 0.9F, 0}}, {}}});
    const std::string path = kDirectory + "logo.png";
    const Outcome outcome = RunToEnd(
        Command("draw " + path + " --from " + recording + " --screen 960x540 --units 1920x1080"));
    ASSERT_EQ(outcome.status, 0) << outcome.errors;
    const Picture picture(path);
    ASSERT_EQ(picture.Width(), 960);
    const unsigned blank = picture.At(700, 410), edge = picture.At(100, 200);
    EXPECT_NE(edge, blank);
    EXPECT_EQ(picture.At(299, 200), edge);
    EXPECT_EQ(picture.At(200, 299), edge);
    EXPECT_EQ(picture.At(97, 203), picture.At(303, 203)) << "nothing is drawn beside the box";
    EXPECT_NE(picture.At(200, 203), edge);
}

TEST(MonitorDrawTest, DrawsWhateverServicesSend) {
    std::vector<Detection<std::uint32_t>> logos(100, {{0, 0, 4294967295U, 4294967295U}, 1e30F, 7});
    const float nan = std::numeric_limits<float>::quiet_NaN();
    StateChange state;
    state.channelName = std::string(200000, 'W');
    const std::string recording =
        RecordingOf({state, VisionData{std::string(3000, 'x'), "\033", "\n", logos, {9, 9, 1, 1}},
                     ContentArea{-1, -2147483647, -5, 2147483647, 2147483647},
                     UiDetection{{{{nan, -1e38F, 1e38F, nan}, nan, 1}}, {-5, 2147483647, 3}}});
    for (const char* screen : {"1920x1080", "1x1", "30x2000"}) {
        const std::string path = kDirectory + "any.svg";
        const Outcome outcome =
            RunToEnd(Command("draw " + path + " --from " + recording + " --screen " + screen));
        EXPECT_EQ(outcome.status, 0) << screen << outcome.errors;
        EXPECT_GT(std::filesystem::file_size(path), 0u);
    }
}

TEST(MonitorDrawTest, NamesWhatItCannotDrawOrLeave) {
    const std::string recording = RecordingOf({VideoPlay{1}});
    std::ofstream(recording, std::ios::app) << "{\"time\":1,\"kind\":\"video_play\"}\n";
    const Outcome outcome = RunToEnd(Command("draw " + kDirectory + "x.png --from " + recording));
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.errors, HasSubstr(recording + ":3: \"status\" is missing"));
    SimulatedSet set{{}};
    std::filesystem::create_directories(kDirectory + "taken/screen-00001.png");
    Program monitor(Command("watch --draw " + kDirectory + "taken"));
    EXPECT_EQ(monitor.Wait(), 1);
    EXPECT_THAT(monitor.Errors(), HasSubstr("screen-00001.png"));
}

TEST(MonitorDrawTest, LeavesPicturesOfWhatItWatches) {
    SimulatedSet set{{}};
    const std::string pictures = kDirectory + "pictures/deep";
    Program monitor(Command("watch --draw " + pictures + " --screen 640x360 --count 2"));
    ASSERT_TRUE(monitor.ReadLine());  // the state: now it listens
    set.Recognition().Emit("CONTENTS_RECOGNITION_EVENT_SM_CAD_STATUS", "(1, 10, 10, 500, 200)");
    EXPECT_EQ(monitor.Wait(), 0);
    std::set<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(pictures))
        names.insert(entry.path().filename());
    ASSERT_TRUE(names.contains("screen-00001.png"));
    EXPECT_EQ(Picture(pictures + "/" + *names.rbegin()).Width(), 640);
}

/// The names of kinds between two texts.
std::set<std::string> KindsIn(const std::string& text, const std::string& from,
                              const std::string& to) {
    const std::string list = text.substr(std::min(text.size(), text.find(from) + from.size()));
    const std::string names = list.substr(0, list.find(to));
    static const std::regex s_name("[a-z]{2}[a-z-]*");
    std::set<std::string> kinds(std::sregex_token_iterator(names.begin(), names.end(), s_name), {});
    kinds.erase("and");
    return kinds;
}

TEST(MonitorDrawTest, HasTheSameKindsInItsHelpItsManualAndItsCompletion) {
    const auto kinds = KindsIn(RunToEnd(Command("watch --help")).output, "Kinds: ", ".");
    EXPECT_TRUE(kinds.contains("content-area"));
    EXPECT_EQ(KindsIn(cri_test::TextOf(CRI_COMPLETION), "kinds=\"", "\""), kinds);
    EXPECT_EQ(KindsIn(cri_test::TextOf(CRI_MANUAL), "The kinds are", ".It"), kinds);
}

}  // namespace
