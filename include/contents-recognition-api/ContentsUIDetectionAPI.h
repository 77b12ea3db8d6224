/// The UI-detection client: elements found on the screen and the picture-in-picture mode.
#ifndef CONTENTS_UI_DETECTION_API_H
#define CONTENTS_UI_DETECTION_API_H

#include <stdint.h>

#include <functional>
#include <string>
#include <vector>

#include "cri_types.h"

class ContentsUIDetectionAPI;
namespace cri {
template <class Record>
class SubscriberList;
struct UiDetectionState;
}  // namespace cri

/// One detected UI element. The edges and the score are the service's own figures, in its own
/// units, passed on unchanged. A value that is missing from the service's document, or that cannot
/// be converted, reads 0; the list is delivered all the same.
struct _DETECTED_RESULT {
    float left;
    float top;
    float right;
    float bottom;
    float score;
    uint32_t class_id;  ///< the service's number of the element's class
};

/// The picture-in-picture state of one result, in the service's own coding and units. A value that
/// is missing from the service's document, or that cannot be converted, reads 0; the state is
/// delivered all the same.
struct _PIP_MODE_RESULT {
    int centerx;
    int centery;
    int on_off;
};

/// Names one subscription. A plain value that the application owns; copies are independent.
class CRI_API CUDASubscriptionHandle {
  public:
    /// A handle of no subscription.
    CUDASubscriptionHandle();
    CUDASubscriptionHandle(unsigned long long id, ContentsUIDetectionAPI* owner);

    unsigned long long m_id;
    ContentsUIDetectionAPI* m_pOwner;  ///< the object that made it
    bool m_bValid;                     ///< until it is passed to Unsubscribe
};

/// Drives the contents-UI detection service and hands out its results. One object per process,
/// which GetInstance returns, gets them.
///
/// Every operation may be called from any thread and from inside a callback; none throws. Callbacks
/// run on the channel's notification thread, one after another in the order of their ids, with no
/// lock of the library held. Beside them run those that the application causes on a thread of its
/// own, with Receive..., CUDSClientNotificationProcess or CUDSClientNotificationThread, and one
/// that still runs after a Finalize that gave false. What callbacks throw is dropped, and an empty
/// one is skipped. A subscription that is ended while a result is being handed out does not get it
/// if its turn has not come. A thread that is cancelled inside an operation ends in a callback or
/// after the operation.
///
/// The process has one channel: whoever disconnects it (Finalize, CUDSDeRegist of the
/// recognition-service client, CUDSClientInotifyDisconnect) silences every other subscriber. What
/// connects it when it is not connected (Initialize, a subscription, CUDSRegist,
/// CUDSClientInotifyConnect) truncates both message files, which all processes share, and writes a
/// test line into them; see CUDSClientInotifyConnect for what that costs others. In a child made by
/// fork the channel is disconnected; the subscriptions are there.
///
/// Each JSON document of the service is one result. A document that cannot be parsed, is not of the
/// type "ContentsUIdetection" or has no "result" object is dropped with the log line "There is no
/// analyze result".
class CRI_API ContentsUIDetectionAPI {
  public:
    typedef std::function<void(const std::vector<_DETECTED_RESULT>&)> DetectedCallback;
    typedef std::function<void(const _PIP_MODE_RESULT&)> PipModeCallback;

    /// The object that gets the service's results, made when the library is loaded and never
    /// destroyed: nobody deletes it.
    /// @return the same at every call; never null, unless memory ran out at load and still does
    static ContentsUIDetectionAPI* GetInstance();

    /// Makes another object, which an application does not need: its subscribers get only what is
    /// handed to its own Receive..., it refuses the handles of other objects, and its Initialize
    /// and Finalize act on the one channel. It belongs to who made it; some memory stays allocated
    /// when it is destroyed. Throws std::bad_alloc when memory runs out.
    ContentsUIDetectionAPI();
    /// Neither copied nor assigned: a copy would refuse the handles of the original, and the
    /// original those of the copy.
    ContentsUIDetectionAPI(const ContentsUIDetectionAPI&) = delete;
    ContentsUIDetectionAPI& operator=(const ContentsUIDetectionAPI&) = delete;

