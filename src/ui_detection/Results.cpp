/// The UI-detection service's result documents, read into lists and states.
#include "Client.h"
#include "base/Wall.h"
#include "channel/JsonDocument.h"
#include "channel/JsonTools.h"

using cri::Member;

namespace {

_DETECTED_RESULT ReadDetected(const Json::Value& element) {
    const Json::Value* const box = Member(&element, "bbox");
    return {
        cri::ReadFloat(Member(box, "left")),       cri::ReadFloat(Member(box, "top")),
        cri::ReadFloat(Member(box, "right")),      cri::ReadFloat(Member(box, "bottom")),
        cri::ReadFloat(Member(&element, "score")), cri::ReadUnsigned(Member(&element, "class_id"))};
}

std::vector<_DETECTED_RESULT> ReadDetectedList(const Json::Value* list) {
    std::vector<_DETECTED_RESULT> results;
    cri::ForEachObject(
        list, [&results](const Json::Value& element) { results.push_back(ReadDetected(element)); });
    return results;
}

_PIP_MODE_RESULT ReadPipMode(const Json::Value* mode) {
    return {cri::ReadInt(Member(mode, "centerx")), cri::ReadInt(Member(mode, "centery")),
            cri::ReadInt(Member(mode, "on_off"))};
}

void ParseResult(const Json::Value* result) {
    CRI_LOG(DLOG_DEBUG, "ParseResult", "ParseResult start\n");
    ContentsUIDetectionAPI* const client = ContentsUIDetectionAPI::GetInstance();
    client->ReceiveDetectedResult(ReadDetectedList(Member(result, "detected_list")));
    client->ReceivePipModeResult(ReadPipMode(Member(result, "pip_mode")));
    CRI_LOG(DLOG_DEBUG, "ParseResult", "ParseResult done\n");
}

}  // namespace

void cri::_CUDS_Client_Result(std::string payload) {
    constexpr char function[] = "_CUDS_Client_Result";
    const cri::CancellationHeldOff heldOff;  // called as an application's callback would be
    CRI_LOG(DLOG_ERROR, function, "_CUDS_Client_Result called! from service : %s\n",
            payload.c_str());
    const cri::JsonDocument document(payload);
    cri::JsonTools::GiveBack(std::move(payload));
    const Json::Value* const root = document.Parsed() ? &document.Root() : nullptr;
    const Json::Value* const result = Member(root, "result");
    if (cri::ReadText(Member(root, "type")) == "ContentsUIdetection" && result &&
        result->isObject())
        ParseResult(result);
    else
        CRI_LOG(DLOG_ERROR, function, "There is no analyze result\n");
}
