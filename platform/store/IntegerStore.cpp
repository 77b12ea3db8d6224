/// Named integers kept in files, one file each.
#include "IntegerStore.h"

#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <locale>
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

bool WriteLine(const fs::path& path, int value) {
    std::ofstream file(path);
    file.imbue(std::locale::classic());
    file << value << '\n';
    file.close();
    return file.good();
}

}  // namespace

bool ReadInteger(const std::string& name, int& value) {
    if (!IsInside(name)) return false;
    std::ifstream file(Root() / name);
    file.imbue(std::locale::classic());
    int kept = 0;
    if (!(file >> kept)) return false;
    value = kept;
    return true;
}

bool WriteInteger(const std::string& name, int value) {
    if (!IsInside(name)) return false;
    const fs::path target = Root() / name;
    // Two writers, be they threads or processes, must not share the fresh file.
    static std::atomic<unsigned> s_writes;
    const fs::path fresh = target.string() + "." + std::to_string(getpid()) + "-" +
                           std::to_string(++s_writes) + ".new";
    std::error_code error;
    fs::create_directories(target.parent_path(), error);
    if (!WriteLine(fresh, value)) {
        fs::remove(fresh, error);
        return false;
    }
    fs::rename(fresh, target, error);
    return !error;
}

}  // namespace cri_platform
