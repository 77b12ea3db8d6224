/// The recording format: what is written reads back, what is bad is named.
#include "Recording.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <stdlib.h>

#include <fstream>
#include <limits>
#include <set>
#include <sstream>

#include "BuiltInRecording.h"
#include "RandomFaults.h"
#include "TestSupport.h"

namespace {

using cri_sim::FormatLine;
using cri_sim::LineContent;
using cri_sim::RecordingError;
using cri_sim::RecordingLine;
using cri_sim::RecordingParser;
using cri_test::TextOf;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

const std::string kData = CRI_TEST_DATA;

struct Read {
    std::vector<RecordingLine> lines;
    std::vector<std::string> warnings;
};

Read ReadText(const std::string& text) {
    Read read;
    std::istringstream stream(text);
    read.lines = cri_sim::ReadRecording(stream, "evening.jsonl", [&](const std::string& warning) {
        read.warnings.push_back(warning);
    });
    return read;
}

std::string Written(const std::vector<RecordingLine>& lines) {
    std::string text = cri_sim::RecordingHeader() + "\n";
    for (const RecordingLine& line : lines) text += FormatLine(line) + "\n";
    return text;
}

/// What is wrong with `line` behind a good first line.
std::string Complaint(const std::string& line) {
    try {
        ReadText(cri_sim::RecordingHeader() + "\n" + line + "\n");
    } catch (const RecordingError& error) {
        return error.what();
    }
    return {};
}

TEST(RecordingTest, WritesEveryKindAsItWasRead) {
    const std::string sample = TextOf(kData + "/every_kind.jsonl");
    const Read read = ReadText(sample);
    EXPECT_THAT(read.warnings, IsEmpty());
    std::set<std::size_t> kinds;
    for (const RecordingLine& line : read.lines) kinds.insert(line.content.index());
    EXPECT_EQ(kinds.size(), std::variant_size_v<LineContent>) << "the sample lacks a kind";
    EXPECT_EQ(Written(read.lines), sample);
}

TEST(RecordingTest, IsDocumentedWithAnExampleOfEveryKind) {
    std::ifstream file(CRI_DOCUMENT);
    RecordingParser parser("recording.md", RecordingParser::Source::kTyped,
                           [](const std::string& warning) { ADD_FAILURE() << warning; });
    std::set<std::size_t> kinds;
    for (std::string text; std::getline(file, text);)
        if (text.rfind("{\"", 0) == 0)
            if (const auto line = parser.Take(text)) kinds.insert(line->content.index());
    EXPECT_EQ(kinds.size(), std::variant_size_v<LineContent>);
}

TEST(RecordingTest, HasABuiltInRecordingInTheFormThatItWrites) {
    const std::string text(cri_sim::BuiltInRecording());
    const Read read = ReadText(text);
    EXPECT_THAT(read.warnings, IsEmpty());
    EXPECT_EQ(Written(read.lines), text);
    EXPECT_EQ(read.lines.back().time, std::chrono::seconds(8));
}

TEST(RecordingTest, NamesFileLineAndFaultOfEveryBadLine) {
    std::ifstream file(kData + "/bad_lines.jsonl");
    int count = 0;
    for (std::string line; std::getline(file, line); ++count)
        EXPECT_THAT(Complaint(line), StartsWith("evening.jsonl:2: ")) << line;
    EXPECT_GT(count, 20);
    EXPECT_THAT(Complaint("{\"time\":"), StartsWith("evening.jsonl:2: no JSON"));
    EXPECT_THAT(Complaint(std::string(100'000, '[')), StartsWith("evening.jsonl:2: no JSON"));
    EXPECT_EQ(Complaint("\"\xff\""), "evening.jsonl:2: no UTF-8");
    EXPECT_EQ(Complaint(R"({"time":0,"kind":"ui_detection","elements":[{"left":1}],"pip":{}})"),
              R"(evening.jsonl:2: "elements[0].top" is missing)");
}

TEST(RecordingTest, RefusesWhatDoesNotBeginAsARecording) {
    for (const char* text :
         {"", "\n", "{\"time\":0,\"kind\":\"video_play\",\"status\":1}\n", "{\"format\":\"x\"}\n",
          "{\"format\":\"contents-recognition-recording\",\"version\":2}\n"})
        EXPECT_THROW(ReadText(text), RecordingError) << text;
}

TEST(RecordingTest, SkipsUnknownKindsAndFaultsWithAWarning) {
    const Read read = ReadText("\n" + cri_sim::RecordingHeader() + "\n\n" +
                               R"({"time":0,"kind":"teletext","page":100})"
                               "\n"
                               R"({"time":0,"kind":"fault","fault":"flood"})"
                               "\n"
                               R"({"time":0,"kind":"video_play","status":1,"extra":[]})"
                               "\n");
    EXPECT_THAT(read.warnings, ElementsAre("evening.jsonl:4: skipped: unknown kind \"teletext\"",
                                           "evening.jsonl:5: skipped: unknown fault \"flood\""));
    EXPECT_EQ(read.lines.size(), 1U);
}

TEST(RecordingTest, TakesTypedLinesWithoutFirstLineAndTime) {
    RecordingParser parser("typed", RecordingParser::Source::kTyped, [](const std::string&) {});
    const auto line = parser.Take(R"({"kind":"service","present":true})"
                                  "\n");
    ASSERT_TRUE(line);
    EXPECT_FALSE(line->time);
    EXPECT_TRUE(std::get<cri_sim::Service>(line->content).present);
    EXPECT_NO_THROW(parser.End());
}

TEST(RecordingTest, WritesNumbersShortAndEqual) {
    const auto textOf = [](double probability) {
        cri_sim::BlackScreen report;
        report.solidProb = probability;
        return FormatLine({std::nullopt, report});
    };
    EXPECT_THAT(textOf(0.93), HasSubstr("\"solid_prob\":0.93}"));
    EXPECT_THAT(textOf(std::numeric_limits<double>::infinity()), HasSubstr("\"solid_prob\":null}"));
    for (const double number : {1.0 / 3, 5e-324, 1.7976931348623157e308, -0.0}) {
        const auto lines =
            ReadText(cri_sim::RecordingHeader() + "\n" + R"({"time":0,)" + textOf(number).substr(1))
                .lines;
        EXPECT_EQ(std::get<cri_sim::BlackScreen>(lines.at(0).content).solidProb, number);
    }
    cri_sim::UiDetection detection;
    detection.elements.push_back({{}, 0.93F, 0});
    EXPECT_THAT(FormatLine({std::nullopt, detection}), HasSubstr("\"score\":0.93,"));
}

TEST(RecordingTest, MendsTextThatIsNoUtf8) {
    cri_sim::VisionData data;
    data.appName = std::string("a\xff\0b", 4);
    const std::string text = FormatLine({std::chrono::seconds(0), data});
    EXPECT_EQ(Complaint(text), "");
    EXPECT_THAT(text, HasSubstr("\"a\xef\xbf\xbd\xef\xbf\xbd"
                                "b\""));
}

TEST(RecordingTest, DrawsTheSameFaultsFromTheSameSeedAndEndsThemAll) {
    const auto sequence = cri_sim::RandomSequence(7, 500);
    EXPECT_EQ(sequence, cri_sim::RandomSequence(7, 500));
    EXPECT_NE(sequence, cri_sim::RandomSequence(8, 500));
    std::set<std::size_t> kinds;
    std::set<std::string> disturbed;
    for (const LineContent& fault : sequence) {
        kinds.insert(fault.index());
        if (const auto* silent = std::get_if<cri_sim::NoAnswer>(&fault))
            disturbed.insert(silent->method);
        if (const auto* normal = std::get_if<cri_sim::AnswerNormally>(&fault))
            disturbed.erase(normal->method);
    }
    EXPECT_EQ(kinds.size(), 13U) << "every fault but a killed bus and another draw";
    EXPECT_THAT(disturbed, IsEmpty());
}

TEST(RecordingTest, AgreesWithItsSchema) {
    const std::string command =
        "/usr/bin/python3 " CRI_TEST_SOURCES "/recording_schema.py " CRI_SCHEMA " " + kData +
        "/bad_lines.jsonl " + kData + "/every_kind.jsonl " + CRI_BUILT_IN;
    EXPECT_EQ(system(command.c_str()), 0) << "is the package python3-jsonschema installed?";
}

}  // namespace
