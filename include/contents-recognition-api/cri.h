/// The C interface: black-screen reports and screen-monitor control for callers without the
/// classes.
///
/// What holds for every function:
///  - It may be called from any thread and from inside any callback of the library. Functions that
///    ask the service take turns, so that one may have to wait for those of other threads.
///  - The recognition service is asked over the system bus. Each call to it blocks its caller for
///    up to 2 s. The first function that asks it connects, once per process: that may take up to
///    25 s when a service owns its name on the bus and never answers.
///  - Callbacks come on the thread that iterates a GLib main context: for a detector, the
///    thread-default one of the thread that started it; for black-screen reports, that of the
///    thread that made the first subscription of the process. The library runs no main loop:
///    without one of the application's, no callback comes; after 5 s a line in the log says so. A
///    callback may run before the function that asked for it returns, also when that then fails.
///  - No lock of the library is held while a callback runs. What one written in C++ throws is
///    dropped. A thread that is cancelled inside a function is cancelled after it, or in a
///    callback.
///  - Without a free file descriptor, and in a child that was forked without exec from a process
///    that had connected, a function that asks the service fails.
///  - Numbers that mean something to the service (capture type, capture speed, resolution code,
///    orientation, width and height) are handed on unchanged, in the service's own units.
#ifndef CONTENTS_RECOGNITION_API_CRI_H
#define CONTENTS_RECOGNITION_API_CRI_H

#include <stdbool.h>
#include <stdint.h>

#include "cri_types.h"

