#include "imsservice/ImsMcxSvc.h"

#include <sys/epoll.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstring>

#include "imsservice/ImsCom.h"
#include "imsservice/ImsLog.h"

android::Mutex ImsMcxSvc::svcMutex;
bool ImsMcxSvc::mcxSvcUpEventFlag = false;
ImsMcxSvc* ImsMcxSvc::mcxSvcUpEventOwner = nullptr;
std::list<std::pair<void*, unsigned long>> ImsMcxSvc::mSvcUpQueue;

ImsMcxSvc::ImsMcxSvc(mcx_idl_service_object* svcObj, ImsCom& com, const char* name)
    : client(nullptr), notifier(nullptr), svcObj(svcObj), fd(-1), com(&com) {
    std::memset(&notifierOsParams, 0, sizeof(notifierOsParams));
    std::memset(&clientOsParams, 0, sizeof(clientOsParams));
    if (name != nullptr) {
        this->name = name;
        IMS_LOG("ImsMcxSvc[%s]:  ", this->name.c_str());
    }
    fd = eventfd(0, EFD_NONBLOCK);
    IMS_LOG("ImsMcxSvc: mcximssvcfd : %d svcObj[x%x] ", fd,
            static_cast<unsigned int>(reinterpret_cast<uintptr_t>(svcObj)));
    com.addComEventHandler(fd, handleImsSvcStatusEvent, this, nullptr, EPOLLIN);
    registerForMcxSvcUp();
}

ImsMcxSvc::~ImsMcxSvc() {
    // The interface's callbacks write to fd and use this object: stop them
    // before the descriptor goes.
    if (notifier != nullptr) {
        mcx_client_release(notifier);
        notifier = nullptr;
    }
    if (client != nullptr) {
        mcx_client_release(client);
        client = nullptr;
    }
    {
        android::Mutex::Autolock lock(svcMutex);
        mSvcUpQueue.remove_if([this](const std::pair<void*, unsigned long>& e) { return e.first == this; });
        if (mcxSvcUpEventFlag && mcxSvcUpEventOwner == this) {
            // Our eventfd was signalled but the loop never ran the bring-up:
            // left set, the flag would queue every later watcher for good.
            // The first queued watcher takes the bring-up over through its own
            // eventfd, and with it the flag and the rest of the queue.
            mcxSvcUpEventFlag = false;
            mcxSvcUpEventOwner = nullptr;
            if (!mSvcUpQueue.empty()) {
                auto* next = static_cast<ImsMcxSvc*>(mSvcUpQueue.front().first);
                mSvcUpQueue.pop_front();
                mcxSvcUpEventFlag = true;
                mcxSvcUpEventOwner = next;
                writeStatus(next->fd, kSvcUp);
            }
        }
    }
    com->removeComEventHandler(fd);
    close(fd);
}

void ImsMcxSvc::modemDown() {
    if (client != nullptr) {
        mcx_client_release(client);
        client = nullptr;
    }
}

void ImsMcxSvc::registerForMcxSvcUp() {
    if (svcObj == nullptr) {
        IMS_LOG("ImsMcxSvc[%s]:cannot obtain service obj, fatal error", name.c_str());
        return;
    }
    if (notifier != nullptr) {
        // Still waiting from an earlier registration: replace it, not leak it.
        mcx_client_release(notifier);
        notifier = nullptr;
    }
    std::memset(&notifierOsParams, 0, sizeof(notifierOsParams));
    int rc = mcx_client_notifier_init(svcObj, &notifierOsParams, &notifier);
    if (rc != MCX_NO_ERR) {
        IMS_LOG("ImsMcxSvc[%s]: Error getting dcm service handle: %d", name.c_str(), rc);
        return;
    }
    rc = mcx_client_register_notify_cb(notifier, imsMcxNotifyCb, this);
    if (rc != MCX_NO_ERR) {
        IMS_LOG("ImsMcxSvc[%s]: Error registering service up callback: %d", name.c_str(), rc);
    } else {
        IMS_LOG("ImsMcxSvc[%s]: registerForMcxSvcUp ", name.c_str());
    }
}

