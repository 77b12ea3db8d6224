/// The vision-data client: control of the logo analysis, its results, and the utilities beside
/// them.
#define CRI_LOG_UNIT "VisionDataRecognitionAPI"

#include "VisionDataRecognitionAPI.h"

#include <errno.h>
#include <fcntl.h>
#include <limits.h>
#include <pthread.h>
#include <signal.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <mutex>

#include "AtomicWord.h"
#include "Descriptor.h"
#include "FileChannel.h"
#include "ForkedChild.h"
#include "HomeDataControlAPI.h"
#include "JsonDocument.h"
#include "JsonTools.h"
#include "Log.h"
#include "NotificationThread.h"
#include "SubscriberList.h"
#include "VDRS_Client_Inotify.h"
#include "Wall.h"

using cri::Load;
using cri::Member;
using cri::Store;
using cri::Walled;

bool bLDInit = false;
bool bLDStart = false;

struct cri::VisionDataState {
    std::atomic<unsigned long long> m_lastId{0};
    cri::SubscriberList<MOBILE_USAGE> m_subscribers{&cri::VdrsChannel()};
    std::mutex m_usageMutex;
    std::shared_ptr<const MOBILE_USAGE> m_usage;  ///< replaced, never changed: it may be being read
};

namespace {

/// Never destroyed: the notification thread may deliver after the instance is gone.
cri::VisionDataState& SharedState() {
    static auto& s_state = *new cri::VisionDataState;
    return s_state;
}

/// Makes testing and changing bLDInit, or bLDStart, one step.
std::mutex s_initMutex;
std::mutex s_controlMutex;

}  // namespace

void cri::ForgetParentsVisionData() {
    VdrsChannel().DisconnectInChild();
    Renew(s_initMutex);
    Renew(s_controlMutex);
}

VisionDataRecognitionAPI::VisionDataRecognitionAPI() : m_state(SharedState()) {}

VisionDataRecognitionAPI::~VisionDataRecognitionAPI() {
    Walled([this] { m_state.m_subscribers.Clear(); });
}

VisionDataRecognitionAPI* VisionDataRecognitionAPI::GetInstance() {
    return &s_Instance;
}

namespace {

/// Both count: the channel's own functions and a fork disconnect it without this client.
bool IsConnected() {
    return Load(bLDInit) && cri::VdrsChannel().Connected();
}

}  // namespace

bool VisionDataRecognitionAPI::Initialize() {
    constexpr char function[] = "Initialize";
    const cri::CancellationHeldOff heldOff;
    // Every subscription comes here: one that finds the work done does not queue for the lock.
    std::unique_lock<std::mutex> lock(s_initMutex, std::defer_lock);
    if (!IsConnected()) lock.lock();
    const bool initialized = !lock || Load(bLDInit);
    if (initialized)
        VDR_LOG(DLOG_INFO, function, "CAMW_Client_LD_Initialize Already Initialized\n");
    bool connected = true;
    if (lock && !IsConnected()) {
        connected = VDRS_Client_Inotify_Connect() == cri::kChannelDone || initialized;
        Store(bLDInit, true);
    }
    if (connected)
        VDR_LOG(DLOG_INFO, function, "CAMW_Client_LD_Initialize Successful\n");
    else
        VDR_LOG(DLOG_ERROR, function, "CAMW_Client_LD_Initialize Failed\n");
    return connected;
}

namespace {

/// Clears bLDInit and takes the thread off the channel in one step, so that an Initialize finds
/// either both or neither; waits without the lock, for a callback that may initialise itself.
bool Disconnect() {
    std::unique_lock<std::mutex> lock(s_initMutex);
    if (!Load(bLDInit)) {
        VDR_LOG(DLOG_INFO, "Finalize", "CAMW_Client_LD_Initialize Already Finalized\n");
        return true;
    }
    const auto thread = cri::VdrsChannel().Detach();
    Store(bLDInit, false);
    lock.unlock();
    return cri::VdrsChannel().End(thread) == cri::kChannelDone;
}

}  // namespace

bool VisionDataRecognitionAPI::Finalize() {
    constexpr char function[] = "Finalize";
    const cri::CancellationHeldOff heldOff;
    const bool disconnected = Walled(false, Disconnect);
    if (disconnected)
        VDR_LOG(DLOG_INFO, function, "CAMW_Client_LD_Finalize Successful\n");
    else
        VDR_LOG(DLOG_ERROR, function, "CAMW_Client_LD_Finalize Failed\n");
    return disconnected;
}

// ---- Control of the analysis ----

