/// The recognition service's client: what the set is showing, its change events and black-screen
/// reports.
///
/// What holds for every operation of CContentsRecognitionAPI:
///  - The first operation connects to the system bus; the connection stays until the process ends.
///    If it breaks, the process lives on and what needs the bus fails: no second one is made. A
///    subscription is refused then (id 0), and the rest of its operation is done all the same.
///  - Connecting needs some free file descriptors, and each call and subscription one. Without them
///    the operation fails and says so in the log; the next one tries again.
///  - In a child that was forked without exec from a process that had connected, what needs the bus
///    fails at once, as without a connection: the bus library does not work there.
///  - Every call to the service blocks its caller for up to 2000 ms. Connecting, once per process,
///    waits for the bus library: a service that owns its name and does not even answer for its
///    properties delays it by that library's own limit of 25 s.
///  - Every operation may be called from any thread and from inside any callback of the library.
///    The operations are serialised by one lock, except those that say that they take none: an
///    operation waits until those of other threads are done.
///  - Signals reach their callbacks on the thread that iterates the GLib main context that was the
///    thread-default one of the subscribing thread. The library runs no main loop: without one of
///    the application's, no callback comes. Signals wait then; after 5 s a line in the log says so,
///    once a process. No lock of the library is held while a callback runs.
///  - Nothing throws. What a callback throws is dropped. A thread that is cancelled inside an
///    operation is cancelled after it, or in a callback that the operation calls.
///  - A signal whose body is not of the expected type, or whose event is none of 1 to 11, is
///    dropped. A reply of another type counts as a failure where an operation reads it.
#ifndef CONTENTS_RECOGNITION_API_H
#define CONTENTS_RECOGNITION_API_H

#include <stdint.h>

#include <functional>
#include <map>
#include <string>

#include "cri_types.h"

// The bus library's types, so that this header needs none of its headers.
typedef struct _GDBusConnection GDBusConnection;
typedef struct _GDBusProxy GDBusProxy;
typedef struct _GVariant GVariant;

/// Events of the recognition service: index of the slot tables and of
/// CONTENTS_RECOGNITION_EVENTS_STR.
enum CONTENTS_RECOGNITION_EVENTS : int {
    CONTENTS_RECOGNITION_EVENT_UNKNOWN = 0,         ///< refused by every subscribe operation
    CONTENTS_RECOGNITION_EVENT_LINEAR_CHANNEL = 1,  ///< changed event
    CONTENTS_RECOGNITION_EVENT_OTT = 2,             ///< changed event
    CONTENTS_RECOGNITION_EVENT_YOUTUBE = 3,         ///< changed event
    CONTENTS_RECOGNITION_EVENT_UI123 = 4,           ///< changed event
    CONTENTS_RECOGNITION_EVENT_OPTKEY = 5,          ///< changed event
    CONTENTS_RECOGNITION_EVENT_VODAPP = 6,          ///< changed event
    CONTENTS_RECOGNITION_EVENT_RESERVED = 7,       ///< has no signal: no subscription of it is live
    CONTENTS_RECOGNITION_EVENT_SM_VPD_STATUS = 8,  ///< video-play detector
    CONTENTS_RECOGNITION_EVENT_SM_CAD_STATUS = 9,  ///< content-area detector
    CONTENTS_RECOGNITION_EVENT_STATUS_CHANGED = 10,  ///< changed event
    CONTENTS_RECOGNITION_EVENT_CUDS_STARTSTOP = 11,  ///< UI detection is to start or stop
    CONTENTS_RECOGNITION_EVENT_MAX = 12              ///< count mark, refused like 0
};

/// The D-Bus signal member name of each event. CONTENTS_RECOGNITION_EVENT_RESERVED has one blank in
/// its place.
extern CRI_API const char* const CONTENTS_RECOGNITION_EVENTS_STR[13];

/// Exported with the interface; -1 at load. No operation reads or writes it: ask
/// CContentsRecognitionAPI::GetCurrentRecognitionStatus instead.
extern CRI_API int currentRecognitionStatus;

/// One report of the black-screen engine.
struct cri_bs_info_s {
    bool is_solid;      ///< the picture is one solid colour
    double solid_prob;  ///< probability of that, in the service's own unit
    uint8_t major_red;  ///< main colour; of what the service sends, the low 8 bits
    uint8_t major_green;
    uint8_t major_blue;
    bool is_real_black;  ///< the solid colour is true black
};

