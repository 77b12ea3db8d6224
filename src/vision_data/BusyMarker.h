/// The file that says that this client's logo analysis runs.
#pragma once

#include "channel/FileChannel.h"

namespace cri {

class BusyMarker {
  public:
    BusyMarker();

    /// @return false when the path leads through a link
    bool IsOwn() const;
    /// Creates it unless it exists.
    /// @return false when it cannot be created
    bool Ensure();
    void Remove();

  private:
    bool IsRegular() const;

    char m_path[kPathSize];
};

}  // namespace cri
