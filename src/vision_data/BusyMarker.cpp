/// The file that says that this client's logo analysis runs.
#define CRI_LOG_UNIT "VisionDataRecognitionAPI"

#include "BusyMarker.h"

#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>

#include "VisionDataRecognitionAPI.h"
#include "base/Descriptor.h"
#include "base/Log.h"

namespace cri {

BusyMarker::BusyMarker() {
    snprintf(m_path, sizeof m_path, "%s%s.busy", kMessageDirectory,
             "org.olvex.contents-recognition-api");
}

bool BusyMarker::IsOwn() const {
    char resolved[PATH_MAX];
    if (!realpath(m_path, resolved)) {
        VDR_LOG(DLOG_ERROR, "StartAnalyze", "File %s is not exist\n", m_path);
        return true;
    }
    if (strcmp(m_path, resolved) != 0) {
        VDR_LOG(DLOG_ERROR, "StartAnalyze", "File %s is symbolic link\n", m_path);
        return false;
    }
    VDR_LOG(DLOG_ERROR, "StartAnalyze", "File %s is realpath\n", m_path);
    return true;
}

/// Whether it exists, and is no link.
bool BusyMarker::IsRegular() const {
    struct stat status = {};
    return lstat(m_path, &status) == 0 && S_ISREG(status.st_mode);
}

bool BusyMarker::Ensure() {
    if (FileExist(m_path)) return true;
    constexpr char kContent[] = {'b', 'u', 's', 'y'};
    // Exclusive: a link put here since the check, or one that leads nowhere, is not followed.
    const Descriptor file(open(m_path, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0644));
    if (!file && errno == EEXIST && IsRegular()) return true;  // another process was quicker
    if (!file || write(file.Get(), kContent, sizeof kContent) != sizeof kContent) {
        VDR_LOG(DLOG_ERROR, "StartAnalyze", "file open error %s\n", m_path);
        if (file) unlink(m_path);
        return false;
    }
    VDR_LOG(DLOG_ERROR, "StartAnalyze", "file write success %s\n", m_path);
    return true;
}

void BusyMarker::Remove() {
    if (FileExist(m_path)) DelFiles(m_path);
}

}  // namespace cri