/// The recognition service's client. All members are static; the class has no instance.
class CRI_API CContentsRecognitionAPI {
  public:
    /// Called with the status that a changed event carries, as the service sends it, and the
    /// subscriber's own pointer.
    typedef void (*ChangedCallback)(CRS_EVENT_TYPE status, void* userData);
    /// Called with a video-play-detector status, as the service sends it, and the starter's own
    /// pointer.
    typedef void (*VideoPlayCallback)(SM_VPD_STATUS status, void* userData);
    /// Called with a content-area report, as the service sends it and in its own units, and the
    /// starter's own pointer.
    typedef void (*ContentAreaCallback)(SM_SCREEN_STATUS mode, int x, int y, int width, int height,
                                        void* userData);
    /// Called with a black-screen report.
    typedef std::function<void(cri_bs_info_s)> BlackScreenCallback;

    /// @name Connection
    /// @{

    /// Connects to the system bus and makes the recognition service's proxy, unless that is done
    /// already. Every other operation does this itself. Does not take the operations' lock: it
    /// waits for nobody but another thread that is connecting, and both get the same connection.
    /// The service itself need not run.
    /// @return true when both exist, also when the connection has broken since; false otherwise:
    ///         each further call makes one more attempt
    static bool InitService();

    /// @}
    /// @name Queries
    ///
    /// Each asks the recognition service once (up to 2000 ms) and caches nothing; what it hands out
    /// is the service's own, unchanged. The `m_` form of a query does the same without taking the
    /// lock, so that it does not wait for other operations.
    ///
    /// @return true when the service answered as expected. On an error answer, no answer in time or
    ///         an answer of another type: false, and the text is "Unknown", the number 0, the flag
    ///         false. Without a connection: false, and the out-parameters are untouched
    /// @{

    /// Current contents information, as the service words it.
    static bool GetCurrentContentsInfo(std::string& text);
    static bool m_GetCurrentContentsInfo(std::string& text);
    /// Name of the channel shown.
    static bool GetCurrentChannelName(std::string& text);
    static bool m_GetCurrentChannelName(std::string& text);
    /// Number of the channel shown, as text ("7-1").
    static bool GetCurrentChannelNumber(std::string& text);
    static bool m_GetCurrentChannelNumber(std::string& text);
    /// Title of the programme shown.
    static bool GetCurrentProgramTitle(std::string& text);
    static bool m_GetCurrentProgramTitle(std::string& text);
    /// Where the programme title comes from.
    static bool GetCurrentProgramTitleSource(std::string& text);
    static bool m_GetCurrentProgramTitleSource(std::string& text);
    /// Screen status, in the service's own coding.
    static bool GetCurrentScreenStatus(int& status);
    static bool m_GetCurrentScreenStatus(int& status);
    /// Whether channels are being scrolled through.
    static bool GetChannelScrollStatus(bool& scrolling);
    static bool m_GetChannelScrollStatus(bool& scrolling);

    /// Recognition status from the platform's key-value store (key
    /// "db/Canalysis-service/recognition_status"); 0 when the key cannot be read.
    /// @return true whenever there is a connection
    static bool GetCurrentRecognitionStatus(int& status);
    static bool m_GetCurrentRecognitionStatus(int& status);

    /// These four states are 0 on this set; nothing is asked of the service.
    /// @return true whenever there is a connection
    static bool GetUIStatus(int& status);
    static bool m_GetUIStatus(int& status);
    static bool GetUI123Status(int& status);
    static bool m_GetUI123Status(int& status);
    static bool GetVODAppUIStatus(int& status);
    static bool m_GetVODAppUIStatus(int& status);
    static bool GetVODAppType(int& type);
    static bool m_GetVODAppType(int& type);

    /// Channel number with four further values, whose meaning is the service's own. Takes no lock.
    /// @return true when the service answered as expected; otherwise false, `numberText` is
    ///         "Unknown" and the other four are untouched (all five without a connection)
    static bool GetCurrentChannelNumberWithInfo(std::string& numberText, int& firstValue,
                                                std::string& secondText, int& secondValue,
                                                bool& flag);

    /// @}
    /// @name Change events
    /// @{

