/// What the vision-data client offers beside itself: the input source, a locker, shell commands.
#define CRI_LOG_UNIT "VisionDataRecognitionAPI"

#include <errno.h>
#include <pthread.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include "VisionDataRecognitionAPI.h"
#include "base/AtomicWord.h"
#include "base/Log.h"
#include "base/Wall.h"
#include "channel/NotificationThread.h"

using cri::Load;
using cri::Walled;

VDRAPIProvider* VDRAPIProvider::m_pInstance = nullptr;

VDRAPIProvider* VDRAPIProvider::GetInstance() {
    VDRAPIProvider* current = Load(m_pInstance);
    if (current) return current;
    VDRAPIProvider* const made =
        Walled(static_cast<VDRAPIProvider*>(nullptr), [] { return new VDRAPIProvider; });
    static VDRAPIProvider s_withoutMemory;
    if (!made) return &s_withoutMemory;
    if (cri::Replace(m_pInstance, current, made)) return made;
    delete made;  // another thread was quicker
    return current;
}

int VDRAPIProvider::Getcurrentsource(int& bHDMI, int& deviceType, std::string& deviceName) {
    bHDMI = -1;
    deviceType = 0;
    deviceName = "unknown";
    return 1;
}

VDRLocker::VDRLocker() {
    g_mutex_init(&m_mutex);
}
VDRLocker::~VDRLocker() {
    g_mutex_clear(&m_mutex);
}
void VDRLocker::Lock() {
    g_mutex_lock(&m_mutex);
}
void VDRLocker::Unlock() {
    g_mutex_unlock(&m_mutex);
}

AutoLock::AutoLock(VDRLocker& locker) : m_pLocker(&locker) {
    m_pLocker->Lock();
}
AutoLock::~AutoLock() {
    m_pLocker->Unlock();
}

namespace {

/// The rest of the vfork child's life, which it spends on the caller's memory: a handler of the
/// host's must not run there, so the handlers go before the signals come back.
[[noreturn]] void BecomeShell(const char* command, const sigset_t& mask) {
    for (int number = 1; number < NSIG; ++number) {
        struct sigaction action = {};
        if (sigaction(number, nullptr, &action) != 0 || action.sa_handler == SIG_IGN) continue;
        action.sa_handler = SIG_DFL;
        action.sa_flags = 0;
        sigaction(number, &action, nullptr);
    }
    pthread_sigmask(SIG_SETMASK, &mask, nullptr);
    execl("/bin/sh", "/bin/sh", "-c", command, static_cast<char*>(nullptr));
    _exit(1);
}

pid_t StartShell(const char* command) {
    sigset_t all, before, forShell;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    forShell = before;
    // A notification thread's own mask is not for programs.
    if (cri::NotificationThread::Current()) sigemptyset(&forShell);
    const pid_t child = vfork();
    if (child == 0) BecomeShell(command, forShell);
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
    return child;
}

}  // namespace

int m_ExecuteShell(const char* command) {
    const cri::CancellationHeldOff heldOff;
    if (!command) return -1;
    const pid_t child = StartShell(command);
    if (child < 0) return -1;
    int status = 0;
    pid_t waited;
    do {
        waited = waitpid(child, &status, 0);
    } while (waited < 0 && errno == EINTR);
    return waited == child ? status : -1;
}

int DelFiles(char* path) {
    constexpr char function[] = "DelFiles";
    const cri::CancellationHeldOff heldOff;
    VDR_LOG(DLOG_INFO, function, "Delete Files: %s\n", path ? path : "");
    char command[512];
    const int length = snprintf(command, sizeof command, "rm -rf %s", path ? path : "");
    // A command that was cut would delete something else.
    if (!path || length < 0 || static_cast<std::size_t>(length) >= sizeof command) {
        VDR_LOG(DLOG_ERROR, function, "Delete Files error, no path or too long a path\n");
        return 1;
    }
    m_ExecuteShell(command);
    sync();
    return 1;
}

int FileExist(char* path) {
    return path && access(path, F_OK) == 0 ? 1 : 0;
}