namespace {

constexpr char kPackage[] = "org.olvex.contents-recognition-api";
constexpr char kPause[] = "vdrs_method_ld_pause";

/// The marker that says that this client's analysis runs.
struct BusyMarker {
    BusyMarker() { snprintf(path, sizeof path, "%s%s.busy", cri::kMessageDirectory, kPackage); }

    /// @return false when the path leads through a link
    bool IsOwn() const;
    /// Whether it exists, and is no link.
    bool IsRegular() const;
    /// Creates it unless it exists.
    /// @return false when it cannot be created
    bool Ensure();
    void Remove() {
        if (FileExist(path)) DelFiles(path);
    }

    char path[cri::kPathSize];
};

bool BusyMarker::IsOwn() const {
    char resolved[PATH_MAX];
    if (!realpath(path, resolved)) {
        VDR_LOG(DLOG_ERROR, "StartAnalyze", "File %s is not exist\n", path);
        return true;
    }
    if (strcmp(path, resolved) != 0) {
        VDR_LOG(DLOG_ERROR, "StartAnalyze", "File %s is symbolic link\n", path);
        return false;
    }
    VDR_LOG(DLOG_ERROR, "StartAnalyze", "File %s is realpath\n", path);
    return true;
}

bool BusyMarker::IsRegular() const {
    struct stat status = {};
    return lstat(path, &status) == 0 && S_ISREG(status.st_mode);
}

bool BusyMarker::Ensure() {
    if (FileExist(path)) return true;
    constexpr char kContent[] = {'b', 'u', 's', 'y'};
    // Exclusive: a link put here since the check, or one that leads nowhere, is not followed.
    const cri::Descriptor file(
        open(path, O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0644));
    if (!file && errno == EEXIST && IsRegular()) return true;  // another process was quicker
    if (!file || write(file.Get(), kContent, sizeof kContent) != sizeof kContent) {
        VDR_LOG(DLOG_ERROR, "StartAnalyze", "file open error %s\n", path);
        if (file) unlink(path);
        return false;
    }
    VDR_LOG(DLOG_ERROR, "StartAnalyze", "file write success %s\n", path);
    return true;
}

int CaptureMode(int captureType) {
    switch (captureType) {
        case 1:
        case 10000:
            return 5;
        case 2:
        case 10001:
            return 3;
        default:
            return captureType;
    }
}

/// The user's agreement to the use of viewing information; 0 when nothing is known of it.
int ViewingAgreement() {
    return Walled(0, [] {
        int viewing = 0;
        CHomeDataControlAPI* const control = CHomeDataControlAPI::GetInstance();
        if (control)
            control->GetDisclaimerItemAgreement("viewing", &viewing, "TV");
        else
            VDR_LOG(DLOG_INFO, "StartAnalyze", "CHomeDataControlAPI Get API instance fail!\n\n");
        return viewing;
    });
}

int SendStart(const char* method, int captureType) {
    constexpr char function[] = "StartAnalyze";
    const int captureMode = CaptureMode(captureType);
    int bHDMI = 0, deviceType = 0;
    std::string deviceName;
    VDRAPIProvider::GetInstance()->Getcurrentsource(bHDMI, deviceType, deviceName);
    const int viewing = ViewingAgreement();
    VDR_LOG(DLOG_INFO, function, "viewing : %d\n", viewing);
    VDR_LOG(DLOG_ERROR, function,
            "API_PROVIDER:  viewing(%d), bHDMI(%d), deviceType(%d), deviceName(%s), "
            "captureMode(%d)\n",
            viewing, bHDMI, deviceType, deviceName.c_str(), captureMode);
    return VDRS_Client_Inotify_Send(method, viewing, bHDMI, deviceType, deviceName, captureMode);
}

}  // namespace

bool VisionDataRecognitionAPI::StartAnalyze(const char* method, int captureType) {
    constexpr char function[] = "StartAnalyze";
    const cri::CancellationHeldOff heldOff;
    VDR_LOG(DLOG_ERROR, function, "StartAnalyze Call\n");
    if (!method) return false;
    Initialize();
    return Walled(false, [=] {
        const std::lock_guard<std::mutex> lock(s_controlMutex);
        if (Load(bLDStart)) {
            VDR_LOG(DLOG_ERROR, function, "Already VDRS_Client_LD_Start\n");
            return false;
        }
        BusyMarker marker;
        if (!marker.IsOwn() || !marker.Ensure()) return false;
        const int sent = SendStart(method, captureType);
        VDR_LOG(DLOG_INFO, function, "CAMW_Client_LD_Start : %d\n", sent);
        Store(bLDStart, true);
        return sent == cri::kChannelDone;
    });
}