    /// Subscribes one changed event. The event number in a signal's body says whose callback is
    /// called.
    ///
    /// Subscribing an event again replaces its callback and its user data, for every live
    /// subscription of it: without an end of the first, each signal is delivered twice. A signal
    /// that another thread is dispatching during the change goes to the old callback with the old
    /// user data, or to the new with the new.
    /// @param event     CONTENTS_RECOGNITION_EVENT_LINEAR_CHANNEL (1) to
    ///                  CONTENTS_RECOGNITION_EVENT_CUDS_STARTSTOP (11). 8, 9 and 11 are for the
    ///                  operations that start them: subscribed here they deliver nothing, and take
    ///                  the event's id and user data from those operations
    /// @param callback  replaces the earlier one, and stays after UnsubscribeEvent; with null,
    ///                  signals of the event are dropped
    /// @param userData  handed back unchanged; not owned
    /// @return the subscription id for UnsubscribeEvent; 0 when the subscription is refused (event
    ///         7, or a connection that has closed); -1 for another event, without a connection, or
    ///         without a free descriptor or memory
    static int SubscribeEvent(CONTENTS_RECOGNITION_EVENTS event, ChangedCallback callback,
                              void* userData);

    /// Ends a subscription. A signal that another thread is already dispatching may still reach the
    /// callback.
    /// @param subscriberId  from SubscribeEvent, or of m_subscriberID; any other is left alone, be
    ///                      it a subscription of the bus library that somebody else has made
    /// @return true for any id, known or not; false without a connection
    static bool UnsubscribeEvent(unsigned int subscriberId);

    /// Attaches the signal of event 8 or 9 to its own handler, after ending the event's earlier
    /// subscription. The callback called is sm_vpd_cb or sm_cad_cb, which the start operations set:
    /// an application calls those. Takes no lock and is not for two threads at once.
    /// @param userData  handed back unchanged; not owned
    /// @return true when attached, also when the subscription is refused because the connection has
    ///         closed; false for another event, without a connection, or without a free descriptor
    ///         or memory
    static bool SubscribeSMEvent(CONTENTS_RECOGNITION_EVENTS event, void* userData);

    /// @}
    /// @name Black-screen reports
    /// @{

    /// Subscribes to the black-screen engine's reports. Every subscription holds one reference on
    /// the engine, which runs while references are held. All callbacks come on one thread: the main
    /// context is that of the thread that made the process's first subscription, even one that the
    /// service did not confirm.
    ///
    /// A process that has called this waits at exit for the operation that is under way on another
    /// thread, 3 s at the most, before it destroys the callbacks that are left. Other processes do
    /// not wait.
    /// @param callback  called with each report, in ascending order of the ids, perhaps before this
    ///                  returns; moved in, and destroyed after the unsubscription, with no lock
    ///                  held. Every report calls this one object, never a copy of it. It may
    ///                  subscribe and unsubscribe, itself included. A subscription removed while a
    ///                  report is being dispatched may still get that report
    /// @return an id of 0 or more for UnsubscribeBlackScreenEvent, never used twice in a process;
    ///         -1 when the callback is empty (the engine is not asked then), without a connection,
    ///         a free descriptor or memory, or when the service does not confirm the reference
    static int SubscribeBlackScreenEvent(BlackScreenCallback callback);

    /// Ends a subscription and gives its reference back.
    /// @return true when it was removed; false when there is none of that id, without a connection,
    ///         or when the service does not confirm (the subscription stays then)
    static bool UnsubscribeBlackScreenEvent(int id);

    /// Asks the service for the period of the black-screen engine.
    /// @param periodMillis  receives milliseconds
    /// @return true when the service answered; otherwise false and `periodMillis` is untouched
    static bool GetBlackScreenPeriodMillis(int& periodMillis);

    /// @}
    /// @name Screen-monitor control
    ///
    /// Drives the capture engine that the recognition service hosts and its two detectors. Numbers
    /// are handed to the service unchanged, in its own codes and units. Each operation is one call
    /// to the service (up to 2000 ms). A detector's callback may call any operation, its own stop
    /// included. It may run before its start returns, also when that start then fails. Stop with
    /// the stop that matches the start: SMServiceStop leaves the logo detector of a
    /// SM_CADServiceStart running.
    ///
    /// @return true when the service answered, whatever the answer holds; false without an answer
    ///         or without a connection
    /// @{

