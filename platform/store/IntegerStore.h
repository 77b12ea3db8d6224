/// Named integers kept in files, so that what one process sets another one reads.
#pragma once

#include <string>

namespace cri_platform {

/// Reads the integer kept under `name`, a relative path such as "vconf/db/some/key".
/// @return false when there is none, or what is kept is no integer
bool ReadInteger(const std::string& name, int& value);

/// Keeps `value` under `name`; readers see the old value or the new one, never half of one.
/// The files lie below the directory that the environment variable CRI_PLATFORM_DIR names, without
/// it below "contents-recognition-platform-UID" in the directory for temporary files.
/// @return false when the file cannot be written
bool WriteInteger(const std::string& name, int value);

}  // namespace cri_platform
