/// A small application, built against the installed package through CMake and through pkg-config.
#include <contents-recognition-api/ContentsRecognitionAPI.h>

#include <cstdio>

int main() {
    std::string name = "untouched";
    const bool answered = CContentsRecognitionAPI::GetCurrentChannelName(name);
    std::printf("%s %s\n", answered ? "answered" : "no answer", name.c_str());
    return 0;
}