#ifdef __cplusplus
extern "C" {
#endif

/// Result codes; there are no others.
enum {
    CRI_ERROR_NONE = 0,                       ///< success
    CRI_ERROR_INVALID_PARAMETER = -22,        ///< a required pointer is null or an id is negative
    CRI_ERROR_OPERATION_FAILED = -1073741824  ///< no connection, or the service did not do it
};

/// One black-screen report. The library makes one for each call of a callback. It belongs to the
/// callback, which releases it with cri_bs_info_destroy, then or later, on any thread.
typedef struct cri_bs_info_s* cri_bs_info_h;

/// Called with a black-screen report, which the callee owns, and the subscriber's own pointer.
typedef void (*cri_blackscreen_event_cb)(cri_bs_info_h info, void* user_data);

/// Called with a content-area report and the starter's own pointer. Mode, x, y, width and height
/// are as the service sends them, in its own units.
typedef void (*cri_sm_cad_cb)(SM_SCREEN_STATUS mode, int x, int y, int width, int height,
                              void* user_data);

/// Called with a video-play-detector status as the service sends it, and the starter's own pointer.
typedef void (*cri_sm_vpd_cb)(SM_VPD_STATUS status, void* user_data);

/* ---- Black-screen reports ---- */

/// Subscribes to black-screen reports; each subscription holds one reference on the service's
/// engine, which runs while references are held. A process that has called this waits at exit for
/// the operation that is under way on another thread, 3 s at the most.
/// @param id         receives the id for cri_remove_blackscreen_event_cb; written on success only,
///                   perhaps after the first report has come
/// @param callback   called with each report, in ascending order of the ids
/// @param user_data  handed back unchanged; not owned; may be null
/// @return CRI_ERROR_NONE; CRI_ERROR_INVALID_PARAMETER when `id` or `callback` is null;
///         CRI_ERROR_OPERATION_FAILED without a connection, or when the service does not confirm
///         the reference
CRI_API int cri_add_blackscreen_event_cb(int* id, cri_blackscreen_event_cb callback,
                                         void* user_data);

/// Ends a subscription and gives its reference back. A report that is being dispatched meanwhile
/// may still come.
/// @return CRI_ERROR_NONE; CRI_ERROR_INVALID_PARAMETER when `id` is negative;
///         CRI_ERROR_OPERATION_FAILED when there is no such subscription, without a connection, or
///         when the service does not confirm (the subscription stays then)
CRI_API int cri_remove_blackscreen_event_cb(int id);

/// Asks the service for the period of the black-screen engine.
/// @param period_ms  receives milliseconds; written on success only
/// @return CRI_ERROR_NONE; CRI_ERROR_INVALID_PARAMETER when `period_ms` is null;
///         CRI_ERROR_OPERATION_FAILED without a connection or an answer
CRI_API int cri_get_blackscreen_period_ms(int* period_ms);

/// Releases a report; to be called exactly once for each.
/// @return CRI_ERROR_NONE; CRI_ERROR_INVALID_PARAMETER when `info` is null
CRI_API int cri_bs_info_destroy(cri_bs_info_h info);

/// Whether the picture is one solid colour; false for null.
CRI_API bool cri_bs_info_get_is_solid(cri_bs_info_h info);
/// Probability of that, in the service's own unit; 0 for null.
CRI_API double cri_bs_info_get_solid_prob(cri_bs_info_h info);
/// Components of the main colour: of what the service sends, the low 8 bits; 0 for null.
CRI_API uint8_t cri_bs_info_get_major_red(cri_bs_info_h info);
CRI_API uint8_t cri_bs_info_get_major_green(cri_bs_info_h info);
CRI_API uint8_t cri_bs_info_get_major_blue(cri_bs_info_h info);
/// Whether the solid colour is true black; false for null.
CRI_API bool cri_bs_info_get_is_real_black(cri_bs_info_h info);

/* ---- Content-area detection ----
 *
 * Drives the content-area detector and then, whatever became of that, the logo detector of the
 * vision-data service. The first half waits up to 2 s for the service. The second writes a message
 * file. A start or a resume may have to connect the logo detector's channel first, which takes up
 * to 2 s more. A stop or a pause deletes the busy marker, with a shell command and a sync of the
 * file systems.
 *
 * Each returns CRI_ERROR_NONE when the recognition service answered, whatever the answer holds, and
 * CRI_ERROR_OPERATION_FAILED without an answer or a connection. How the logo detector's half went
 * is only logged. */

/// Starts both detectors; without a connection, neither. A start while started replaces the
/// callback, and loses reports that wait for the main loop; with another capture type it leaves the
/// logo detector as it was: use cri_sm_service_change.
/// @param callback      called with each content-area report until the stop
/// @param user_data     handed back unchanged; not owned; may be null
/// @param capture_type  the service's capture type, handed on unchanged
/// @return also CRI_ERROR_INVALID_PARAMETER when `callback` is null. After
///         CRI_ERROR_OPERATION_FAILED the callback may be attached all the same: stop to be sure
CRI_API int cri_sm_cad_service_start(cri_sm_cad_cb callback, void* user_data, int capture_type);
/// Stops both detectors and detaches the callback, also when the service does not answer. A report
/// that the main loop's thread is already handing out may still be with the callback when the stop
/// returns on another thread; no later one reaches it.
CRI_API int cri_sm_cad_service_stop(void);
/// Suspends both detectors; the callback stays attached.
CRI_API int cri_sm_cad_service_pause(void);
/// Continues both detectors.
/// @param capture_type  as for cri_sm_cad_service_start
CRI_API int cri_sm_cad_service_resume(int capture_type);
/// Changes the capture type of both running detectors.
/// @param capture_type  as for cri_sm_cad_service_start
CRI_API int cri_sm_service_change(int capture_type);

/* ---- Video-play detector ----
 *
 * Each returns CRI_ERROR_NONE when the service answered, whatever the answer holds, and
 * CRI_ERROR_OPERATION_FAILED without an answer or a connection. */

/// Starts the detector; parameters and results as for cri_sm_cad_service_start. A start while
/// started replaces the callback.
CRI_API int cri_sm_vpd_service_start(cri_sm_vpd_cb callback, void* user_data, int capture_type);
/// Stops the detector and detaches the callback, with the same limits as cri_sm_cad_service_stop.
CRI_API int cri_sm_vpd_service_stop(void);
/// Suspends the detector; the callback stays attached.
CRI_API int cri_sm_vpd_service_pause(void);
/// Continues the detector.
/// @param capture_type  the service's capture type, handed on unchanged
CRI_API int cri_sm_vpd_service_resume(int capture_type);

/* ---- Capture settings ----
 *
 * Each returns CRI_ERROR_NONE when the service answered, whatever the answer holds, and
 * CRI_ERROR_OPERATION_FAILED without an answer or a connection. */

/// Sets the resolution by the service's resolution code.
CRI_API int cri_sm_service_res_change(int resolution);
/// Sets the capture speed.
CRI_API int cri_sm_service_cs_change(int capture_speed);
/// Sets width and height, in the service's own units, with orientation 0.
CRI_API int cri_sm_service_set_resolution_wh(int width, int height);
/// Sets orientation, width and height, in the service's own units.
CRI_API int cri_sm_service_set_resolution_orientation_wh(int orientation, int width, int height);

#ifdef __cplusplus
}
#endif

#endif
