/// What both channels read from a result file, and what they write: records, hostile files,
/// requests.
#include <fcntl.h>
#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

#include "Channels.h"
#include "LogCapture.h"

namespace {

using namespace cri_test;
using testing::ElementsAre;
using testing::IsEmpty;

class ChannelReaderTest : public ChannelTest {
  protected:
    /// The payloads of one reading of a file with these contents.
    std::vector<std::string> Read(const std::string& contents) {
        m_results.Write(contents);
        const std::size_t before = Delivered().All().size();
        EXPECT_EQ(m_channel.process(), 1);
        const auto all = Delivered().All();
        return {all.begin() + static_cast<std::ptrdiff_t>(before), all.end()};
    }

    std::size_t Logged(const std::string& part) const { return CountLogLines(part); }
};
CRI_FOR_BOTH_CHANNELS(ChannelReaderTest);

TEST_P(ChannelReaderTest, DeliversEachRecordInFileOrderWithItsNewline) {
    EXPECT_THAT(Read(Record("{\"a\":1}") + "\n \t\n" + Record("{}")),
                ElementsAre("{\"a\":1}\n", "{}\n"));
    EXPECT_EQ(Logged(std::string("s2c_msg : ") + m_channel.resultMethod), 2U);
    EXPECT_EQ(Logged("[TEST:] {\"a\":1}\n"), 1U);
    EXPECT_THAT(Read(std::string("  ") + m_channel.resultMethod + " more words\n{}\n"),
                ElementsAre("{}\n"));
}

TEST_P(ChannelReaderTest, SkipsWhatItDoesNotKnowLineByLine) {
    EXPECT_THAT(Read("foo\n{...}\n" + Record("{}")), ElementsAre("{}\n"));
    EXPECT_EQ(Logged("error foo\n"), 1U);
    EXPECT_EQ(Logged("error {...}\n"), 1U);
    EXPECT_THAT(Read(m_channel.resultMethod), IsEmpty());
    std::string cut = m_channel.resultMethod;
    cut.pop_back();
    EXPECT_EQ(Logged("error " + cut + "\n"), 1U);
    EXPECT_THAT(Read(std::string(m_channel.resultMethod) + "\n"), IsEmpty());
    EXPECT_EQ(Logged("get highlight fgets error\n"), 1U);
    EXPECT_THAT(Read(""), IsEmpty());
}

TEST_P(ChannelReaderTest, SplitsAPayloadThatIsTooLong) {
    const std::string payload(m_channel.lineLimit + 500, 'x');
    const auto read = Read(Record(payload) + Record("{}"));
    EXPECT_THAT(read, ElementsAre(payload.substr(0, m_channel.lineLimit), "{}\n"));
    EXPECT_EQ(Logged("error " + std::string(500, 'x') + "\n"), 1U);
    const std::string fits(m_channel.lineLimit - 1, 'y');
    EXPECT_THAT(Read(Record(fits)), ElementsAre(fits + "\n"));
}

TEST_P(ChannelReaderTest, EndsALinesTextAtItsFirstNulByte) {
    using namespace std::string_literals;
    EXPECT_THAT(Read("\0hidden\n"s + m_channel.resultMethod + "\n\0{}\n"s), ElementsAre(""));
    EXPECT_THAT(Read(Record("{\"a\":\0 1}"s)), ElementsAre("{\"a\":"));
}

TEST_P(ChannelReaderTest, SurvivesOneLineOf64Megabytes) {
    m_results.Write(std::string(64 << 20, 'z'));
    EXPECT_EQ(m_channel.process(), 1);
    EXPECT_THAT(Delivered().All(), IsEmpty());
}

TEST_P(ChannelReaderTest, RefusesWhatIsNoRegularFileWithoutWaiting) {
    const std::string path = m_results.Path();
    ASSERT_EQ(unlink(path.c_str()), 0);
    EXPECT_EQ(m_channel.process(), -3);
    EXPECT_EQ(Logged("make real path error path : " + path + " / real_path : null\n"), 1U);
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    EXPECT_EQ(m_channel.process(), -3);
    ASSERT_EQ(unlink(path.c_str()), 0);
    ASSERT_EQ(mkdir(path.c_str(), 0700), 0);
    EXPECT_EQ(m_channel.process(), -3);
    EXPECT_EQ(Logged("file open error " + path + "\n"), 2U);
    ASSERT_EQ(rmdir(path.c_str()), 0);
}

TEST_P(ChannelReaderTest, DropsPayloadsWithoutACallbackAndDropsWhatTheCallbackThrows) {
    m_channel.setCallback(nullptr);
    EXPECT_THAT(Read(Record("{}")), IsEmpty());
    m_channel.setCallback(Deliver);
    Delivered().during = [](const std::string& payload) {
        if (payload == "1\n") throw std::runtime_error("from the application");
    };
    EXPECT_THAT(Read(Record("1") + Record("2")), ElementsAre("2\n"));
}

TEST_P(ChannelReaderTest, LogsUnderItsUnitsNameWithItsFormatAndLevels) {
    Read(Record("{}"));
    const bool vdrs = std::string(m_channel.name) == "Vdrs";
    ASSERT_FALSE(LogLines().empty());
    const LogLine line = LogLines().back();
    EXPECT_EQ(line.tag, vdrs ? "VDR" : "CRI");
    EXPECT_EQ(line.priority, 6);
    EXPECT_EQ(line.format,
              vdrs ? "%s: %s(%d) > [TEST:] %s\n" : "%s: %s(%d) > [%s:%d] [TEST:] %s\n");
    EXPECT_THAT(line.text, testing::StartsWith(
                               std::string(vdrs ? "VDRS_Client_Inotify: " : "CUDSClientInotify: ") +
                               m_channel.processFunction + "("));
}

class RequestTest : public testing::Test {
  protected:
    static std::string Contents(const MessageFile& file) { return file.Read(); }
};

TEST_F(RequestTest, WritesVdrsMessagesOverTheStartOfTheFile) {
    const MessageFile file("vdrs_c2s_msg");
    unlink(file.Path().c_str());
    EXPECT_EQ(VDRS_Client_Inotify_Send("other", 1, 2, 3, "x", 4), 1);
    EXPECT_EQ(file.Read(), "");
    EXPECT_EQ(VDRS_Client_Inotify_Send("vdrs_method_ld_start", 1, -1, 0, "unknown", 5), 1);
    EXPECT_EQ(file.Read(), "vdrs_method_ld_start\n1 -1 0 unknown 5 \n");
    EXPECT_EQ(VDRS_Client_Inotify_Send("vdrs_method_ld_stop", nullptr), 1);
    EXPECT_EQ(file.Read(), "vdrs_method_ld_stop\n\n1 -1 0 unknown 5 \n");
    file.Write("");
    EXPECT_EQ(VDRS_Client_Inotify_Send("vdrs_method_ld_change", -1, -1, -1, "", 3), 1);
    EXPECT_EQ(file.Read(), "vdrs_method_ld_change\n3\n");
    file.Write("");
    EXPECT_EQ(VDRS_Client_Inotify_Send(std::string(600, 'm').c_str(), nullptr), 1);
    EXPECT_EQ(file.Read(), std::string(499, 'm'));
    EXPECT_EQ(CountLogLines("[C2S Inotify Send] vdrs_method_ld_start | param0-viewing(1), "
                            "param1(-1) param2(0) param3(unknown) param4(5)\n"),
              1U);
}

TEST_F(RequestTest, WritesCudsMessagesOverTheStartOfTheFile) {
    const MessageFile file("cuds_c2s_msg");
    EXPECT_EQ(CUDSClientInotifySend("cuds_method_engine_start", 2, 0, 1, 0), 1);
    EXPECT_EQ(file.Read(), "cuds_method_engine_start\n2 0 1 0 \n");
    EXPECT_EQ(CUDSClientInotifySend("cuds_method_engine_stop", 2, 0, 1, 0), 1);
    EXPECT_EQ(file.Read(), "cuds_method_engine_stop\n2 0 1 0 \n\n");
    file.Write("");
    EXPECT_EQ(CUDSClientInotifySend("some_method", reinterpret_cast<void*>(~std::size_t{0})), 1);
    EXPECT_EQ(file.Read(), "some_method\n18446744073709551615\n");
    EXPECT_EQ(CountLogLines("[C2S Inotify Send] cuds_method_engine_start | hdmiport(2) isSTB(0) "
                            "adaptivesound (1)multivew_onoff(0)\n"),
              1U);
}

TEST_F(RequestTest, FailsForNullAndWhereTheFileCannotBeOpenedAndNeverWaits) {
    EXPECT_EQ(VDRS_Client_Inotify_Send(nullptr, nullptr), -3);
    EXPECT_EQ(VDRS_Client_Inotify_Send(nullptr, 1, 2, 3, "x", 4), -3);
    EXPECT_EQ(CUDSClientInotifySend(nullptr, 1, 2, 3, 4), -3);
    EXPECT_EQ(CUDSClientInotifySend(nullptr, nullptr), -3);
    EXPECT_EQ(CUDSInotifyInit(nullptr), -2);
    ASSERT_EQ(mkdir("/run/user/5001/vdrs_c2s_msg", 0700), 0);
    EXPECT_EQ(VDRS_Client_Inotify_Send("vdrs_method_ld_stop", nullptr), -3);
    EXPECT_EQ(CountLogLines("inotify file open error /run/user/5001/vdrs_c2s_msg\n"), 1U);
    ASSERT_EQ(rmdir("/run/user/5001/vdrs_c2s_msg"), 0);
    // A pipe that nobody reads fills up; one whose reader may go away is no message file.
    ASSERT_EQ(mkfifo("/run/user/5001/cuds_c2s_msg", 0600), 0);
    const int reader = open("/run/user/5001/cuds_c2s_msg", O_RDONLY | O_NONBLOCK);
    EXPECT_EQ(CUDSInotifyInit("cuds_c2s_msg"), -2);
    close(reader);
    for (int i = 0; i < 5000; ++i)
        ASSERT_EQ(CUDSClientInotifySend("cuds_method_engine_start", i, i, i, i), 1);
}

}  // namespace
