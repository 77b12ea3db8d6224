/// Stand-in for the platform's key-value store: integers in files.
#include "vconf.h"

#include <string>

#include "IntegerStore.h"

extern "C" __attribute__((visibility("default"))) int vconf_get_int(const char* key, int* value) {
    if (!key || !value) return -1;
    try {
        return cri_platform::ReadInteger(std::string("vconf/") + key, *value) ? 0 : -1;
    } catch (...) {
        return -1;
    }
}

extern "C" __attribute__((visibility("default"))) int vconf_set_int(const char* key, int value) {
    if (!key) return -1;
    try {
        return cri_platform::WriteInteger(std::string("vconf/") + key, value) ? 0 : -1;
    } catch (...) {
        return -1;
    }
}
