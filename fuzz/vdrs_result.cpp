/// The logo-icon parser on any document, against jsoncpp's own reading of it.
#include "Reference.h"
#include "vision_data/Client.h"

using namespace cri_fuzz;

namespace {

int s_deliveries;
MOBILE_USAGE s_usage;

/// Whether the document is one that has to be delivered.
bool IsResult(const std::string& text, Json::Value& analysis) {
    Json::Value root;
    if (!Parse(text, root)) return false;
    const Json::Value type = Get(root, "type");
    if (!type.isString() || type.asString() != "AnalyzeResult") return false;
    const Json::Value result = Get(root, "analyze_result");
    if (!result.isObject() || !result.isMember("mobile_usage_analysis")) return false;
    analysis = result["mobile_usage_analysis"];
    return true;
}

void ExpectSame(const LogoIconInfo& icon, const Json::Value& element) {
    const Json::Value box = Get(element, "bbox");
    Expect(icon.left == Unsigned(Get(box, "left")) && icon.top == Unsigned(Get(box, "top")));
    Expect(icon.right == Unsigned(Get(box, "right")) &&
           icon.bottom == Unsigned(Get(box, "bottom")));
    Expect(Same(icon.score, Float(Get(element, "score"))));
    Expect(icon.class_id == Unsigned(Get(element, "class_id")));
}

void ExpectSame(const Json::Value& analysis) {
    Expect(s_usage.AppName == Text(Get(analysis, "AppName")));
    Expect(s_usage.ContentsStatus == Text(Get(analysis, "ContentsStatus")));
    Expect(s_usage.TitleName == Text(Get(analysis, "TitleName")));
    std::size_t count = 0;
    for (const Json::Value& element : Get(analysis, "logo_icon")) {
        if (!element.isObject()) continue;
        Expect(count < s_usage.logo_icon.size());
        ExpectSame(s_usage.logo_icon[count++], element);
    }
    Expect(count == s_usage.logo_icon.size());
    const Json::Value region = Get(analysis, "text_roi");
    Expect(s_usage.text_roi.left == Unsigned(Get(region, "left")) &&
           s_usage.text_roi.bottom == Unsigned(Get(region, "bottom")));
}

}  // namespace

/// Which the library makes where it is loaded.
VisionDataRecognitionAPI VisionDataRecognitionAPI::s_Instance;

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    VisionDataRecognitionAPI::GetInstance()->SubscribeLogoIconInfo([](const MOBILE_USAGE& usage) {
        ++s_deliveries;
        s_usage = usage;
    });
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    Json::Value analysis;
    const bool expected = IsResult(text, analysis);
    s_deliveries = 0;
    {
        const CommaLocale host;
        cri::_VDRS_Client_LD(text);
    }
    Expect(s_deliveries == (expected ? 1 : 0));
    if (expected) ExpectSame(analysis);
    return 0;
}
