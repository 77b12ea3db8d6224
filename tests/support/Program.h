/// A program under test: started, talked to through pipes, waited for.
#pragma once

#include <signal.h>
#include <sys/types.h>

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace cri_test {

/// Lives in the world of the test and is killed with the object.
class Program {
  public:
    explicit Program(const std::vector<std::string>& command);
    ~Program();
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    pid_t Id() const { return m_process; }

    void Type(const std::string& text) const;
    void CloseInput();
    /// As a reader that has seen enough.
    void CloseOutput();

    /// The next line of its standard output without the newline; nothing at the end, or when
    /// `limit` passed first.
    std::optional<std::string> ReadLine(std::chrono::milliseconds limit = std::chrono::seconds(10));
    /// @return whether everybody who could write to its standard output, which is it and all that
    ///         it has started, has gone
    bool OutputEnds(std::chrono::milliseconds limit = std::chrono::seconds(10));

    void Signal(int number) const { kill(m_process, number); }
    /// @return its exit status, 128 and the number of the signal that ended it, or -1 when it had
    ///         not ended when `limit` passed
    int Wait(std::chrono::milliseconds limit = std::chrono::seconds(10));
    /// What it wrote to its standard error, so far.
    std::string Errors();

  private:
    bool Fill(std::chrono::milliseconds limit);

    pid_t m_process = -1;
    int m_input = -1;
    int m_output = -1;
    int m_errors = -1;
    std::string m_unread;
    std::optional<int> m_status;
};

/// What `command` comes to when it is left alone.
struct Outcome {
    int status;
    std::string output;
    std::string errors;
};
Outcome RunToEnd(const std::vector<std::string>& command, const std::string& input = {});

/// The running processes that `process` has started.
std::vector<pid_t> ChildrenOf(pid_t process);

}  // namespace cri_test
