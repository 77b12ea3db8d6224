/// What the set is showing: one question to the service each.
#include "recognition/Client.h"
#include "vconf.h"

using namespace cri;

namespace {

constexpr Query kContentsInfo = {"m_GetCurrentContentsInfo", "GetContentsInfo"};
constexpr Query kChannelName = {"m_GetCurrentChannelName", "GetChannelName"};
constexpr Query kChannelNumber = {"m_GetCurrentChannelNumber", "GetChannelNumber"};
constexpr Query kProgramTitle = {"m_GetCurrentProgramTitle", "GetProgramTitle"};
constexpr Query kProgramTitleSource = {"m_GetCurrentProgramTitleSource", "GetProgramTitleSource"};
constexpr Query kScreenStatus = {"m_GetCurrentScreenStatus", "GetScreenStatus"};
constexpr Query kScrollStatus = {"m_GetChannelScrollStatus", "GetChannelScrollStatus"};
constexpr Query kNumberWithInfo = {"GetCurrentChannelNumberWithInfo", "GetChannelNumberWithInfo"};

constexpr char kUnknown[] = "Unknown";

bool QueryText(const Query& query, std::string& text) {
    return Walled(false, [&] {
        if (!Connected(query.function)) return false;
        const ServiceCall call = CallService(query.method, "(s)");
        if (!call) LogCallError(query.function, call);
        text = call ? call.Text() : kUnknown;
        return static_cast<bool>(call);
    });
}

/// The states that this set does not have.
bool QueryZero(const char* function, int& number) {
    if (!Connected(function)) return false;
    number = 0;
    return true;
}

}  // namespace

void cri::LogCallError(const char* function, const ServiceCall& call) {
    CRI_LOG(DLOG_ERROR, function, "Error: %s\n", call.Error());
}

bool cri::QueryInt(const Query& query, int& number) {
    return Walled(false, [&] {
        if (!Connected(query.function)) return false;
        const ServiceCall call = CallService(query.method, "(i)");
        if (!call) LogCallError(query.function, call);
        number = call ? call.Int() : 0;
        return static_cast<bool>(call);
    });
}

bool CContentsRecognitionAPI::m_GetCurrentContentsInfo(std::string& text) {
    return QueryText(kContentsInfo, text);
}

bool CContentsRecognitionAPI::GetCurrentContentsInfo(std::string& text) {
    ApiLock lock;
    return m_GetCurrentContentsInfo(text);
}

bool CContentsRecognitionAPI::m_GetCurrentChannelName(std::string& text) {
    return QueryText(kChannelName, text);
}

bool CContentsRecognitionAPI::GetCurrentChannelName(std::string& text) {
    ApiLock lock;
    return m_GetCurrentChannelName(text);
}

bool CContentsRecognitionAPI::m_GetCurrentChannelNumber(std::string& text) {
    return QueryText(kChannelNumber, text);
}

bool CContentsRecognitionAPI::GetCurrentChannelNumber(std::string& text) {
    ApiLock lock;
    return m_GetCurrentChannelNumber(text);
}

bool CContentsRecognitionAPI::m_GetCurrentProgramTitle(std::string& text) {
    return QueryText(kProgramTitle, text);
}

bool CContentsRecognitionAPI::GetCurrentProgramTitle(std::string& text) {
    ApiLock lock;
    return m_GetCurrentProgramTitle(text);
}

bool CContentsRecognitionAPI::m_GetCurrentProgramTitleSource(std::string& text) {
    return QueryText(kProgramTitleSource, text);
}

bool CContentsRecognitionAPI::GetCurrentProgramTitleSource(std::string& text) {
    ApiLock lock;
    return m_GetCurrentProgramTitleSource(text);
}

bool CContentsRecognitionAPI::m_GetCurrentScreenStatus(int& status) {
    return QueryInt(kScreenStatus, status);
}

bool CContentsRecognitionAPI::GetCurrentScreenStatus(int& status) {
    ApiLock lock;
    return m_GetCurrentScreenStatus(status);
}

