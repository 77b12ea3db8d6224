/// The message-file channel to the contents-UI detection service (CUDS).
///
/// ContentsUIDetectionAPI connects, disconnects and sends through it; applications seldom need it
/// themselves. Requests are written into "/run/user/5001/cuds_c2s_msg"; results are read from
/// "/run/user/5001/cuds_s2c_msg" by one notification thread, which waits for changes without
/// polling. Every function may be called from any thread; none throws.
#ifndef CUDS_CLIENT_INOTIFY_H
#define CUDS_CLIENT_INOTIFY_H

#include <string>

#include "cri_types.h"

/// Prepares one message file of the directory: truncates it and writes one test line. A file that
/// is reached through a symbolic link is left alone.
/// @param fileName  name within the message directory
/// @return 1 when the file was written or left alone; -2 when it cannot be, or `fileName` is null
CRI_API int CUDSInotifyInit(const char* fileName);

/// Prepares both message files and starts the notification thread. On return the results file is
/// being watched, or the log says why not; the wait for that is bounded.
/// @return 1 when connected, also when that was so before; -2 when a file cannot be prepared or the
///         thread cannot be started
CRI_API int CUDSClientInotifyConnect();

/// Ends the notification thread. Called on that thread, from inside a result callback, it cannot
/// wait for it: the result is -3, and the thread delivers nothing more and ends with the callback.
/// A callback that holds the thread up for more than 2 s is not waited for either; that is a
/// success.
/// @return 1 when disconnected, also when that was so before; -3 when the thread could not be
/// joined
CRI_API int CUDSClientInotifyDisconnect();

/// The notification thread's body, exported with the interface; an application has no use for it.
/// @return null
CRI_API void* CUDSClientNotificationThread(void* arg);

/// Reads the results file once and calls the result callback on the calling thread for each record
/// in it. The notification thread does this after every change.
/// @return 1 when the file was read; -3 when it cannot be resolved or opened, or is no regular file
CRI_API int CUDSClientNotificationProcess();

/// Writes a request of four values over the start of the request file. Needs no connection.
/// @return 1 when the file was opened, also when the write failed then; -3 when it cannot be, or
/// `method`
///         is null
CRI_API int CUDSClientInotifySend(const char* method, int value1, int value2, int value3,
                                  int value4);

/// The same with one value, the pointer as an unsigned number.
CRI_API int CUDSClientInotifySend(const char* method, void* value);

/// Sets what is called with each result's JSON line, its newline included, on the notification
/// thread; null for nothing. Stays set when the channel is disconnected. ContentsUIDetectionAPI
/// sets its own at every subscription.
/// @return 1
CRI_API int CUDSRegisterDetectionResultCallback(void (*callback)(std::string payload));

#endif