    /// Starts the content-area detector without the logo detector; see SM_CADServiceStart. A start
    /// while the detector is started ends the earlier attachment first, so that no report comes
    /// twice and one stop ends all. A report that another thread is dispatching meanwhile goes to
    /// the old callback with the old user data, or to the new with the new. Reports that wait in
    /// the main context are lost. Without a connection nothing is stored; without an answer the
    /// callback stays attached until the stop.
    /// @param callback     called with each report; with null, reports are dropped
    /// @param userData     handed back unchanged; not owned
    /// @param captureType  the service's capture type, handed on unchanged
    static bool SMServiceStart(ContentAreaCallback callback, void* userData, int captureType);
    /// Stops the content-area detector and detaches its callback, also when the service does not
    /// answer. When another thread has started the detector anew meanwhile, that start stays
    /// attached. A report that the main loop's thread is already handing out may still be with the
    /// callback when the stop returns on another thread; no later one reaches it.
    static bool SMServiceStop();
    /// The same two for the video-play detector, which reports a status.
    /// @param captureType  the service's capture type, handed on unchanged
    static bool SM_VPDServiceStart(VideoPlayCallback callback, void* userData, int captureType);
    static bool SM_VPDServiceStop();
    /// Suspends and continues the video-play detector; its callback stays attached.
    /// @param captureType  the service's capture type, handed on unchanged
    static bool SM_VPDServicePause();
    static bool SM_VPDServiceResume(int captureType);
    /// Sets the capture speed.
    static bool SMServiceCSChange(int captureSpeed);
    /// Sets the capture resolution by the service's resolution code.
    static bool SMServiceResChange(int resolution);
    /// Sets the capture resolution by the service's orientation code, width and height.
    static bool SMServiceSetResolutionWH(int orientation, int width, int height);

    /// What the operations above and the content-area operations send. They take no lock and are
    /// for callers that do not run beside another operation.
    /// @param methodName   D-Bus method to call; with null, or no possible name of one: false
    /// @param value        handed to that method
    /// @param captureType  the service's capture type, handed on unchanged
    static bool m_SMServiceStart(const char* methodName, int value);
    static bool m_SMServiceStop(const char* methodName);
    static bool m_SMServiceChange(int captureType);
    static bool m_SMServiceCSChange(int captureSpeed);
    static bool m_SMServiceResChange(int resolution);
    static bool m_SMServiceSetResolutionWH(int orientation, int width, int height);

    /// @}
    /// @name Content-area detection
    ///
    /// Drives the content-area detector of the recognition service and then the logo detector of
    /// the vision-data service as one. The logo detector's results come to the subscribers of
    /// VisionDataRecognitionAPI. The second half runs whatever became of the first; how it went is
    /// only logged.
    ///
    /// The first half waits for the service up to 2000 ms. The second writes a message file, and
    /// takes the lock anew: another thread's operation may run between them. A start or a resume
    /// that finds the logo detector's channel unconnected waits up to 2000 ms more, for it to be
    /// watched. A stop or a pause deletes the busy marker, with a shell command and a sync of the
    /// file systems, for which other operations wait however long they take.
    ///
    /// @return true when the recognition service answered, whatever the answer holds; false without
    ///         an answer or a connection
    /// @{

    /// Starts both. Without a connection neither half runs. A second start with another capture
    /// type leaves the logo detector as it was, which is started already: use SMServiceChange.
    /// @param callback     as for SMServiceStart
    /// @param userData     as for SMServiceStart
    /// @param captureType  the service's capture type, for both; what the logo detector makes of it
    ///                     is said at VisionDataRecognitionAPI::StartAnalyze
    static bool SM_CADServiceStart(ContentAreaCallback callback, void* userData, int captureType);
    /// Stops both, and detaches the callback as SMServiceStop does.
    static bool SM_CADServiceStop();
    /// Suspends and continues both; the callback stays attached.
    /// @param captureType  as for SM_CADServiceStart
    static bool SM_CADServicePause();
    static bool SM_CADServiceResume(int captureType);
    /// Changes the capture type of both; of the logo detector only while it is started.
    /// @param captureType  as for SM_CADServiceStart
    static bool SMServiceChange(int captureType);

    /// The logo-detector half of each, which takes the lock itself. The result is that of
    /// VisionDataRecognitionAPI's operation.
    /// @param userData     not used
    /// @param captureType  as for SM_CADServiceStart
    static bool m_SM_LIDServiceStart(void* userData, int captureType);
    static bool m_SM_LIDServiceStop();
    static bool m_SM_LIDServicePause();
    static bool m_SM_LIDServiceResume(int captureType);
    static bool m_SM_LIDServiceChange(int captureType);

