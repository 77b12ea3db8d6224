/// Stand-in for the platform's home data control service: agreements in files.
#include "HomeDataControlAPI.h"

#include "IntegerStore.h"

namespace {

std::string Name(const std::string& item, const std::string& category) {
    return "home-data-control/" + category + "/" + item;
}

CHomeDataControlAPI s_client;

}  // namespace

CHomeDataControlAPI* CHomeDataControlAPI::GetInstance() try {
    int reachable = 1;
    cri_platform::ReadInteger(Name("service", "standin"), reachable);
    return reachable ? &s_client : nullptr;
} catch (...) {
    return nullptr;
}

int CHomeDataControlAPI::GetDisclaimerItemAgreement(const std::string& item, int* agreement,
                                                    std::string category) try {
    if (!agreement) return -1;
    return cri_platform::ReadInteger(Name(item, category), *agreement) ? 0 : -1;
} catch (...) {
    return -1;
}

int CHomeDataControlAPI::SetDisclaimerItemAgreement(const std::string& item, int agreement,
                                                    std::string category) try {
    return cri_platform::WriteInteger(Name(item, category), agreement) ? 0 : -1;
} catch (...) {
    return -1;
}
