/// The UI-detection parser on any document, against jsoncpp's own reading of it.
#include "Reference.h"
#include "ui_detection/Client.h"

using namespace cri_fuzz;

namespace {

int s_lists, s_modes;
std::vector<_DETECTED_RESULT> s_list;
_PIP_MODE_RESULT s_mode;

bool IsResult(const std::string& text, Json::Value& result) {
    Json::Value root;
    if (!Parse(text, root) || Text(Get(root, "type")) != "ContentsUIdetection") return false;
    result = Get(root, "result");
    return result.isObject();
}

void ExpectSame(const _DETECTED_RESULT& detected, const Json::Value& element) {
    const Json::Value box = Get(element, "bbox");
    Expect(Same(detected.left, Float(Get(box, "left"))) &&
           Same(detected.top, Float(Get(box, "top"))));
    Expect(Same(detected.right, Float(Get(box, "right"))) &&
           Same(detected.bottom, Float(Get(box, "bottom"))));
    Expect(Same(detected.score, Float(Get(element, "score"))));
    Expect(detected.class_id == Unsigned(Get(element, "class_id")));
}

void ExpectSame(const Json::Value& result) {
    std::size_t count = 0;
    for (const Json::Value& element : Get(result, "detected_list")) {
        if (!element.isObject()) continue;
        Expect(count < s_list.size());
        ExpectSame(s_list[count++], element);
    }
    Expect(count == s_list.size());
    const Json::Value mode = Get(result, "pip_mode");
    Expect(s_mode.centerx == Int(Get(mode, "centerx")) &&
           s_mode.centery == Int(Get(mode, "centery")) &&
           s_mode.on_off == Int(Get(mode, "on_off")));
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    ContentsUIDetectionAPI* const client = ContentsUIDetectionAPI::GetInstance();
    client->SubscribeDetectedCallback([](const std::vector<_DETECTED_RESULT>& list) {
        ++s_lists;
        s_list = list;
    });
    client->SubscribePipModeCallback([](const _PIP_MODE_RESULT& mode) {
        ++s_modes;
        s_mode = mode;
    });
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, std::size_t size) {
    const std::string text(reinterpret_cast<const char*>(data), size);
    Json::Value result;
    const bool expected = IsResult(text, result);
    s_lists = s_modes = 0;
    {
        const CommaLocale host;
        cri::_CUDS_Client_Result(text);
    }
    Expect(s_lists == (expected ? 1 : 0) && s_modes == s_lists);
    if (expected) ExpectSame(result);
    return 0;
}
