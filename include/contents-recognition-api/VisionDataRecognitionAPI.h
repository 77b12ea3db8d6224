/// The vision-data client: control of the logo analysis, and what it finds on the picture.
#ifndef VISION_DATA_RECOGNITION_API_H
#define VISION_DATA_RECOGNITION_API_H

#include <glib.h>
#include <stdint.h>

#include <functional>
#include <string>
#include <vector>

#include "cri_types.h"

class VisionDataRecognitionAPI;
namespace cri {
struct VisionDataState;
}

/// One detected logo or icon, in the service's own units and figures, passed on unchanged. A value
/// that is missing from the service's document, or that cannot be converted, reads 0; the record is
/// delivered all the same.
struct LogoIconInfo {
    uint32_t left;  ///< edges of the detection box
    uint32_t top;
    uint32_t right;
    uint32_t bottom;
    float score;        ///< the score that the service gives the detection
    uint32_t class_id;  ///< the service's number of the logo's or icon's class
};

/// One result of the analysis, made of one JSON document of the service. A text that is missing
/// from the document, or that cannot be converted, is empty; the record is delivered all the same.
///
/// A document that cannot be parsed, or is not of the type "AnalyzeResult", is dropped with the log
/// line "Unknown Data". One without an "analyze_result" object, or without a
/// "mobile_usage_analysis" in that, is dropped and logged as well.
struct MOBILE_USAGE {
    /// Where the text on the picture is, in the service's own units; 0 where the service does not
    /// say.
    struct TextRegion {
        uint32_t left;
        uint32_t top;
        uint32_t right;
        uint32_t bottom;
    };

    std::string AppName;
    std::string ContentsStatus;
    std::string TitleName;
    std::vector<LogoIconInfo> logo_icon;
    TextRegion text_roi = TextRegion();
};

/// Names one subscription. A plain value that the application owns; copies are independent.
class CRI_API SubscriptionHandle {
  public:
    /// A handle of no subscription.
    SubscriptionHandle();
    SubscriptionHandle(unsigned long long id, VisionDataRecognitionAPI* owner);

    unsigned long long m_id;
    VisionDataRecognitionAPI* m_pOwner;  ///< the object that made it
    bool m_bValid;                       ///< until it is passed to Unsubscribe
};

/// Drives the logo analysis of the vision-data recognition service (VDRS) and hands out its
/// results. There is one object per process, made when the library is loaded.
///
/// Every operation may be called from any thread and from inside a callback; none throws. Requests
/// go into a message file and are not answered: one counts as sent when the file was opened for it,
/// and a write that fails then is only logged. An operation that connects the channel first may
/// take up to 2 s for that, and goes on also when the channel cannot be connected. A thread that is
/// cancelled inside an operation ends in a callback or after the operation. In a child made by fork
/// the channel is disconnected; the subscriptions are there.
class CRI_API VisionDataRecognitionAPI {
  public:
    typedef std::function<void(const MOBILE_USAGE&)> LogoIconCallback;

    static VisionDataRecognitionAPI* GetInstance();
    /// Runs when the process exits and ends the subscriptions. It neither stops the analysis nor
    /// disconnects the channel.
    ~VisionDataRecognitionAPI();
    VisionDataRecognitionAPI(const VisionDataRecognitionAPI&) = delete;
    VisionDataRecognitionAPI& operator=(const VisionDataRecognitionAPI&) = delete;

    /// Connects the message-file channel unless it is connected; see VDRS_Client_Inotify_Connect.
    /// @return true when it is connected or was initialised before. False when it cannot be
    ///         connected; it counts as initialised until Finalize all the same, and the next call
    ///         tries again
    bool Initialize();

    /// Disconnects the channel, waiting at most 2 s for a callback that is running; see
    /// VDRS_Client_Inotify_Disconnect. The subscriptions stay.
    /// @return true when its thread has ended, and when it was not initialised. False when the
    ///         thread cannot be waited for: from inside a callback, and when one runs for more than
    ///         2 s. That callback may still run, also beside new ones after a new Initialize, so
    ///         what it uses must stay; nothing else is delivered any more. A second call gives true
    ///         and does not wait, also while the first one still does
    bool Finalize();

    /// Starts the analysis, or continues it after a pause; connects the channel first. Creates the
    /// busy marker "/run/user/5001/org.olvex.contents-recognition-api.busy" when it is missing, and
    /// sends the user's agreement to the use of viewing information along.
    /// @param method       "vdrs_method_ld_start" or "vdrs_method_ld_resume"; with another one
    ///                     nothing is written
    /// @param captureType  the caller's capture type: 1 and 10000 become 5, 2 and 10001 become 3,
    ///                     others are handed on unchanged
    /// @return true when the request was sent. False when the analysis is started already, the
    ///         marker cannot be created or is reached through a link, or `method` is null: nothing
    ///         is sent then. False also when the request file cannot be opened: the analysis counts
    ///         as started all the same
    bool StartAnalyze(const char* method, int captureType);

