/// What is on, what changes, where the content is and which logos are on it.
///
/// usage: whats_on [SECONDS]    (10 without)
///
/// Build: c++ whats_on.cpp $(pkg-config --cflags --libs contents-recognition-api glib-2.0)
#include <contents-recognition-api/ContentsRecognitionAPI.h>
#include <contents-recognition-api/VisionDataRecognitionAPI.h>
#include <glib.h>

#include <cstdio>
#include <cstdlib>
#include <mutex>
#include <string>

namespace {

/// Capture type of the content-area and logo detectors: what the services expect.
const int kCaptureType = 1;

/// Signals come on the main loop's thread, logo results on one of the library's: one line at a
/// time.
std::mutex s_output;

void Say(const std::string& line) {
    std::lock_guard<std::mutex> lock(s_output);
    std::puts(line.c_str());
    std::fflush(stdout);
}

/// @return false when the recognition service does not answer
bool SayWhatIsOn() {
    std::string name, number, title, source;
    if (!CContentsRecognitionAPI::GetCurrentChannelName(name)) return false;
    CContentsRecognitionAPI::GetCurrentChannelNumber(number);
    CContentsRecognitionAPI::GetCurrentProgramTitle(title);
    CContentsRecognitionAPI::GetCurrentProgramTitleSource(source);
    Say("channel " + number + " " + name + ": " + title + " (from " + source + ")");
    return true;
}

/// A callback may call any operation, so it asks what the change was.
void OnChange(CRS_EVENT_TYPE status, void*) {
    Say("change, status " + std::to_string(status));
    SayWhatIsOn();
}

void OnContentArea(SM_SCREEN_STATUS mode, int x, int y, int width, int height, void*) {
    Say("content area, mode " + std::to_string(mode) + ": " + std::to_string(width) + " x " +
        std::to_string(height) + " at " + std::to_string(x) + ", " + std::to_string(y));
}

/// The record is valid during the call only: copy what is to be kept.
void OnLogos(const MOBILE_USAGE& usage) {
    Say(usage.AppName + ": " + usage.TitleName);
    for (const LogoIconInfo& logo : usage.logo_icon)
        Say("  logo " + std::to_string(logo.class_id) + ", score " + std::to_string(logo.score) +
            ", from " + std::to_string(logo.left) + ", " + std::to_string(logo.top) + " to " +
            std::to_string(logo.right) + ", " + std::to_string(logo.bottom));
}

gboolean OnTimeOver(gpointer loop) {
    g_main_loop_quit(static_cast<GMainLoop*>(loop));
    return G_SOURCE_REMOVE;
}

void RunMainLoop(guint seconds) {
    GMainLoop* loop = g_main_loop_new(nullptr, FALSE);
    g_timeout_add_seconds(seconds, OnTimeOver, loop);
    g_main_loop_run(loop);
    g_main_loop_unref(loop);
}

}  // namespace

int main(int argc, char** argv) {
    const int seconds = argc > 1 ? std::atoi(argv[1]) : 10;
    if (!SayWhatIsOn()) {
        std::fputs("the recognition service does not answer\n", stderr);
        return 1;
    }
    const int channel = CContentsRecognitionAPI::SubscribeEvent(
        CONTENTS_RECOGNITION_EVENT_LINEAR_CHANNEL, OnChange, nullptr);
    VisionDataRecognitionAPI* const logos = VisionDataRecognitionAPI::GetInstance();
    SubscriptionHandle handle = logos->SubscribeLogoIconInfo(OnLogos);
    if (!CContentsRecognitionAPI::SM_CADServiceStart(OnContentArea, nullptr, kCaptureType))
        Say("content-area detection was not started");

    RunMainLoop(seconds > 0 ? static_cast<guint>(seconds) : 1);

    CContentsRecognitionAPI::SM_CADServiceStop();
    logos->Unsubscribe(handle);
    logos->Finalize();
    if (channel > 0) CContentsRecognitionAPI::UnsubscribeEvent(static_cast<unsigned int>(channel));
    return 0;
}
