/// The vision-data service's result documents, read into records.
#include "Client.h"
#include "base/Wall.h"
#include "channel/JsonDocument.h"
#include "channel/JsonTools.h"

using cri::Member;

namespace {

LogoIconInfo ReadLogoIcon(const Json::Value& element) {
    const Json::Value* const box = Member(&element, "bbox");
    return {
        cri::ReadUnsigned(Member(box, "left")),    cri::ReadUnsigned(Member(box, "top")),
        cri::ReadUnsigned(Member(box, "right")),   cri::ReadUnsigned(Member(box, "bottom")),
        cri::ReadFloat(Member(&element, "score")), cri::ReadUnsigned(Member(&element, "class_id"))};
}

std::vector<LogoIconInfo> ReadLogoIcons(const Json::Value* list) {
    std::vector<LogoIconInfo> icons;
    cri::ForEachObject(
        list, [&icons](const Json::Value& element) { icons.push_back(ReadLogoIcon(element)); });
    return icons;
}

MOBILE_USAGE::TextRegion ReadTextRegion(const Json::Value* region) {
    constexpr char function[] = "ParseLogoIcon";
    const bool isObject = region && region->isObject();
    VDR_LOG(DLOG_INFO, function, "[TEXT_ROI_API] 1 %d\n", isObject ? 1 : 0);
    const cri::JsonTools tools;
    VDR_LOG(DLOG_INFO, function, "[TEXT_ROI_API] 2 %s\n",
            region ? tools.Written(*region).c_str() : "null");
    if (!isObject) {
        VDR_LOG(DLOG_INFO, function, "[TEXT_ROI] is null\n");
        return {};
    }
    const MOBILE_USAGE::TextRegion read = {
        cri::ReadUnsigned(Member(region, "left")), cri::ReadUnsigned(Member(region, "top")),
        cri::ReadUnsigned(Member(region, "right")), cri::ReadUnsigned(Member(region, "bottom"))};
    VDR_LOG(DLOG_INFO, function, "[TEXT_ROI] Result: %d, %d, %d, %d\n", static_cast<int>(read.left),
            static_cast<int>(read.top), static_cast<int>(read.right),
            static_cast<int>(read.bottom));
    return read;
}

void ParseLogoIcon(const Json::Value* analysis) {
    constexpr char function[] = "ParseLogoIcon";
    VDR_LOG(DLOG_INFO, function, "ParseLogoIcon start\n");
    MOBILE_USAGE usage;
    usage.logo_icon = ReadLogoIcons(Member(analysis, "logo_icon"));
    usage.AppName = cri::ReadText(Member(analysis, "AppName"));
    usage.ContentsStatus = cri::ReadText(Member(analysis, "ContentsStatus"));
    usage.TitleName = cri::ReadText(Member(analysis, "TitleName"));
    usage.text_roi = ReadTextRegion(Member(analysis, "text_roi"));
    cri::ReceiveUsage(std::move(usage));
    VDR_LOG(DLOG_INFO, function, "ParseLogoIcon done\n");
}

void ParseAnalyzeResult(const Json::Value* result) {
    constexpr char function[] = "ParseAnalyzeResult";
    const Json::Value* const icons = Member(result, "logo_icon");
    VDR_LOG(DLOG_INFO, function, "Parse Analyze Result %d %d\n", icons ? 1 : 0,
            icons && icons->isObject() ? 1 : 0);
    const Json::Value* const analysis = Member(result, "mobile_usage_analysis");
    if (analysis)
        ParseLogoIcon(analysis);
    else
        VDR_LOG(DLOG_ERROR, function, "There is no solid result\n");
}

}  // namespace

void cri::_VDRS_Client_LD(std::string payload) {
    constexpr char function[] = "_VDRS_Client_LD";
    const cri::CancellationHeldOff heldOff;  // called as an application's callback would be
    VDR_LOG(DLOG_ERROR, function, "_VDRS_Client_LD called! from service : %s\n", payload.c_str());
    VDR_LOG(DLOG_INFO, function, "from service : %s\n", payload.c_str());
    const cri::JsonDocument document(payload);
    cri::JsonTools::GiveBack(std::move(payload));
    const Json::Value* const root = document.Parsed() ? &document.Root() : nullptr;
    const Json::Value* const type = Member(root, "type");
    if (!type || !type->isString() || cri::ReadText(type) != "AnalyzeResult") {
        VDR_LOG(DLOG_ERROR, function, "Unknown Data\n");
        return;
    }
    const Json::Value* const result = Member(root, "analyze_result");
    if (result && result->isObject())
        ParseAnalyzeResult(result);
    else
        VDR_LOG(DLOG_ERROR, function, "There is no analyze result\n");
}
