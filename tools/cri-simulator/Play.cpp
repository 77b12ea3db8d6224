/// Plays a recording to whoever is on the bus.
#include "Play.h"

#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <sstream>

#include "Attention.h"
#include "BuiltInRecording.h"
#include "Player.h"
#include "RequestLog.h"
#include "SimulatedSet.h"

namespace cri_tool {
namespace {

using cri_recording::RecordingError;
using cri_recording::RecordingLine;
using cri_recording::RecordingParser;
using cri_sim::Player;
using cri_sim::SimulatedSet;
using Clock = Attention::Clock;
using Seconds = std::chrono::duration<double>;
using Wake = Attention::Wake;

/// How long the last requests of a program that has ended may take to arrive.
constexpr std::chrono::milliseconds kLastRequests(100);

Clock::time_point After(Clock::time_point start, Seconds time) {
    return start + std::chrono::duration_cast<Clock::duration>(time);
}

/// One playing, from the first line to the end.
class Performance {
  public:
    Performance(SimulatedSet& set, Attention& attention, const PlayOptions& options)
        : m_options(options),
          m_attention(attention),
          m_player(
              set, [this](Clock::time_point time) { return WaitUntil(time); }, Complain) {}

    void PlayRecorded(const std::vector<RecordingLine>& lines) {
        while (m_player.PlayAll(lines, m_options.speed) && m_options.loop) {
        }
    }

    void PlayTyped() {
        RecordingParser parser("standard input", RecordingParser::Source::kTyped, Complain);
        std::string text;
        std::array<char, 4096> chunk;
        while (m_attention.Wait(std::nullopt, STDIN_FILENO) == Wake::kInput) {
            const ssize_t length = read(STDIN_FILENO, chunk.data(), chunk.size());
            if (length <= 0) break;
            text.append(chunk.data(), static_cast<std::size_t>(length));
            for (std::size_t end; (end = text.find('\n')) != std::string::npos;) {
                if (!PlayTyped(parser, text.substr(0, end))) return;
                text.erase(0, end + 1);
            }
        }
        PlayTyped(parser, text);
    }

  private:
    bool WaitUntil(Clock::time_point time) { return m_attention.Wait(time) != Wake::kStop; }

    /// A person's bad line is complained about and left out; a program's ends the playing.
    bool PlayTyped(RecordingParser& parser, const std::string& text) try {
        const auto line = parser.Take(text);
        if (!line) return true;
        if (line->time && !WaitUntil(After(m_start, *line->time / m_options.speed))) return false;
        return m_player.Play(line->content);
    } catch (const RecordingError& error) {
        if (!isatty(STDIN_FILENO)) throw;
        Complain(error.what());
        return true;
    }

    const PlayOptions& m_options;
    Attention& m_attention;
    Player m_player;
    const Clock::time_point m_start = Clock::now();
};

void MentionWhatIsLeft(const SimulatedSet& set) {
    const auto limit = Clock::now() + kLastRequests;
    while (!set.LeftBehind().empty() && Clock::now() < limit) usleep(5000);
    for (const std::string& sentence : set.LeftBehind()) Complain("at the end " + sentence);
}

void PlayOn(SimulatedSet& set, const Script& script, Attention& attention,
            const PlayOptions& options) {
    if (options.until) attention.StopAt(After(Clock::now(), Seconds(*options.until)));
    options.onReady();
    Performance performance(set, attention, options);
    if (script)
        performance.PlayRecorded(*script);
    else
        performance.PlayTyped();
    if (options.stays || options.until) attention.Wait(std::nullopt);
    MentionWhatIsLeft(set);
}

std::vector<RecordingLine> Read(const std::string& name) {
    if (name.empty()) {
        std::istringstream text{std::string(cri_sim::BuiltInRecording())};
        return cri_recording::ReadRecording(text, "built-in recording", Complain);
    }
    std::ifstream file(name);
    if (!file) throw RecordingError(name + ": " + strerror(errno));
    return cri_recording::ReadRecording(file, name, Complain);
}

bool HasLength(const std::vector<RecordingLine>& lines) {
    return !lines.empty() && lines.back().time > std::chrono::microseconds(0);
}

}  // namespace

void Complain(const std::string& text) {
    std::fprintf(stderr, "cri-simulator: %s\n", text.c_str());
}

Script ReadScript(const std::string& name, bool loop) {
    if (name == "-") return std::nullopt;
    auto lines = Read(name);
    if (loop && !HasLength(lines))
        throw RecordingError(name + ": takes no time and cannot be played in a loop");
    return lines;
}

int Play(const Script& script, const PlayOptions& options) {
    Attention attention(options.log == stdout ? STDOUT_FILENO : -1);
    const RequestLog log(options.log,
                         options.json ? RequestLog::Form::kJson : RequestLog::Form::kHuman);
    std::optional<SimulatedSet> set;
    try {
        set.emplace(SimulatedSet::Options{
            options.bus, options.directory,
            [&log](const cri_recording::ClientRequest& request) { log.Write(request); }});
    } catch (const std::exception& error) {
        Complain(error.what());
        return kNoBus;
    }
    log.Remark("The simulated set is on. What clients ask of it:");
    PlayOn(*set, script, attention, options);
    return kSuccess;
}

}  // namespace cri_tool