bool CContentsRecognitionAPI::m_GetChannelScrollStatus(bool& scrolling) {
    int number = scrolling;  // stays what it is without a connection
    const bool answered = QueryInt(kScrollStatus, number);
    scrolling = number != 0;
    return answered;
}

bool CContentsRecognitionAPI::GetChannelScrollStatus(bool& scrolling) {
    const CancellationHeldOff heldOff;
    CRI_LOG(DLOG_INFO, "GetChannelScrollStatus", "GetChannelScrollStatus()\n");
    ApiLock lock;
    const bool answered = m_GetChannelScrollStatus(scrolling);
    CRI_LOG(DLOG_INFO, "GetChannelScrollStatus",
            "CContentsRecognitionAPI::GetChannelScrollStatus Channel Scroll Status : %s\n",
            scrolling ? "TRUE" : "FALSE");
    return answered;
}

bool CContentsRecognitionAPI::m_GetCurrentRecognitionStatus(int& status) {
    const CancellationHeldOff heldOff;
    if (!Connected("m_GetCurrentRecognitionStatus")) return false;
    int kept = 0;
    if (vconf_get_int("db/Canalysis-service/recognition_status", &kept) != 0) kept = 0;
    status = kept;
    return true;
}

bool CContentsRecognitionAPI::GetCurrentRecognitionStatus(int& status) {
    ApiLock lock;
    return m_GetCurrentRecognitionStatus(status);
}

bool CContentsRecognitionAPI::m_GetUIStatus(int& status) {
    return QueryZero("m_GetUIStatus", status);
}

bool CContentsRecognitionAPI::GetUIStatus(int& status) {
    const CancellationHeldOff heldOff;
    CRI_LOG(DLOG_INFO, "GetUIStatus", "GetUIStatus()\n");
    ApiLock lock;
    return m_GetUIStatus(status);
}

bool CContentsRecognitionAPI::m_GetUI123Status(int& status) {
    return QueryZero("m_GetUI123Status", status);
}

bool CContentsRecognitionAPI::GetUI123Status(int& status) {
    const CancellationHeldOff heldOff;
    CRI_LOG(DLOG_INFO, "GetUI123Status", "GetUI123Status()\n");
    ApiLock lock;
    return m_GetUI123Status(status);
}

bool CContentsRecognitionAPI::m_GetVODAppUIStatus(int& status) {
    return QueryZero("m_GetVODAppUIStatus", status);
}

bool CContentsRecognitionAPI::GetVODAppUIStatus(int& status) {
    const CancellationHeldOff heldOff;
    CRI_LOG(DLOG_INFO, "GetVODAppUIStatus", "GetVODAppUIStatus()\n");
    ApiLock lock;
    return m_GetVODAppUIStatus(status);
}

bool CContentsRecognitionAPI::m_GetVODAppType(int& type) {
    return QueryZero("m_GetVODAppType", type);
}

bool CContentsRecognitionAPI::GetVODAppType(int& type) {
    ApiLock lock;
    return m_GetVODAppType(type);
}

bool CContentsRecognitionAPI::GetCurrentChannelNumberWithInfo(std::string& numberText,
                                                              int& firstValue,
                                                              std::string& secondText,
                                                              int& secondValue, bool& flag) {
    const char* const function = kNumberWithInfo.function;
    return Walled(false, [&] {
        if (!Connected(function)) return false;
        const ServiceCall call = CallService(kNumberWithInfo.method, "(sisii)");
        if (!call) {
            LogCallError(function, call);
            numberText = kUnknown;
            return false;
        }
        const char *number, *second;
        int flagValue = 0;
        call.Read("(&si&sii)", &number, &firstValue, &second, &secondValue, &flagValue);
        numberText = number;
        secondText = second;
        flag = flagValue != 0;
        CRI_LOG(DLOG_INFO, function,
                "GetCurrentChannelNumberWithInfo finished (%s, %d, %s, %d, %d)\n",
                numberText.c_str(), firstValue, secondText.c_str(), secondValue, flag ? 1 : 0);
        return true;
    });
}
