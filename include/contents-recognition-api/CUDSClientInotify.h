/// The message-file channel to the contents-UI detection service (CUDS).
///
/// ContentsUIDetectionAPI connects, disconnects and sends through it; applications seldom need it
/// themselves. Requests are written into "/run/user/5001/cuds_c2s_msg". Results are read from
/// "/run/user/5001/cuds_s2c_msg" by one notification thread, which waits for changes without
/// polling and takes none of the process's signals. Every function may be called from any thread
/// and from inside a result callback; none throws. A thread that is cancelled inside one ends in a
/// callback or after the function.
///
/// In a child made by fork the channel is disconnected, and may be connected anew. A child that is
/// made in a callback inherits the notification thread's blocked signals; when the callback returns
/// there, the child's thread ends, and with its last thread the child.
#ifndef CUDS_CLIENT_INOTIFY_H
#define CUDS_CLIENT_INOTIFY_H

#include <string>

#include "cri_types.h"

/// Prepares one message file: creates it when it is missing, truncates it and writes one test line.
/// All processes share the file: what others have written into it and nobody has read is lost. A
/// file that is reached through a symbolic link is left alone, unless it lies at the same path
/// below the working directory; a link that leads nowhere is followed, and its target is created.
/// @param fileName  name within "/run/user/5001/"; the whole path is cut to 255 characters
/// @return 1 when the file was written or left alone; -2 when it cannot be written, or `fileName`
///         is null
CRI_API int CUDSInotifyInit(const char* fileName);

/// Prepares both message files and starts the notification thread. When it is not connected yet, it
/// thereby truncates both files: requests and results of other processes that have not been read
/// are lost, and those who watch the files read a test line. On return the results file is being
/// watched, or the log says why not; the wait for that is 2 s at the most. A results file that is
/// replaced by another is not heard until a disconnect and a new connect.
/// @return 1 when connected, also when that was so before; -2 when a file cannot be prepared or the
///         thread cannot be started
CRI_API int CUDSClientInotifyConnect();

/// Ends the notification thread and waits for it, and wakes the threads that run its body beside
/// it. None of them hands out the records that are still in the file. The channel is disconnected
/// afterwards whatever the result; a new connect hands out new results at once.
/// @return 1 when the thread has ended, and when the channel was disconnected before. -3 when it
///         could not be waited for: on that thread itself, inside a result callback, or when a
///         callback holds it up for more than 2 s. That callback may still run, then also beside
///         those of a new connect, and what it uses must stay; the thread calls nobody after it
///         and ends with it
CRI_API int CUDSClientInotifyDisconnect();

/// The notification thread's body, for a thread of the application: watches the results file beside
/// the notification thread and calls the result callback on the calling thread, until the channel
/// is disconnected. A disconnect wakes the thread but does not wait for it. Needs some 70 KiB of
/// stack and what CUDSClientNotificationProcess needs. While it waits the thread cannot be
/// cancelled.
/// @param arg  not read
/// @return null: at once when the channel is not connected or the file cannot be watched, as the
///         log says
CRI_API void* CUDSClientNotificationThread(void* arg);

/// Reads the results file once and calls the result callback, on the calling thread, for each
/// record in it. The notification thread does this after every change. Inside a callback it hands
/// out the same records again: a callback that always calls it never comes to an end. A thread with
/// a stack of 128 KiB can run it with ContentsUIDetectionAPI's own parser, unless a document is
/// nested many levels deep.
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

/// Sets what is called with each result's JSON line, with no lock held; null for nothing. It runs
/// on the notification thread and on any thread that calls CUDSClientNotificationProcess or the
/// thread's body, so that calls may overlap. The newline is included, except in the last line of a
/// file that does not end with one, and where the line is cut: at a NUL byte, or after 19998
/// characters. What the callback throws is dropped. It stays set when the channel is disconnected.
/// ContentsUIDetectionAPI sets its own at every subscription.
/// @return 1
CRI_API int CUDSRegisterDetectionResultCallback(void (*callback)(std::string payload));

#endif