    /// @}
    /// @name UI-detection bridge
    ///
    /// Lets the recognition service start and stop UI detection: after CUDSRegist each of its
    /// start/stop signals is passed on to ContentsUIDetectionAPI, on the thread that iterates the
    /// main context of the registering thread. The signal's code 1 starts, any other one stops; its
    /// four further values are passed on unchanged.
    /// @{

    /// Connects the UI-detection channel (up to 2 s) and subscribes the start/stop signal. Each
    /// registration makes a subscription of its own; CUDSDeRegist ends the newest, and earlier ones
    /// stay. Connecting empties both message files, which all processes of the set share: a request
    /// or a result of somebody else's that is still in them is lost.
    /// @param userData  kept and not used
    /// @return true when subscribed, also when the channel could not be connected, or when the
    ///         subscription is refused because the bus connection has closed; false without a
    ///         connection to the bus, a free descriptor or memory: the channel stays connected then
    static bool CUDSRegist(void* userData);
    /// Disconnects the channel, waiting at most 2 s for a callback that is running, and ends the
    /// newest subscription. Other operations wait meanwhile. There is one channel a process: no
    /// subscriber of ContentsUIDetectionAPI hears anything until it is connected again.
    /// @param userData  not used
    /// @return true; false without a connection to the bus: the channel is disconnected all the
    ///         same
    static bool CUDSDeRegist(void* userData);

    /// The halves of the two above that deal with the signal. They take no lock, and their results
    /// are those of the two.
    /// @param event         CONTENTS_RECOGNITION_EVENT_CUDS_STARTSTOP; false for any other
    /// @param userData      kept and not used
    /// @param subscriberId  as for UnsubscribeEvent; true for any id, known or not
    static bool SubscribeCUDSEvent(CONTENTS_RECOGNITION_EVENTS event, void* userData);
    static bool UnsubscribeCUDSEvent(unsigned int subscriberId);

    /// @}
    /// @name Signal handlers, called by the bus library
    /// @{
    static void m_OnSignalContentsRecognitionChangedCB(
        GDBusConnection* connection, const char* senderName, const char* objectPath,
        const char* interfaceName, const char* signalName, GVariant* parameters, void* userData);
    static void m_OnSignalSMCB(GDBusConnection* connection, const char* senderName,
                               const char* objectPath, const char* interfaceName,
                               const char* signalName, GVariant* parameters, void* userData);
    static void m_SMVideoPlayDetectorEventReceiver(GDBusConnection* connection,
                                                   const char* senderName, const char* objectPath,
                                                   const char* interfaceName,
                                                   const char* signalName, GVariant* parameters,
                                                   void* userData);
    static void m_OnSignalCUDSCB(GDBusConnection* connection, const char* senderName,
                                 const char* objectPath, const char* interfaceName,
                                 const char* signalName, GVariant* parameters, void* userData);
    static void HandleBlackScreenInfoEvent(GDBusConnection* connection, const char* senderName,
                                           const char* objectPath, const char* interfaceName,
                                           const char* signalName, GVariant* parameters,
                                           void* userData);
    /// @}
    /// @name State of the process
    ///
    /// Exported for inspection; zero or null at load unless a line says otherwise. The library
    /// reads and writes the words atomically, the black-screen ones under its lock; an application
    /// does not write them.
    /// @{
    static GDBusConnection* m_connection;  ///< shared system-bus connection; never closed by us
    /// Target of every method call. Connect no handler to it: it would run under the library's
    /// lock, or on the bus library's own thread.
    static GDBusProxy* m_proxy;
    static unsigned int
        m_subscriberID[13];        ///< newest subscription id of each event, 0 for none yet
    static void* m_pUserData[13];  ///< newest user data of each event
    static ChangedCallback changed_cb[13];  ///< newest callback of each changed event
    static VideoPlayCallback sm_vpd_cb;     ///< video-play-detector callback; null when stopped
    static ContentAreaCallback sm_cad_cb;   ///< content-area callback; null when stopped
    static uint32_t
        s_BlackScreenSubscriber;             ///< bus subscription of the reports; all ones for none
    static int32_t s_BlackScreenCallbackId;  ///< the next subscription's id
    /// Callbacks of the live subscriptions by id; guarded by the library's lock.
    static std::map<int, BlackScreenCallback> s_BlackScreenCallbackMap;
    /// @}
};

#endif
