/// The CUDS channel's reader on a result file of any content.
#include "CUDSClientInotify.h"
#include "MessageFile.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    CUDSRegisterDetectionResultCallback(
        [](std::string payload) { cri_fuzz::CheckPayload(payload, 19998); });
    cri_fuzz::WriteMessageFile("cuds_s2c_msg", data, size);
    if (CUDSClientNotificationProcess() != 1) abort();
    return 0;
}