bool VisionDataRecognitionAPI::StopAnalyze(const char* method) {
    constexpr char function[] = "StopAnalyze";
    const cri::CancellationHeldOff heldOff;
    VDR_LOG(DLOG_ERROR, function, "StopAnalyze Call\n");
    if (!method) return false;
    const std::lock_guard<std::mutex> lock(s_controlMutex);
    if (strcmp(method, kPause) == 0 && !Load(bLDStart)) {
        VDR_LOG(DLOG_ERROR, function, "Already VDRS_Client_LD_Stop\n");
        return false;
    }
    VDR_LOG(DLOG_INFO, function, "CAMW_Client_LD_Stop\n");
    const int sent = VDRS_Client_Inotify_Send(method, nullptr);
    VDR_LOG(DLOG_INFO, function, "CAMW_Client_LD_Stop : %d\n", sent);
    Store(bLDStart, false);
    BusyMarker().Remove();
    return sent == cri::kChannelDone;
}

bool VisionDataRecognitionAPI::ChangeAnalyze(int captureType) {
    const cri::CancellationHeldOff heldOff;
    const std::lock_guard<std::mutex> lock(s_controlMutex);
    if (!Load(bLDStart)) {
        VDR_LOG(DLOG_ERROR, "ChangeAnalyze", "Engine start error\n");
        return false;
    }
    return Walled(false, [=] {
        return VDRS_Client_Inotify_Send("vdrs_method_ld_change", -1, -1, -1, "",
                                        CaptureMode(captureType)) == cri::kChannelDone;
    });
}

bool VisionDataRecognitionAPI::Request(std::string&, const char* request) {
    const cri::CancellationHeldOff heldOff;
    VDR_LOG(DLOG_INFO, "Request", "Request Call : %s\n", request ? request : "");
    VDRS_Client_Inotify_Send("vdrs_method_ld_request", nullptr);
    return true;
}

// ---- Results ----

namespace {

LogoIconInfo ReadLogoIcon(const Json::Value& element) {
    const Json::Value* const box = Member(&element, "bbox");
    return {
        cri::ReadUnsigned(Member(box, "left")),    cri::ReadUnsigned(Member(box, "top")),
        cri::ReadUnsigned(Member(box, "right")),   cri::ReadUnsigned(Member(box, "bottom")),
        cri::ReadFloat(Member(&element, "score")), cri::ReadUnsigned(Member(&element, "class_id"))};
}

std::vector<LogoIconInfo> ReadLogoIcons(const Json::Value* list) {
    std::vector<LogoIconInfo> icons;
    cri::ForEachObject(
        list, [&icons](const Json::Value& element) { icons.push_back(ReadLogoIcon(element)); });
    return icons;
}

MOBILE_USAGE::TextRegion ReadTextRegion(const Json::Value* region) {
    constexpr char function[] = "ParseLogoIcon";
    const bool isObject = region && region->isObject();
    VDR_LOG(DLOG_INFO, function, "[TEXT_ROI_API] 1 %d\n", isObject ? 1 : 0);
    const cri::JsonTools tools;
    VDR_LOG(DLOG_INFO, function, "[TEXT_ROI_API] 2 %s\n",
            region ? tools.Written(*region).c_str() : "null");
    if (!isObject) {
        VDR_LOG(DLOG_INFO, function, "[TEXT_ROI] is null\n");
        return {};
    }
    const MOBILE_USAGE::TextRegion read = {
        cri::ReadUnsigned(Member(region, "left")), cri::ReadUnsigned(Member(region, "top")),
        cri::ReadUnsigned(Member(region, "right")), cri::ReadUnsigned(Member(region, "bottom"))};
    VDR_LOG(DLOG_INFO, function, "[TEXT_ROI] Result: %d, %d, %d, %d\n", static_cast<int>(read.left),
            static_cast<int>(read.top), static_cast<int>(read.right),
            static_cast<int>(read.bottom));
    return read;
}

template <class Usage>
void Receive(cri::VisionDataState& state, Usage&& usage) {
    auto record = std::make_shared<const MOBILE_USAGE>(std::forward<Usage>(usage));
    {
        std::shared_ptr<const MOBILE_USAGE> replaced = record;
        const std::lock_guard<std::mutex> lock(state.m_usageMutex);
        state.m_usage.swap(replaced);
    }
    state.m_subscribers.Deliver(*record);
}

void ParseLogoIcon(const Json::Value* analysis) {
    constexpr char function[] = "ParseLogoIcon";
    VDR_LOG(DLOG_INFO, function, "ParseLogoIcon start\n");
    MOBILE_USAGE usage;
    usage.logo_icon = ReadLogoIcons(Member(analysis, "logo_icon"));
    usage.AppName = cri::ReadText(Member(analysis, "AppName"));
    usage.ContentsStatus = cri::ReadText(Member(analysis, "ContentsStatus"));
    usage.TitleName = cri::ReadText(Member(analysis, "TitleName"));
    usage.text_roi = ReadTextRegion(Member(analysis, "text_roi"));
    Receive(SharedState(), std::move(usage));
    VDR_LOG(DLOG_INFO, function, "ParseLogoIcon done\n");
}

void ParseAnalyzeResult(const Json::Value* result) {
    constexpr char function[] = "ParseAnalyzeResult";
    const Json::Value* const icons = Member(result, "logo_icon");
    VDR_LOG(DLOG_INFO, function, "Parse Analyze Result %d %d\n", icons ? 1 : 0,
            icons && icons->isObject() ? 1 : 0);
    const Json::Value* const analysis = Member(result, "mobile_usage_analysis");
    if (analysis)
        ParseLogoIcon(analysis);
    else
        VDR_LOG(DLOG_ERROR, function, "There is no solid result\n");
}

/// The channel's result callback.
void _VDRS_Client_LD(std::string payload) {
    constexpr char function[] = "_VDRS_Client_LD";
    const cri::CancellationHeldOff heldOff;  // called as an application's callback would be
    VDR_LOG(DLOG_ERROR, function, "_VDRS_Client_LD called! from service : %s\n", payload.c_str());
    VDR_LOG(DLOG_INFO, function, "from service : %s\n", payload.c_str());
    const cri::JsonDocument document(payload);
    cri::JsonTools::GiveBack(std::move(payload));
    const Json::Value* const root = document.Parsed() ? &document.Root() : nullptr;
    const Json::Value* const type = Member(root, "type");
    if (!type || !type->isString() || cri::ReadText(type) != "AnalyzeResult") {
        VDR_LOG(DLOG_ERROR, function, "Unknown Data\n");
        return;
    }
    const Json::Value* const result = Member(root, "analyze_result");
    if (result && result->isObject())
        ParseAnalyzeResult(result);
    else
        VDR_LOG(DLOG_ERROR, function, "There is no analyze result\n");
}

}  // namespace

