/// What a sanitizer's build leaves alone.

/// The font library keeps its tables until the process ends.
extern "C" __attribute__((visibility("default"), used)) const char* __lsan_default_suppressions();
extern "C" const char* __lsan_default_suppressions() {
    return "leak:libfontconfig\n";
}
