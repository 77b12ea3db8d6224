/// The message-file channel to the vision-data recognition service (VDRS).
///
/// VisionDataRecognitionAPI connects, disconnects and sends through it; applications seldom need it
/// themselves. Requests are written into "/run/user/5001/vdrs_c2s_msg". Results are read from
/// "/run/user/5001/vdrs_s2c_msg" by one notification thread, which waits for changes without
/// polling and takes none of the process's signals. Every function may be called from any thread
/// and from inside a result callback; none throws.
#ifndef VDRS_CLIENT_INOTIFY_H
#define VDRS_CLIENT_INOTIFY_H

#include <string>

#include "cri_types.h"

/// Starts the notification thread. On return the results file is being watched, or the log says why
/// not; the wait for that is 2 s at the most. The service has to have created the file: without it
/// the result is 1 all the same, and nothing comes before a disconnect and a new connect.
/// @return 1 when connected, also when that was so before; -2 when the thread cannot be started
CRI_API int VDRS_Client_Inotify_Connect();

/// Ends the notification thread and waits for it. Called on that thread, from inside a result
/// callback, it cannot wait: the result is -3. A callback that holds the thread up for more than
/// 2 s is left to itself: the result is 1. Either way the thread calls nobody any more, and ends
/// with the callback.
/// @return 1 when disconnected, also when that was so before; -3 on the notification thread itself
CRI_API int VDRS_Client_Inotify_Disconnect();

/// The notification thread's body, exported with the interface. On any other thread it does
/// nothing.
/// @param arg  not read
/// @return null
CRI_API void* VDRS_Client_Notification_Thread(void* arg);

/// Reads the results file once and calls the result callback, on the calling thread, for each
/// record in it. The notification thread does this after every change.
/// @return 1 when the file was read; -3 when it cannot be resolved or opened, or is no regular file
CRI_API int VDRS_Client_Notification_Process();

/// Writes a request that is its method alone over the start of the request file, which is created
/// when it is missing. A request is cut after 499 characters. Needs no connection.
/// @param arg  not read
/// @return 1 when the file was opened: a write that fails then is only logged; -3 when the file
///         cannot be opened, or `method` is null
CRI_API int VDRS_Client_Inotify_Send(const char* method, void* arg);

/// The same for the requests that carry values: "vdrs_method_ld_start" and "vdrs_method_ld_resume"
/// all five, "vdrs_method_ld_change" the capture mode. For any other method the file is opened and
/// nothing is written.
/// @param deviceName  a word without white space
CRI_API int VDRS_Client_Inotify_Send(const char* method, int viewing, int bHDMI, int deviceType,
                                     std::string deviceName, int captureMode);

/// Sets what is called with each result's JSON line, its newline included, on the notification
/// thread and with no lock held; null for nothing. Of a line of more than 1998 characters it gets
/// that many. What the callback throws is dropped. It stays set when the channel is disconnected.
/// VisionDataRecognitionAPI sets its own at every subscription.
/// @return 1
CRI_API int VDRS_Register_LD_Callback(void (*callback)(std::string payload));

#endif
