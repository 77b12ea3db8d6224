/// A program under test.
#include "Program.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <system_error>

#include "TestSupport.h"

namespace cri_test {
namespace {

struct Pipe {
    int ends[2] = {-1, -1};
    Pipe() {
        if (pipe2(ends, O_CLOEXEC) != 0) throw std::system_error(errno, std::generic_category());
    }
};

void Close(int& descriptor) {
    if (descriptor >= 0) close(descriptor);
    descriptor = -1;
}

}  // namespace

Program::Program(const std::vector<std::string>& command) {
    std::vector<char*> words;
    for (const std::string& word : command) words.push_back(const_cast<char*>(word.c_str()));
    words.push_back(nullptr);
    const Pipe input, output;
    m_errors = memfd_create("errors", MFD_CLOEXEC);
    signal(SIGPIPE, SIG_IGN);
    m_process = fork();
    if (m_process == 0) {
        signal(SIGPIPE, SIG_DFL);
        dup2(input.ends[0], STDIN_FILENO);
        dup2(output.ends[1], STDOUT_FILENO);
        dup2(m_errors, STDERR_FILENO);
        execv(words[0], words.data());
        _exit(127);
    }
    close(input.ends[0]);
    close(output.ends[1]);
    m_input = input.ends[1];
    m_output = output.ends[0];
    if (m_process < 0) throw std::system_error(errno, std::generic_category());
}

Program::~Program() {
    if (!m_status) {
        Signal(SIGKILL);
        Wait();
    }
    for (int* descriptor : {&m_input, &m_output, &m_errors}) Close(*descriptor);
}

void Program::Type(const std::string& text) const {
    if (write(m_input, text.data(), text.size()) != static_cast<ssize_t>(text.size()))
        throw std::system_error(errno, std::generic_category(), "cannot type");
}

void Program::CloseInput() {
    Close(m_input);
}

void Program::CloseOutput() {
    Close(m_output);
}

/// @return false at the end, or when `limit` passed
bool Program::Fill(std::chrono::milliseconds limit) {
    pollfd place{m_output, POLLIN, 0};
    char chunk[4096];
    if (poll(&place, 1, static_cast<int>(std::max<long>(limit.count(), 0))) != 1) return false;
    const ssize_t length = read(m_output, chunk, sizeof chunk);
    if (length <= 0) return false;
    m_unread.append(chunk, static_cast<std::size_t>(length));
    return true;
}

std::optional<std::string> Program::ReadLine(std::chrono::milliseconds limit) {
    using Clock = std::chrono::steady_clock;
    const auto end = Clock::now() + limit;
    std::size_t length;
    while ((length = m_unread.find('\n')) == std::string::npos)
        if (!Fill(std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now())))
            return std::nullopt;
    std::string line = m_unread.substr(0, length);
    m_unread.erase(0, length + 1);
    return line;
}

bool Program::OutputEnds(std::chrono::milliseconds limit) {
    while (Fill(limit)) {
    }
    pollfd place{m_output, POLLIN, 0};
    return poll(&place, 1, 0) == 1 && (place.revents & POLLHUP) != 0;
}

int Program::Wait(std::chrono::milliseconds limit) {
    if (m_status) return *m_status;
    if (!ProcessWatch(m_process).WaitForEnd(limit)) return -1;
    int status = 0;
    waitpid(m_process, &status, 0);
    m_status = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    return *m_status;
}

std::string Program::Errors() {
    struct stat status {};
    fstat(m_errors, &status);
    std::string text(static_cast<std::size_t>(status.st_size), '\0');
    const ssize_t length = pread(m_errors, text.data(), text.size(), 0);
    text.resize(static_cast<std::size_t>(std::max<ssize_t>(length, 0)));
    return text;
}

Outcome RunToEnd(const std::vector<std::string>& command, const std::string& input) {
    Program program(command);
    program.Type(input);
    program.CloseInput();
    std::string output;
    while (const auto line = program.ReadLine()) output += *line + "\n";
    return {program.Wait(), output, program.Errors()};
}

std::vector<pid_t> ChildrenOf(pid_t process) {
    std::vector<pid_t> children;
    for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
        std::ifstream file(entry.path() / "stat");
        std::string text;
        if (!std::getline(file, text)) continue;
        char state = 0;
        int parent = 0;
        const std::size_t name = text.rfind(')');
        if (name == std::string::npos) continue;
        if (sscanf(text.c_str() + name, ") %c %d", &state, &parent) == 2 && parent == process &&
            state != 'Z')
            children.push_back(std::stoi(entry.path().filename()));
    }
    std::sort(children.begin(), children.end());
    return children;
}

}  // namespace cri_test
