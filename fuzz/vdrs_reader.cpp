/// The VDRS channel's reader on a result file of any content.
#include "MessageFile.h"
#include "VDRS_Client_Inotify.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    VDRS_Register_LD_Callback([](std::string payload) { cri_fuzz::CheckPayload(payload, 1998); });
    cri_fuzz::WriteMessageFile("vdrs_s2c_msg", data, size);
    if (VDRS_Client_Notification_Process() != 1) abort();
    return 0;
}
