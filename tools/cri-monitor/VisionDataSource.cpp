/// Subscribes to the logo-icon results.
#include "VisionDataSource.h"

#include "VisionDataRecognitionAPI.h"

namespace cri_monitor {
namespace {

SubscriptionHandle s_subscription;

cri_recording::VisionData Converted(const MOBILE_USAGE& usage) {
    cri_recording::VisionData data{usage.AppName, usage.ContentsStatus, usage.TitleName, {}, {}};
    for (const LogoIconInfo& logo : usage.logo_icon)
        data.logos.push_back(
            {{logo.left, logo.top, logo.right, logo.bottom}, logo.score, logo.class_id});
    data.textRegion = {usage.text_roi.left, usage.text_roi.top, usage.text_roi.right,
                       usage.text_roi.bottom};
    return data;
}

}  // namespace

void OpenVisionData(const Reporter& report) {
    s_subscription = VisionDataRecognitionAPI::GetInstance()->SubscribeLogoIconInfo(
        [report](const MOBILE_USAGE& usage) { report(Converted(usage)); });
}

void CloseVisionData() {
    auto* const client = VisionDataRecognitionAPI::GetInstance();
    client->Unsubscribe(s_subscription);
    client->Finalize();
}

}  // namespace cri_monitor