void VisionDataRecognitionAPI::ReceiveLogoIconData(const MOBILE_USAGE& usage) {
    Walled([&] { Receive(m_state, usage); });
}

SubscriptionHandle VisionDataRecognitionAPI::SubscribeLogoIconInfo(LogoIconCallback callback) {
    constexpr char function[] = "SubscribeLogoIconInfo";
    const cri::CancellationHeldOff heldOff;
    VDR_LOG(DLOG_INFO, function, "SubscribeLogoIconInfo Enter\n");
    Initialize();
    return Walled(SubscriptionHandle(), [&] {
        const auto id = ++m_state.m_lastId;
        VDR_LOG(DLOG_INFO, function, "Subscribe (%llu)\n", id);
        m_state.m_subscribers.Add(id, std::move(callback));
        VDRS_Register_LD_Callback(_VDRS_Client_LD);
        return SubscriptionHandle(id, this);
    });
}

bool VisionDataRecognitionAPI::Unsubscribe(SubscriptionHandle& handle) {
    constexpr char function[] = "Unsubscribe";
    const cri::CancellationHeldOff heldOff;
    if (!handle.m_bValid || handle.m_pOwner != this) {
        VDR_LOG(DLOG_ERROR, function, "Wrong Handle : %llu\n", handle.m_id);
        return false;
    }
    VDR_LOG(DLOG_INFO, function, "Unsubscribe %llu\n", handle.m_id);
    handle.m_bValid = false;
    const bool removed = Walled(false, [&] { return m_state.m_subscribers.Remove(handle.m_id); });
    if (removed)
        VDR_LOG(DLOG_INFO, function, "Succeed to unsubscribe\n");
    else
        VDR_LOG(DLOG_ERROR, function, "Cannot find subscription infomation\n");
    return removed;
}

SubscriptionHandle::SubscriptionHandle() : SubscriptionHandle(0, nullptr) {
    m_bValid = false;
}

SubscriptionHandle::SubscriptionHandle(unsigned long long id, VisionDataRecognitionAPI* owner)
    : m_id(id), m_pOwner(owner), m_bValid(true) {}

// ---- Utilities ----

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
