/// The simulated file-channel services, seen by a client that knows nothing of the library.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <json/json.h>
#include <stdio.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include "ResultDocument.h"
#include "UiDetectionPeer.h"
#include "VisionDataPeer.h"

namespace {

using cri_sim::FileChannelPeer;
using cri_sim::Request;
using cri_sim::UiDetectionPeer;
using cri_sim::VisionDataPeer;
using testing::ElementsAre;

std::chrono::steady_clock::time_point Soon() {
    return std::chrono::steady_clock::now() + std::chrono::seconds(10);
}

/// Writes a message as clients do: over the start of the file, in one write.
void Send(const std::string& path, const std::string& message) {
    const int file = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0644);
    ASSERT_GE(file, 0) << path;
    EXPECT_EQ(write(file, message.data(), message.size()), static_cast<ssize_t>(message.size()));
    close(file);
}

/// Sends, and gives what the peer has made of it.
Request Reported(const FileChannelPeer& peer, const std::string& message) {
    const std::size_t before = peer.Requests().size();
    Send(peer.RequestPath(), message);
    EXPECT_TRUE(peer.WaitForRequests(before + 1, Soon())) << message;
    EXPECT_EQ(peer.Requests().size(), before + 1);
    return peer.Requests().back();
}

/// Watches one file for modifications, as clients do.
class Watch {
  public:
    explicit Watch(const std::string& path) : m_inotify(inotify_init1(IN_CLOEXEC | IN_NONBLOCK)) {
        EXPECT_GE(inotify_add_watch(m_inotify, path.c_str(), IN_MODIFY), 0);
    }
    ~Watch() { close(m_inotify); }
    Watch(const Watch&) = delete;
    Watch& operator=(const Watch&) = delete;

    /// The masks of what has happened so far; events follow a write at once.
    std::vector<unsigned> Events() const {
        std::vector<unsigned> masks;
        inotify_event event;
        while (read(m_inotify, &event, sizeof event) == sizeof event) masks.push_back(event.mask);
        return masks;
    }

  private:
    int m_inotify;
};

/// Lines of the file as fgets gives them, without those that hold only white space.
std::vector<std::string> Lines(const std::string& path) {
    std::vector<std::string> lines;
    const std::unique_ptr<FILE, int (*)(FILE*)> file(fopen(path.c_str(), "re"), fclose);
    char line[1999];
    while (file && fgets(line, sizeof line, file.get())) {
        const std::string text = line;
        if (text.find_first_not_of(" \n") != std::string::npos) lines.push_back(text);
    }
    return lines;
}

Json::Value Parsed(const std::string& json) {
    Json::Value root;
    std::istringstream(json) >> root;
    return root;
}

TEST(FileChannelPeerTest, ReportsTheLinesThatEachMethodCallsFor) {
    const VisionDataPeer peer;
    const std::vector<std::string> values{"1", "-1", "0", "unknown", "5"};
    EXPECT_EQ(Reported(peer, "vdrs_method_ld_start\n1 -1 0 unknown 5 \n"),
              (Request{"vdrs_method_ld_start", values}));
    EXPECT_EQ(Reported(peer, "vdrs_method_ld_change\n3\n"),
              (Request{"vdrs_method_ld_change", {"3"}}));
    // What the longer messages have left behind belongs to neither of these.
    EXPECT_EQ(Reported(peer, "vdrs_method_ld_stop\n"), (Request{"vdrs_method_ld_stop", {}}));
    EXPECT_EQ(Reported(peer, "other\n"), (Request{"other", {}}));
}

TEST(FileChannelPeerTest, CountsEachOfSeveralEqualMessagesAndNoneThatWritesNothing) {
    const VisionDataPeer peer;
    for (int i = 0; i < 100; ++i) Send(peer.RequestPath(), "vdrs_method_ld_stop\n");
    Send(peer.RequestPath(), "");
    Send(peer.RequestPath(), "vdrs_method_ld_request\n");
    ASSERT_TRUE(peer.WaitForRequests(101, Soon()));
    EXPECT_EQ(peer.Requests().size(), 101U);
    EXPECT_EQ(peer.Requests().back().method, "vdrs_method_ld_request");
    EXPECT_FALSE(peer.WaitForRequests(102, std::chrono::steady_clock::now()));
}

TEST(FileChannelPeerTest, FollowsARequestFileThatIsDeletedOrReplaced) {
    const VisionDataPeer peer;
    Reported(peer, "vdrs_method_ld_stop\n");
    ASSERT_EQ(unlink(peer.RequestPath().c_str()), 0);
    EXPECT_EQ(Reported(peer, "vdrs_method_ld_pause\n").method, "vdrs_method_ld_pause");

    const std::string other = peer.RequestPath() + ".other";
    Send(other, "vdrs_method_ld_request\n");
    ASSERT_EQ(rename(other.c_str(), peer.RequestPath().c_str()), 0);
    ASSERT_TRUE(peer.WaitForRequests(3, Soon()));
    EXPECT_EQ(peer.Requests().back().method, "vdrs_method_ld_request");
    EXPECT_EQ(Reported(peer, "vdrs_method_ld_stop\n").method, "vdrs_method_ld_stop");
}

