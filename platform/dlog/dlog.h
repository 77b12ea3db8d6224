/// The platform's logging service, as far as the library and its tools use it.
///
/// The stand-in writes to the file that was standard error when it was loaded, as long as it is
/// that, and to nothing else: in a program that was started with it closed, or has put another file
/// in its place, it is silent.
#ifndef CRI_PLATFORM_DLOG_H
#define CRI_PLATFORM_DLOG_H

#ifdef __cplusplus
extern "C" {
#endif

typedef enum log_priority {
    DLOG_DEBUG = 3,
    DLOG_INFO = 4,
    DLOG_WARN = 5,
    DLOG_ERROR = 6,
    DLOG_SILENT = 8
} log_priority;

/// Log buffers of the platform; the stand-in writes all of them to standard error.
typedef enum log_id_t { LOG_ID_MAIN = 0, LOG_ID_RADIO = 1, LOG_ID_SYSTEM = 2 } log_id_t;

/// Writes one message to the main buffer. Callable from any thread and at any time, also before and
/// after the static objects of the process live.
///
/// @return the number of bytes written; 0 for a message below the threshold, or without a standard
///         error to write to; -1 on failure
__attribute__((format(printf, 3, 4))) int dlog_print(log_priority priority, const char* tag,
                                                     const char* format, ...);

/// The same for a named buffer.
__attribute__((format(printf, 4, 5))) int __dlog_print(log_id_t buffer, int priority,
                                                       const char* tag, const char* format, ...);

/// Stand-in only: messages below `priority` are dropped before they are formatted. The threshold at
/// start is that of the environment variable CRI_DLOG_THRESHOLD (D, I, W, E or S for none at all),
/// and E without it.
void dlog_set_threshold(int priority);

#ifdef __cplusplus
}
#endif

#endif
