/// A file descriptor with an owner.
#pragma once

#include <unistd.h>

namespace cri {

class Descriptor {
  public:
    explicit Descriptor(int number) : m_number(number) {}
    ~Descriptor() {
        if (m_number >= 0) close(m_number);
    }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;

    explicit operator bool() const { return m_number >= 0; }
    int Get() const { return m_number; }

  private:
    const int m_number;
};

}  // namespace cri
