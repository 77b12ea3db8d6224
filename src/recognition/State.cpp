/// The exported state of the recognition-service client that needs no constructor at load.
#include "recognition/Client.h"

const char* const CONTENTS_RECOGNITION_EVENTS_STR[13] = {
    "CONTENTS_RECOGNITION_EVENT_UNKNOWN",
    "CONTENTS_RECOGNITION_EVENT_LINEAR_CHANNEL",
    "CONTENTS_RECOGNITION_EVENT_OTT",
    "CONTENTS_RECOGNITION_EVENT_YOUTUBE",
    "CONTENTS_RECOGNITION_EVENT_UI123",
    "CONTENTS_RECOGNITION_EVENT_OPTKEY",
    "CONTENTS_RECOGNITION_EVENT_VODAPP",
    " ",
    "CONTENTS_RECOGNITION_EVENT_SM_VPD_STATUS",
    "CONTENTS_RECOGNITION_EVENT_SM_CAD_STATUS",
    "CONTENTS_RECOGNITION_EVENT_STATUS_CHANGED",
    "CONTENTS_RECOGNITION_EVENT_CUDS_STARTSTOP",
    "CONTENTS_RECOGNITION_EVENT_MAX",
};

int currentRecognitionStatus = -1;

GDBusConnection* CContentsRecognitionAPI::m_connection;
GDBusProxy* CContentsRecognitionAPI::m_proxy;
unsigned int CContentsRecognitionAPI::m_subscriberID[13];
void* CContentsRecognitionAPI::m_pUserData[13];
CContentsRecognitionAPI::ChangedCallback CContentsRecognitionAPI::changed_cb[13];
CContentsRecognitionAPI::VideoPlayCallback CContentsRecognitionAPI::sm_vpd_cb;
CContentsRecognitionAPI::ContentAreaCallback CContentsRecognitionAPI::sm_cad_cb;

uint32_t CContentsRecognitionAPI::s_BlackScreenSubscriber = cri::kNotSubscribed;
int32_t CContentsRecognitionAPI::s_BlackScreenCallbackId;
