/// The platform's key-value store, as far as the library and its tools use it.
#ifndef CRI_PLATFORM_VCONF_H
#define CRI_PLATFORM_VCONF_H

#ifdef __cplusplus
extern "C" {
#endif

/// Reads the integer kept under `key` into `*value`.
/// @return 0 on success; -1 when there is none, `*value` is untouched then
int vconf_get_int(const char* key, int* value);

/// Keeps `value` under `key`; every process of the same store sees it.
/// @return 0 on success, -1 otherwise
int vconf_set_int(const char* key, int value);

#ifdef __cplusplus
}
#endif

#endif