    /// Ends the analysis, or suspends it. Removes the busy marker, with a shell command and a sync
    /// of the file systems, also when the request could not be sent.
    /// @param method  "vdrs_method_ld_stop" (always sent) or "vdrs_method_ld_pause" (refused when
    ///                the analysis is not started)
    /// @return true when the request was sent; false when it was refused, the request file cannot
    ///         be opened, or `method` is null
    bool StopAnalyze(const char* method);

    /// Changes the capture type of a started analysis.
    /// @param captureType  as for StartAnalyze
    /// @return true when the request was sent; false when the analysis is not started or the
    ///         request file cannot be opened
    bool ChangeAnalyze(int captureType);

    /// Asks the service for a result.
    /// @param result   left unchanged: the result comes to the subscribers
    /// @param request  goes to the log only; may be null
    /// @return true, also when the request could not be sent: the log tells
    bool Request(std::string& result, const char* request);

    /// Subscribes to the results; connects the channel first. Results come only while the analysis
    /// runs. Callbacks run on the channel's notification thread, one after another in the order of
    /// their ids, with no lock of the library held. Beside them run those that the application
    /// causes on a thread of its own, with ReceiveLogoIconData, VDRS_Client_Notification_Process or
    /// VDRS_Client_Notification_Thread, and one that still runs after a Finalize that gave false.
    /// They may call any operation: one that is ended before its turn is not called, one that is
    /// added is called from the next result on. What they throw is dropped; an empty one is
    /// skipped.
    /// @param callback  moved in, and destroyed when the subscription has ended and no result is
    ///                  being handed out any more, or later when memory is short; on whichever
    ///                  thread comes last. The record that it is given stays valid during the call,
    ///                  and after it until the next record replaces it: copy what is to be kept
    /// @return the handle, valid also when the channel could not be connected; ids start at 1 and
    ///         are never used twice. When memory runs out, a handle that is not valid: nothing is
    ///         subscribed then
    SubscriptionHandle SubscribeLogoIconInfo(LogoIconCallback callback);

    /// Ends a subscription; a valid handle of this object is no longer valid afterwards. A call of
    /// its callback that another thread is in, or about to begin, is not waited for; no other
    /// follows. Needs no memory.
    /// @return true when a subscription was removed; false for a handle that is not valid or is
    ///         another object's, or when another copy of it has ended the subscription
    bool Unsubscribe(SubscriptionHandle& handle);

    /// Keeps a copy of the record, which replaces the last one, and calls every subscriber with the
    /// copy, on the calling thread. The channel does this with each result; an application may do
    /// it with one of its own.
    void ReceiveLogoIconData(const MOBILE_USAGE& usage);

    static VisionDataRecognitionAPI s_Instance;  ///< what GetInstance returns

  private:
    VisionDataRecognitionAPI();

    /// The last id, the subscribers and the latest record, shared with the notification thread,
    /// which may deliver while the process exits.
    cri::VisionDataState& m_state;
};

/// Whether the channel is initialised and the analysis is started. Exported for inspection; the
/// library reads and writes them atomically, an application does not write them.
extern CRI_API bool bLDInit;
extern CRI_API bool bLDStart;

/// Where a start takes the values of the current input source from.
class CRI_API VDRAPIProvider {
  public:
    /// What m_pInstance points to, which is made when it is null, and never destroyed. May be
    /// called from any thread.
    /// @return never null
    static VDRAPIProvider* GetInstance();

    /// The current input source: on this set always -1, 0 and "unknown".
    /// @return 1
    int Getcurrentsource(int& bHDMI, int& deviceType, std::string& deviceName);

    static VDRAPIProvider* m_pInstance;  ///< null until the first GetInstance
};

/// A mutex for the library's users; the library takes none of them. Not recursive.
class CRI_API VDRLocker {
  public:
    VDRLocker();
    ~VDRLocker();
    VDRLocker(const VDRLocker&) = delete;
    VDRLocker& operator=(const VDRLocker&) = delete;

    void Lock();
    void Unlock();

  private:
    GMutex m_mutex;
};

/// Holds a VDRLocker for as long as it lives.
class CRI_API AutoLock {
  public:
    AutoLock(VDRLocker& locker);
    ~AutoLock();
    AutoLock(const AutoLock&) = delete;
    AutoLock& operator=(const AutoLock&) = delete;

  private:
    VDRLocker* m_pLocker;
};

/// Runs a command with /bin/sh and waits for its end, however long that takes.
/// @return the status as waitpid gives it; -1 when it could not be run or waited for, or for null
CRI_API int m_ExecuteShell(const char* command);

/// Deletes a path through the shell ("rm -rf"), which reads the path as it reads any command line,
/// and syncs the file systems.
/// @return 1 whatever became of it, also for null or when the command would be longer than 511
///         characters: nothing is deleted then, and an error is logged
CRI_API int DelFiles(char* path);

/// Whether a path exists; a link is followed.
/// @return 1 when it exists; 0 otherwise, or for null
CRI_API int FileExist(char* path);

#endif