TEST(FileChannelPeerTest, ReportsHostileMessagesAsMalformedAndChangesNothing) {
    UiDetectionPeer peer;
    Reported(peer, "cuds_method_engine_start\n2 1 0 1 \n");
    const cri_sim::UiDetectionState before = peer.Current();
    const std::string start = "cuds_method_engine_start\n";
    for (const std::string& message : std::vector<std::string>{
             start + "1 2 3 \n", start + "1 2 3 4 5 \n", start + "1 2 x 4 \n",
             start + "1 2 3 99999999999 \n", "\n" + start, "cuds_method two\n1 2 3 4 \n",
             std::string("\0\n\n\n\n", 5), "\x1b[31m\n1 2 3 4\n", std::string(100'000, 'a'),
             start + std::string(100'000, ' '), std::string("other\n-1\n"),
             "other\n99999999999999999999\n" + start}) {
        EXPECT_TRUE(Reported(peer, message).malformed) << message.substr(0, 80);
        std::filesystem::resize_file(peer.RequestPath(), 0);
    }
    EXPECT_EQ(peer.Current(), before);
    EXPECT_FALSE(Reported(peer, "cuds_method_engine_stop\n1 2 3 4 \n").malformed);
}

TEST(FileChannelPeerTest, OutlivesAPipeAndADirectoryInAFilesPlace) {
    VisionDataPeer peer;
    ASSERT_TRUE(peer.DeleteFile());
    for (const std::string& path : {peer.ResultPath(), peer.RequestPath()}) {
        ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    }
    EXPECT_FALSE(peer.Deliver("{}"));
    ASSERT_TRUE(peer.DeleteFile());
    ASSERT_EQ(mkdir(peer.ResultPath().c_str(), 0700), 0);
    EXPECT_FALSE(peer.DeliverRaw("text"));
    EXPECT_FALSE(peer.Append("text"));
    ASSERT_EQ(unlink(peer.RequestPath().c_str()), 0);
    EXPECT_EQ(Reported(peer, "vdrs_method_ld_stop\n").method, "vdrs_method_ld_stop");
    EXPECT_EQ(peer.Requests().size(), 1U);
    EXPECT_THROW(VisionDataPeer("/run/user/5001/missing/"), std::system_error);
}

TEST(FileChannelPeerTest, DeliversEachRecordAsOneModificationWithNothingOldBehindIt) {
    VisionDataPeer peer;
    const Watch watch(peer.ResultPath());
    for (const std::size_t length : {10U, 1000U, 999U, 5000U, 1U, 3U}) {
        const std::string json(length, 'j');
        ASSERT_TRUE(peer.Deliver(json));
        EXPECT_THAT(watch.Events(), ElementsAre(IN_MODIFY)) << length;
        std::string text;
        for (const std::string& line : Lines(peer.ResultPath())) text += line;
        EXPECT_EQ(text, "vdrs_method_ld_callback\n" + json + "\n");
    }
}

TEST(FileChannelPeerTest, PlaysTheFaultsOfACarelessService) {
    VisionDataPeer peer;
    ASSERT_TRUE(peer.Deliver(std::string(100, 'j')));
    ASSERT_TRUE(peer.DeliverRaw("no newline"));
    EXPECT_THAT(Lines(peer.ResultPath()), ElementsAre("no newline"));
    ASSERT_TRUE(peer.Append(", more\n"));
    EXPECT_THAT(Lines(peer.ResultPath()), ElementsAre("no newline, more\n"));

    std::vector<std::string> firstHalf;
    ASSERT_TRUE(peer.DeliverTorn("{}", 25, [&] { firstHalf = Lines(peer.ResultPath()); }));
    EXPECT_THAT(firstHalf, ElementsAre("vdrs_method_ld_callback\n", "{"));
    EXPECT_THAT(Lines(peer.ResultPath()), ElementsAre("vdrs_method_ld_callback\n", "{}\n"));

    const Watch watch(peer.ResultPath());
    ASSERT_TRUE(peer.ReplaceFile("new\n"));
    EXPECT_THAT(watch.Events(), ElementsAre(IN_IGNORED));
    EXPECT_THAT(Lines(peer.ResultPath()), ElementsAre("new\n"));
    ASSERT_TRUE(peer.DeleteFile());
    EXPECT_FALSE(peer.DeleteFile());
    ASSERT_TRUE(peer.Deliver("{}"));
    EXPECT_THAT(Lines(peer.ResultPath()), ElementsAre("vdrs_method_ld_callback\n", "{}\n"));
}

TEST(VisionDataPeerTest, KeepsWhatClientsHaveMadeOfTheAnalysis) {
    using Analysis = cri_sim::VisionDataState::Analysis;
    const VisionDataPeer peer;
    Reported(peer, "vdrs_method_ld_start\n1 -1 2 tuner 5 \n");
    const cri_sim::VisionDataState started{Analysis::kAnalysing, 5, 1, -1, 2, "tuner"};
    EXPECT_EQ(peer.Current(), started);
    Reported(peer, "vdrs_method_ld_change\n3\n");
    EXPECT_EQ(peer.Current().captureMode, 3);
    Reported(peer, "vdrs_method_ld_pause\n");
    EXPECT_EQ(peer.Current().analysis, Analysis::kPaused);
    Reported(peer, "vdrs_method_ld_resume\n1 -1 2 tuner 5 \n");
    EXPECT_EQ(peer.Current(), started);
    Reported(peer, "vdrs_method_ld_stop\n");
    EXPECT_EQ(peer.Current().analysis, Analysis::kStopped);
}

TEST(UiDetectionPeerTest, KeepsTheEngineOfAClientThatPreparesTheFilesFirst) {
    UiDetectionPeer peer;
    ASSERT_TRUE(peer.Deliver("{}"));
    for (const std::string& path : {peer.ResultPath(), peer.RequestPath()}) {
        std::ofstream(path) << "cuds_method_ld_test\n";
    }
    ASSERT_TRUE(peer.WaitForRequests(1, Soon()));
    Reported(peer, "cuds_method_engine_start\n2 1 0 1 \n");
    EXPECT_EQ(peer.Current(), (cri_sim::UiDetectionState{true, 2, 1, 0, 1}));
    Reported(peer, "cuds_adaptivesound_onoff_change\n-1 -1 1 -1 \n");
    EXPECT_EQ(peer.Current(), (cri_sim::UiDetectionState{true, 2, 1, 1, 1}));
    Reported(peer, "cuds_method_engine_stop\n3 0 0 0 \n");
    EXPECT_EQ(peer.Current(), (cri_sim::UiDetectionState{false, 3, 0, 0, 0}));
    EXPECT_EQ(Reported(peer, "other\n18446744073709551615\n"),
              (Request{"other", {"18446744073709551615"}}));
    EXPECT_EQ(peer.Requests().front(), (Request{"cuds_method_ld_test", {}}));
}

TEST(FileChannelPeerTest, TellsTheObserverBeforeTheWaitersAndSurvivesWhatItThrows) {
    std::vector<Request> seen;
    const VisionDataPeer peer(cri_sim::kMessageDirectory, [&](const Request& request) {
        seen.push_back(request);
        throw std::runtime_error("observer");
    });
    Reported(peer, "vdrs_method_ld_stop\n");
    Reported(peer, "vdrs_method_ld_start\n");
    EXPECT_EQ(seen, peer.Requests());
    EXPECT_TRUE(seen.back().malformed);
}

TEST(ResultDocumentTest, HoldsOneLineFromWhichEachValueReadsBackEqual) {
    const float score = 0.1F + 0.2F;
    const std::string logos = cri_sim::AnalyzeResultDocument(
        {"App", "Status", "Title\nä", {{{1, 2, 3, 4294967295U}, score, 7}}, {5, 6, 7, 8}});
    const std::string elements =
        cri_sim::UiDetectionDocument({{{{0.5F, -1, score, 3}, score, 9}}, {10, -20, 1}});
    EXPECT_EQ((logos + elements).find('\n'), std::string::npos);

    Json::Value root = Parsed(logos);
    EXPECT_EQ(root["type"], "AnalyzeResult");
    const Json::Value& usage = root["analyze_result"]["mobile_usage_analysis"];
    EXPECT_EQ(usage["TitleName"], "Title\nä");
    EXPECT_EQ(usage["logo_icon"][0]["bbox"]["bottom"].asUInt(), 4294967295U);
    EXPECT_EQ(usage["logo_icon"][0]["score"].asFloat(), score);
    EXPECT_EQ(usage["text_roi"]["right"].asUInt(), 7U);

    root = Parsed(elements);
    EXPECT_EQ(root["type"], "ContentsUIdetection");
    EXPECT_EQ(root["result"]["detected_list"][0]["bbox"]["right"].asFloat(), score);
    EXPECT_EQ(root["result"]["detected_list"][0]["class_id"].asUInt(), 9U);
    EXPECT_EQ(root["result"]["pip_mode"]["centery"].asInt(), -20);
}

}  // namespace
