/*
 * ImsMcxSvc: base of the modem service clients. It waits for one modem
 * service on the messaging interface, carries the service-up and
 * service-error notifications from the interface's threads onto the event
 * loop through an eventfd of its own, and there calls the subclass's svcUp()
 * or modemDown(). Only one bring-up runs at a time in the whole process;
 * notifications that arrive meanwhile are queued and brought up afterwards,
 * on the loop thread, by the instance that was signalled.
 */
#ifndef IMSSERVICE_IMS_MCX_SVC_H
#define IMSSERVICE_IMS_MCX_SVC_H

#include <list>
#include <utils/Mutex.h>
#include <string>
#include <utility>

#include "mcx_client.h"

class ImsCom;

class ImsMcxSvc {
public:
    // Registers the eventfd with the loop and starts waiting for the service.
    // Call on the loop thread or before the loop runs. `name` may be null.
    // The wait starts here, so a service that is already up is announced
    // at once: a loop serving meanwhile on another thread could call svcUp()
    // before the subclass's constructor has finished.
    ImsMcxSvc(mcx_idl_service_object* svcObj, ImsCom& com, const char* name);

    // Subclass opens `client` and sets itself up. Loop thread.
    virtual void svcUp() = 0;

    // Stops the interface's callbacks, unregisters and closes the eventfd.
    // Loop thread, or after the loop has stopped.
    virtual ~ImsMcxSvc();

    // The service went away: releases `client`. Subclasses override it and
    // wait again with registerForMcxSvcUp(). Loop thread.
    virtual void modemDown();

    // Starts (or restarts) waiting for the service. Loop thread.
    void registerForMcxSvcUp();

    // Interface callbacks (the interface's threads); `data` is the instance.
    static void imsMcxNotifyCb(mcx_client_type client, mcx_idl_service_object_type svcObj,
                               mcx_client_notify_event_type event, void* data);
    static void imsMcxSvcErrorCb(mcx_client_type client, int error, void* data);

    // The loop's callback for the eventfd. Loop thread.
    static void handleImsSvcStatusEvent(int fd, void* data);

    // Brings the service up: svcUp() and the error callback. Loop thread.
    void handleImsSvcUpEvent();

protected:
    mcx_client_type client;                // the service connection, opened by svcUp()
    mcx_client_os_params notifierOsParams;
    mcx_client_os_params clientOsParams;   // for the subclass's client
    mcx_client_type notifier;              // watches for the service; null when none
    mcx_idl_service_object* svcObj;
    int fd;                                // carries status codes to the loop thread
    ImsCom* com;
    std::string name;

    // Status codes written to fd.
    static constexpr unsigned long kSvcUp = 1;
    static constexpr unsigned long kSvcError = 2;

    static android::Mutex svcMutex;
    static bool mcxSvcUpEventFlag GUARDED_BY(svcMutex);  // a bring-up is in progress
    // The instance whose eventfd was signalled for the bring-up in progress,
    // so that it can hand the bring-up on if it goes before the loop ran it.
    static ImsMcxSvc* mcxSvcUpEventOwner GUARDED_BY(svcMutex);
    static std::list<std::pair<void*, unsigned long>> mSvcUpQueue GUARDED_BY(svcMutex);

private:
    static void writeStatus(int fd, unsigned long status);
};

#endif  // IMSSERVICE_IMS_MCX_SVC_H
