/// Every object of the library that has a constructor at load or a destructor at exit, in one file:
/// the order in which they stand here is the order in which they are made.
#include <iostream>  // first the standard streams: callbacks at exit may print

#include "VisionDataRecognitionAPI.h"
#include "recognition/Client.h"
#include "ui_detection/Channel.h"
#include "vision_data/Channel.h"

/// Before the end of the reports, which empties it, so that it is destroyed after that.
std::map<int, CContentsRecognitionAPI::BlackScreenCallback>
    CContentsRecognitionAPI::s_BlackScreenCallbackMap;

namespace {

struct ReportsEnd {
    ~ReportsEnd() { cri::EndReports(); }
};
ReportsEnd s_reportsEnd;

}  // namespace

/// Creates the UI-detection client, which is there before the vision-data client is.
ContentsUIDetectionAPI* const cri::g_pcudapi = ContentsUIDetectionAPI::GetInstance();

/// Its destructor, at exit, comes before the others'.
VisionDataRecognitionAPI VisionDataRecognitionAPI::s_Instance;

namespace {

[[maybe_unused]] const int s_forkHandler = pthread_atfork(nullptr, nullptr, [] {
    cri::ForgetParentsBus();
    cri::ForgetParentsVisionData();
    cri::ForgetParentsUiDetection();
});

}  // namespace
