/// The message-file channel to the contents-UI detection service (CUDS).
///
/// ContentsUIDetectionAPI connects, disconnects and sends through it; applications seldom need it
/// themselves. Requests are written into "/run/user/5001/cuds_c2s_msg". Results are read from
/// "/run/user/5001/cuds_s2c_msg" by one notification thread, which waits for changes without
/// polling and takes none of the process's signals. Every function may be called from any thread
/// and from inside a result callback; none throws.
#ifndef CUDS_CLIENT_INOTIFY_H
#define CUDS_CLIENT_INOTIFY_H

#include <string>

#include "cri_types.h"

/// Prepares one message file: creates it when it is missing, truncates it and writes one test line.
/// A file that is reached through a symbolic link is left alone.
/// @param fileName  name within "/run/user/5001/"
/// @return 1 when the file was written or left alone; -2 when it cannot be written, or `fileName`
///         is null
CRI_API int CUDSInotifyInit(const char* fileName);

/// Prepares both message files and starts the notification thread. On return the results file is
/// being watched, or the log says why not; the wait for that is 2 s at the most.
/// @return 1 when connected, also when that was so before; -2 when a file cannot be prepared or the
///         thread cannot be started
CRI_API int CUDSClientInotifyConnect();

/// Ends the notification thread and waits for it. Called on that thread, from inside a result
/// callback, it cannot wait: the result is -3. A callback that holds the thread up for more than
/// 2 s is left to itself: the result is 1. Either way the thread calls nobody any more, and ends
/// with the callback.
/// @return 1 when disconnected, also when that was so before; -3 on the notification thread itself
CRI_API int CUDSClientInotifyDisconnect();

/// The notification thread's body, exported with the interface. On any other thread it does
/// nothing.
/// @param arg  not read
/// @return null
CRI_API void* CUDSClientNotificationThread(void* arg);

/// Reads the results file once and calls the result callback, on the calling thread, for each
/// record in it. The notification thread does this after every change.
/// @return 1 when the file was read; -3 when it cannot be resolved or opened, or is no regular file
CRI_API int CUDSClientNotificationProcess();

/// Writes a request of four values over the start of the request file, which is created when it is
/// missing. A request is cut after 499 characters. Needs no connection.
/// @return 1 when the file was opened: a write that fails then is only logged; -3 when the file
///         cannot be opened, or `method` is null
CRI_API int CUDSClientInotifySend(const char* method, int value1, int value2, int value3,
                                  int value4);

/// The same with one value, the pointer as an unsigned number.
CRI_API int CUDSClientInotifySend(const char* method, void* value);

/// Sets what is called with each result's JSON line, its newline included, on the notification
/// thread and with no lock held; null for nothing. Of a line of more than 19998 characters it gets
/// that many. What the callback throws is dropped. It stays set when the channel is disconnected.
/// ContentsUIDetectionAPI sets its own at every subscription.
/// @return 1
CRI_API int CUDSRegisterDetectionResultCallback(void (*callback)(std::string payload));

#endif
