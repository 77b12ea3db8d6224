/// A channel's result file in the private message directory that a fuzz target runs in.
#pragma once

#include <fcntl.h>
#include <unistd.h>

#include <cstdint>
#include <cstdlib>
#include <string>

namespace cri_fuzz {

/// Replaces the file's contents by the fuzzer's bytes.
inline void WriteMessageFile(const char* name, const uint8_t* data, std::size_t size) {
    const std::string path = std::string("/run/user/5001/") + name;
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (file < 0 || write(file, data, size) != static_cast<ssize_t>(size)) abort();
    close(file);
}

/// What a payload has to be, whatever stands in the file: one line, or the first piece of a longer
/// one.
inline void CheckPayload(const std::string& payload, std::size_t limit) {
    if (payload.size() > limit) abort();
    const std::size_t newline = payload.find('\n');
    if (newline != std::string::npos && newline + 1 != payload.size()) abort();
    if (payload.find('\0') != std::string::npos) abort();
}

}  // namespace cri_fuzz
