/// The two families of log lines. A unit names itself with CRI_LOG_UNIT before it logs.
#pragma once

#include "dlog.h"

/// Lines of the recognition-service client, the UI-detection client and the CUDS channel: the full
/// format of a line, which is a literal; a line whose format comes from a table; and a line.
/// `function` is the name under which the line is documented.
#define CRI_FORMAT(text) "%s: %s(%d) > [%s:%d] " text
#define CRI_LOG_FORMAT(priority, function, format, ...)                             \
    dlog_print(priority, "CRI", format, CRI_LOG_UNIT, function, __LINE__, function, \
               __LINE__ __VA_OPT__(, ) __VA_ARGS__)
#define CRI_LOG(priority, function, text, ...) \
    CRI_LOG_FORMAT(priority, function, CRI_FORMAT(text) __VA_OPT__(, ) __VA_ARGS__)

/// The same for the vision-data client and the VDRS channel.
#define VDR_FORMAT(text) "%s: %s(%d) > " text
#define VDR_LOG_FORMAT(priority, function, format, ...) \
    dlog_print(priority, "VDR", format, CRI_LOG_UNIT, function, __LINE__ __VA_OPT__(, ) __VA_ARGS__)
#define VDR_LOG(priority, function, text, ...) \
    VDR_LOG_FORMAT(priority, function, VDR_FORMAT(text) __VA_OPT__(, ) __VA_ARGS__)
