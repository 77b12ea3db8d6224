/// What the C and the C++ headers share: the export mark and the recognition service's own codes.
#ifndef CONTENTS_RECOGNITION_API_CRI_TYPES_H
#define CONTENTS_RECOGNITION_API_CRI_TYPES_H

#ifndef CRI_API
#define CRI_API __attribute__((visibility("default")))
#endif

/// Status that a changed event carries; the values are the recognition service's, passed on
/// unchanged, so any int may come.
///
/// SM_SCREEN_STATUS (mode of a content-area report) and SM_VPD_STATUS (status of a
/// video-play-detector report) are of the same kind.
#ifdef __cplusplus
enum CRS_EVENT_TYPE : int {};
enum SM_SCREEN_STATUS : int {};
enum SM_VPD_STATUS : int {};
#else
typedef int CRS_EVENT_TYPE;
typedef int SM_SCREEN_STATUS;
typedef int SM_VPD_STATUS;
#endif

#endif
