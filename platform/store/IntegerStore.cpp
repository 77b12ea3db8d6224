/// Named integers kept in files, one file each.
#include "IntegerStore.h"

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <system_error>

namespace cri_platform {
namespace {

namespace fs = std::filesystem;

fs::path Root() {
    if (const char* directory = std::getenv("CRI_PLATFORM_DIR")) return directory;
    return fs::temp_directory_path() /
           ("contents-recognition-platform-" + std::to_string(getuid()));
}

/// A key may hold slashes but must not lead out of the store.
bool IsInside(const fs::path& relative) {
    if (relative.empty() || relative.is_absolute()) return false;
    for (const fs::path& step : relative)
        if (step == "..") return false;
    return true;
}

}  // namespace

bool ReadInteger(const std::string& name, int& value) {
    if (!IsInside(name)) return false;
    std::ifstream file(Root() / name);
    int kept = 0;
    if (!(file >> kept)) return false;
    value = kept;
    return true;
}

bool WriteInteger(const std::string& name, int value) {
    if (!IsInside(name)) return false;
    const fs::path target = Root() / name;
    const fs::path fresh = target.string() + "." + std::to_string(getpid()) + ".new";
    std::error_code error;
    fs::create_directories(target.parent_path(), error);
    std::ofstream(fresh) << value << '\n';
    fs::rename(fresh, target, error);
    return !error;
}

}  // namespace cri_platform
