/*
 * ImsMcxApplication: the client of the modem's IMS Application service. It
 * keeps one McxImsaClient per subscription, bound to it and registered for the
 * token-request indication, and turns that indication, the service's arrival
 * and its loss into ImsAppServiceData events for its one listener, always on
 * the event-loop thread.
 */
#ifndef RCSCONFIG_IMS_MCX_APPLICATION_H
#define RCSCONFIG_IMS_MCX_APPLICATION_H

#include <cstdint>
#include <functional>
#include <memory>

#include "imsservice/ImsComHandler.h"
#include "imsservice/ImsMcxSvc.h"
#include "mcx_client.h"

class McxImsaClient;

// Event for the listener, built on the stack and passed by reference.
struct ImsAppServiceData {
    static constexpr int32_t MODEM_UP = 2;
    static constexpr int32_t MODEM_DOWN = 3;
    static constexpr int32_t TOKEN_REQUEST = 4;

    int32_t event;
    int32_t subId;          // TOKEN_REQUEST only, else 0
    int32_t requestId;      // request_id of the indication, 0 when absent
    int32_t tokenType;
    int32_t requestReason;
};

// Record carried from the messaging library's threads to the loop thread.
struct imsaCallbackData_s {
    static constexpr int32_t CONNECTION_ERROR = 1;
    static constexpr int32_t INDICATION = 2;

    int32_t type;
    uint32_t msgId;   // 0x42, or 0 for an error
    void* data;       // decoded indication (calloc'ed), freed by handleEvent
    int32_t subId;    // subscription of the receiving connection, -1 for an error
    int32_t reserved; // always 0
};

class ImsMcxApplication : public ImsMcxSvc, public imsComHandler<imsaCallbackData_s> {
public:
    // Starts waiting for the service. Construct before the loop runs or on the
    // loop thread: the bring-up may call svcUp() on the loop at once.
    ImsMcxApplication(ImsCom& com, ImsTimer& timer);

    // Opens the service-wide connection and reports MODEM_UP. Loop thread.
    void svcUp() override;

    // Closes every connection. Loop thread, or after the loop has stopped.
    ~ImsMcxApplication() override;

    // Closes every connection, reports MODEM_DOWN and waits again. Loop thread.
    void modemDown() override;

    // Dispatches an indication or a connection error. Loop thread.
    void handleEvent(imsaCallbackData_s& ev) override;

    // Opens, binds and registers the connection of subscription 0 or 1; false
    // for any other. Loop thread (the manager calls it from its events).
    bool subscribeToSub(int sub);

    // Replaces / empties the listener. It must be set before the service can
    // come up. Loop thread, or before the loop runs.
    void registerServiceStatusListener(std::function<void(ImsAppServiceData&)> listener);
    void deRegisterServiceStatusListener();

    // Error callback of the service-wide connection (library thread).
    static void mcxErrorCb(mcx_client_struct* handle, int error, void* data);
    // Posts a record to the loop thread. Any thread.
    void processMcxCb(imsaCallbackData_s record);
    // The token-request branch of handleEvent for a caller-owned decoded
    // indication (not freed here). Loop thread.
    void processMcxInd(unsigned int msgId, unsigned char* data, unsigned char subId);

private:
    void notify(int32_t event);

    std::shared_ptr<McxImsaClient> mClients[3];  // by subscription; loop thread only
    std::function<void(ImsAppServiceData&)> mListener;
};

#endif  // RCSCONFIG_IMS_MCX_APPLICATION_H
