/// What the result documents of the peers have in common.
#include "ResultDocument.h"

namespace cri_sim {

std::string OneLine(const Json::Value& document) {
    Json::StreamWriterBuilder builder;
    builder["indentation"] = "";
    builder["precision"] = 9;
    builder["emitUTF8"] = true;
    return Json::writeString(builder, document);
}

}  // namespace cri_sim