void ImsMcxSvc::writeStatus(int fd, unsigned long status) {
    uint64_t value = status;
    ssize_t rv = write(fd, &value, sizeof(value));
    if (rv != static_cast<ssize_t>(sizeof(value))) {
        IMS_LOG("error in writing rv:%d, error:%s", static_cast<int>(rv), strerror(errno));
    }
}

void ImsMcxSvc::imsMcxNotifyCb(mcx_client_type client, mcx_idl_service_object_type svcObj,
                               mcx_client_notify_event_type event, void* data) {
    (void)client;
    (void)svcObj;
    auto* self = static_cast<ImsMcxSvc*>(data);
    if (self == nullptr) {
        IMS_LOG("ImsMcxSvc[%s] NULL in imsMcxNotifyCb", "");
        return;
    }
    if (event != MCX_CLIENT_SERVICE_COUNT_INC) {
        IMS_LOG("ImsMcxSvc[%s] notify cb: unsupported service event", self->name.c_str());
        return;
    }
    IMS_LOG("ImsMcxSvc[%s]: imsMcxNotifyCb Service Up event ", self->name.c_str());
    {
        android::Mutex::Autolock lock(svcMutex);
        if (mcxSvcUpEventFlag) {
            mSvcUpQueue.emplace_back(self, kSvcUp);
            IMS_LOG("ImsMcxSvc[%s]: Another Service up event processing ", self->name.c_str());
            return;
        }
        mcxSvcUpEventFlag = true;
        mcxSvcUpEventOwner = self;
    }
    writeStatus(self->fd, kSvcUp);
}

void ImsMcxSvc::imsMcxSvcErrorCb(mcx_client_type client, int error, void* data) {
    (void)client;
    (void)error;
    IMS_LOG("ims/rcs/libimsrcs-v2/imsservice/ImsMcxSvc:%d:%s", __LINE__, "imsMcxSvcErrorCb");
    auto* self = static_cast<ImsMcxSvc*>(data);
    if (self == nullptr) {
        IMS_LOG("ImsMcxSvc[] NULL in imsMcxSvcErrorCb");
        return;
    }
    writeStatus(self->fd, kSvcError);
}

void ImsMcxSvc::handleImsSvcStatusEvent(int fd, void* data) {
    IMS_LOG("a modem service is up, trying to initialize svc client");
    // The counter is the sum of every code written since the last read.
    uint64_t value = 0;
    while (read(fd, &value, sizeof(value)) != -1) {
    }
    if (errno != EAGAIN) {
        IMS_LOG("Error while clearing the read buffer on fd %d", fd);
    }
    auto* self = static_cast<ImsMcxSvc*>(data);
    if (self == nullptr) {
        IMS_LOG("mcxSvcPtr is null");
        return;
    }
    IMS_LOG("ImsMcxSvc[%s]: handleImsSvcStatusEvent Service Up event %d ", self->name.c_str(),
            static_cast<int>(value));
    if (value == kSvcError) {
        self->modemDown();
    } else if (value == kSvcUp) {
        self->handleImsSvcUpEvent();
        android::Mutex::Autolock lock(svcMutex);
        while (!mSvcUpQueue.empty()) {
            auto* queued = static_cast<ImsMcxSvc*>(mSvcUpQueue.front().first);
            // The queued service takes svcMutex itself.
            svcMutex.unlock();
            queued->handleImsSvcUpEvent();
            svcMutex.lock();
            // The entry may have been removed by its owner's destructor meanwhile.
            if (!mSvcUpQueue.empty() && mSvcUpQueue.front().first == queued) mSvcUpQueue.pop_front();
        }
    }
    // Any other value (an up and an error summed before the read) is left alone.
}

void ImsMcxSvc::handleImsSvcUpEvent() {
    mcx_service_info info;
    if (mcx_client_get_any_service(svcObj, &info) != MCX_NO_ERR) {
        IMS_LOG("error get service.");
    } else {
        if (notifier != nullptr) {
            mcx_client_release(notifier);
            notifier = nullptr;
        }
        svcUp();
        if (mcx_client_register_error_cb(client, imsMcxSvcErrorCb, this) != MCX_NO_ERR) {
            IMS_LOG("Can't register for mcx error cb");
        }
    }
    android::Mutex::Autolock lock(svcMutex);
    mcxSvcUpEventFlag = false;
    mcxSvcUpEventOwner = nullptr;
}