    /// Connects the message-file channel unless it is connected, which may take up to 2 s; see
    /// CUDSClientInotifyConnect.
    /// @return true when it is connected afterwards
    bool Initialize();

    /// Disconnects the channel, waiting at most 2 s for a callback that is running; see
    /// CUDSClientInotifyDisconnect. The subscriptions stay.
    /// @return true when its thread has ended, and when it was disconnected before. False when the
    ///         thread cannot be waited for: from inside a callback, and when one runs for more than
    ///         2 s. That callback may still run, also beside new ones after a new Initialize, so
    ///         what it uses must stay; nothing else is delivered any more. A second call gives true
    ///         and does not wait, also while the first one still does
    bool Finalize();

    /// Asks the service to start or stop its engine under four conditions, which are passed on
    /// unchanged: HDMI port of the input, whether a set-top box is on it, adaptive sound on or off,
    /// multiview on or off. The request goes into a message file and is not answered. Needs no
    /// Initialize.
    /// @return true, also when the request could not be written: the log tells
    bool StartAnalyze(int HDMIport, int isSTB, int adaptiveSoundOnOff, int multiviewonoff);
    bool StopAnalyze(int HDMIport, int isSTB, int adaptiveSoundOnOff, int multiviewonoff);

    /// Tells the service a new adaptive-sound setting, passed on unchanged; as above otherwise.
    /// @return true, also when the request could not be written: the log tells
    bool SetAdaptiveSoundOnOffChange(int adaptiveSoundOnOff);

    /// Subscribes to the lists of detected elements, or to the picture-in-picture states. Each
    /// result of the service brings one list (which may be empty) and then one state. Connects the
    /// channel first, which may take up to 2 s.
    /// @param callback  moved in, and destroyed when the subscription has ended and no result is
    ///                  being handed out any more, or later when memory is short; on whichever
    ///                  thread comes last. What it is given is valid during the
    ///                  call only
    /// @return the handle, valid also when the channel could not be connected; its id is unique
    ///         over both kinds. When memory runs out, a handle that is not valid: nothing is
    ///         subscribed then
    CUDASubscriptionHandle SubscribeDetectedCallback(DetectedCallback callback);
    CUDASubscriptionHandle SubscribePipModeCallback(PipModeCallback callback);

    /// Ends a subscription of either kind; a valid handle of this object is no longer valid
    /// afterwards. A call of its callback that another thread is in, or about to begin, is not
    /// waited for; no other follows. Needs no memory.
    /// @return true when a subscription was removed; false for a handle that is not valid or is
    ///         another object's, or when another copy of it has ended the subscription
    bool Unsubscribe(CUDASubscriptionHandle& handle);

    /// Hands a list, or a state, to its subscribers, on the calling thread. The channel does this
    /// with each result; an application may do it with one of its own, but for a callback whose
    /// connection has ended meanwhile: there nobody is called.
    void ReceiveDetectedResult(const std::vector<_DETECTED_RESULT>& results);
    void ReceivePipModeResult(const _PIP_MODE_RESULT& result);

    static ContentsUIDetectionAPI* s_pInstance;  ///< what GetInstance returns

  private:
    template <class Record>
    CUDASubscriptionHandle Subscribe(const char* function, cri::SubscriberList<Record>& subscribers,
                                     std::function<void(const Record&)>&& callback);

    /// Whether the channel is connected, the last id, and the subscribers of both kinds; never
    /// destroyed.
    cri::UiDetectionState& m_state;
};

/// Exported with the interface, 0 at load; no operation reads or writes them.
extern CRI_API int g_hdmiport;
extern CRI_API int g_isSTB;
extern CRI_API int g_ASPMenuOnOff;
extern CRI_API int g_MultiviewOnOff;

#endif
