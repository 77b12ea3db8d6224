/// The platform's home data control service, as far as the library and its tools use it.
#pragma once

#include <string>

/// The user's agreements to disclaimer items such as "viewing" (the use of viewing information).
class __attribute__((visibility("default"))) CHomeDataControlAPI {
  public:
    /// @return the process's client of the service; null when the service cannot be reached. The
    ///         stand-in is reached as long as no one has set the item "service" of category
    ///         "standin" to 0.
    static CHomeDataControlAPI* GetInstance();

    /// Stores the agreement to `item` of `category` in `*agreement`: 1 agreed, 0 not agreed.
    /// @return 0 on success; -1 when nothing is known about it, `*agreement` is untouched then
    int GetDisclaimerItemAgreement(const std::string& item, int* agreement, std::string category);

    /// Stand-in only: keeps an agreement for every process of the same store.
    /// @return 0 on success, -1 otherwise
    int SetDisclaimerItemAgreement(const std::string& item, int agreement, std::string category);
};
