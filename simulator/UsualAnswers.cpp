/// The methods of the recognition service, and what they answer on a set that nobody has scripted.
#include "UsualAnswers.h"

#include <functional>
#include <map>
#include <string_view>

namespace cri_sim {
namespace {

Answer UsageError(const char* name, const std::string& message) {
    return Answer::Error(std::string("org.freedesktop.DBus.Error.") + name, message);
}

/// What a method takes, and what the service does about it when no script says otherwise.
struct Method {
    const char* arguments;
    std::function<Answer(ServiceState&, GVariant* arguments)> answer;
};

/// Answers so, whatever the state.
auto Always(const char* body) {
    return [body](ServiceState&, GVariant*) { return Answer::Reply(body); };
}

using Setting = int ServiceState::*;
using Detector = ServiceState::Detector ServiceState::*;
using enum ServiceState::Detector;

/// Keeps the call's integers as these settings.
auto Keep(std::vector<Setting> settings) {
    return [settings](ServiceState& state, GVariant* arguments) {
        for (std::size_t i = 0; i < settings.size(); ++i)
            g_variant_get_child(arguments, i, "i", &(state.*settings[i]));
        return Answer::Reply("(0,)");
    };
}

/// A stop or a pause of the detector.
auto Halt(Detector detector, ServiceState::Detector halted) {
    return [detector, halted](ServiceState& state, GVariant*) {
        state.*detector = halted;
        return Answer::Reply("(0,)");
    };
}

/// A start or resume of the detector carries the capture type.
auto Run(Detector detector) {
    return [detector](ServiceState& state, GVariant* arguments) {
        state.*detector = kRunning;
        return Keep({&ServiceState::captureType})(state, arguments);
    };
}

Answer IncreaseBlackScreen(ServiceState& state, GVariant*) {
    return Answer::Reply(state.blackScreenReferences++ == 0 ? "(1,)" : "(0,)");
}

Answer DecreaseBlackScreen(ServiceState& state, GVariant*) {
    if (state.blackScreenReferences == 0) return Answer::Reply("(-1,)");
    return Answer::Reply(--state.blackScreenReferences == 0 ? "(1,)" : "(0,)");
}

const std::map<std::string_view, Method>& Methods() {
    using State = ServiceState;
    static const std::map<std::string_view, Method> methods{
        {"GetContentsInfo", {"()", Always("('linear-channel',)")}},
        {"GetChannelName", {"()", Always("('Kestrel One',)")}},
        {"GetChannelNumber", {"()", Always("('7-1',)")}},
        {"GetChannelNumberWithInfo", {"()", Always("('7-1', 2, 'Kestrel One', 7, 1)")}},
        {"GetProgramTitle", {"()", Always("('The Long Harbour',)")}},
        {"GetProgramTitleSource", {"()", Always("('EPG',)")}},
        {"GetScreenStatus", {"()", Always("(1,)")}},
        {"GetChannelScrollStatus", {"()", Always("(0,)")}},
        {"BlackScreenIncreaseReference", {"()", IncreaseBlackScreen}},
        {"BlackScreenDecreaseReference", {"()", DecreaseBlackScreen}},
        {"GetBlackScreenPeriodMillis", {"()", Always("(500,)")}},
        {"SM_CADServiceStart", {"(i)", Run(&State::contentArea)}},
        {"SM_CADServiceStop", {"()", Halt(&State::contentArea, kStopped)}},
        {"SM_CADServicePause", {"()", Halt(&State::contentArea, kPaused)}},
        {"SM_CADServiceResume", {"(i)", Run(&State::contentArea)}},
        {"SM_VPDServiceStart", {"(i)", Run(&State::videoPlay)}},
        {"SM_VPDServiceStop", {"()", Halt(&State::videoPlay, kStopped)}},
        {"SM_VPDServicePause", {"()", Halt(&State::videoPlay, kPaused)}},
        {"SM_VPDServiceResume", {"(i)", Run(&State::videoPlay)}},
        {"SMServiceChange", {"(i)", Keep({&State::captureType})}},
        {"SMServiceCSChange", {"(i)", Keep({&State::captureSpeed})}},
        {"SMServiceResChange", {"(i)", Keep({&State::resolution})}},
        {"SMServiceSetResolutionWH",
         {"(iii)", Keep({&State::orientation, &State::width, &State::height})}},
    };
    return methods;
}

}  // namespace

Answer UnknownMethod(const std::string& method) {
    return UsageError("UnknownMethod", "No method " + method);
}

Answer UsualAnswer(ServiceState& state, const std::string& method, GVariant* arguments) {
    const auto known = Methods().find(method);
    if (known == Methods().end()) return UnknownMethod(method);
    const std::string_view types = arguments ? g_variant_get_type_string(arguments) : "()";
    if (types != known->second.arguments)
        return UsageError("InvalidArgs", method + " takes " + known->second.arguments);
    return known->second.answer(state, arguments);
}

std::vector<std::string> MethodNames() {
    std::vector<std::string> names;
    for (const auto& [name, method] : Methods()) names.emplace_back(name);
    return names;
}

}  // namespace cri_sim
