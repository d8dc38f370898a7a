#include "imsservice/ImsCom.h"

#include <errno.h>
#include <poll.h>
#include <stdint.h>
#include <string.h>
#include <sys/eventfd.h>
#include <unistd.h>

#include <string>

#include "imsservice/ImsLog.h"

std::set<int> ImsCom::approvedFd;
android::Mutex ImsCom::sApprovedLock;
ImsCom* ImsCom::m_pSelf = nullptr;

ImsCom* ImsCom::getInstance() {
    // Never deleted: the loop lives as long as the process.
    static ImsCom* instance = (m_pSelf = new ImsCom());
    return instance;
}

ImsCom::ImsCom() {
    epollFd = epoll_create(kMaxEvents);
    wakeFd = eventfd(0, EFD_NONBLOCK);
    memset(events, 0, sizeof(events));
    IMS_LOG("Com Fd: %d", wakeFd);
    addComEventHandler(wakeFd, clearRead, nullptr, nullptr, EPOLLIN | EPOLLHUP);
    IMS_LOG("ImsCom is ready. epollFd:%d", epollFd);
}

ImsCom::~ImsCom() {
    removeComEventHandler(wakeFd);
    if (wakeFd >= 0) close(wakeFd);
    if (epollFd >= 0) close(epollFd);
}

bool ImsCom::addComEventHandler(int fd, ComEventCallback cb, void* data, ComCloseCallback closeCb,
                                int events) {
    IMS_LOG("ImsCom::addComEventHandler(int %d, ComEventCallback %p, void* %p, ComCloseCallback %p, "
            "events %d) EX",
            fd, reinterpret_cast<void*>(cb), data, reinterpret_cast<void*>(closeCb), events);
    {
        android::Mutex::Autolock guard(mLock);
        if (comHandlers.count(fd) != 0) {
            IMS_LOG("fd=%d is already in comHandlers", fd);
            return false;
        }
        struct epoll_event ev;
        memset(&ev, 0, sizeof(ev));
        ev.events = static_cast<uint32_t>(events);
        ev.data.fd = fd;
        int rc = epoll_ctl(epollFd, EPOLL_CTL_ADD, fd, &ev);
        IMS_LOG("ImsCom::addComEventHandler epoll_ctl returns: %d", rc);
        // Entered even when epoll_ctl failed: the owner's removal stays symmetric.
        comHandlers[fd] = ComHandler{cb, closeCb, data};
    }
    addApprovedFd(fd);
    return true;
}

void ImsCom::removeComEventHandler(int fd) {
    IMS_LOG("ImsCom::removeComEventHandler(int fd) EX");
    epoll_ctl(epollFd, EPOLL_CTL_DEL, fd, nullptr);
    ComHandler record;
    {
        android::Mutex::Autolock guard(mLock);
        record = comHandlers[fd];  // an unknown fd gets an empty record, erased below
    }
    if (record.closeCallback != nullptr) record.closeCallback(fd, record.data);
    {
        android::Mutex::Autolock guard(mLock);
        size_t erased = comHandlers.erase(fd);
        if (erased != 1) {
            IMS_LOG("comHandlers.erase for fd %d returned %d!", fd, static_cast<int>(erased));
        }
    }
    remApprovedFd(fd);
}

void ImsCom::clearRead(int fd, void* data) {
    (void)data;
    IMS_LOG("ImsCom::clearRead called");
    char buf[256];
    memset(buf, 0, sizeof(buf));
    while (read(fd, buf, sizeof(buf)) != -1) {
    }
    if (errno != EAGAIN) {
        IMS_LOG("Error while clearing the read buffer on fd %d", fd);
    }
}

void ImsCom::processEvents(int timeoutMs, ImsTimer& timer) {
    IMS_LOG("waiting on events (%dms)", timeoutMs);
    int n = epoll_wait(epollFd, events, kMaxEvents, timeoutMs);
    if (n == -1 && errno == EINTR) return;

    timer.processEvents();

    IMS_LOG("currEvent(%d) pending (%d)", 0, n);
    for (int i = 0; i < n; ++i) {
        const int fd = events[i].data.fd;
        const uint32_t mask = events[i].events;
        IMS_LOG("there are %d file descriptor(s) with events pending", n - i);
        IMS_LOG("processing event number: %d, handling %d for %d", i, static_cast<int>(mask), fd);

        if (mask & EPOLLHUP) {
            IMS_LOG("[com] file descriptor '%d' sent HUP.", fd);
            removeComEventHandler(fd);
            close(fd);
        } else if (mask & EPOLLIN) {
            if (!isApprovedFd(fd)) {
                IMS_LOG("file descriptor %d is not on the approved list, cannot process event", fd);
                removeComEventHandler(fd);
                close(fd);
                continue;
            }
            ComHandler record;
            bool found;
            {
                android::Mutex::Autolock guard(mLock);
                auto it = comHandlers.find(fd);
                found = it != comHandlers.end();
                if (found) record = it->second;
            }
            if (!found) {
                IMS_LOG("file descriptor '%d' does not have an event handler registered", fd);
                continue;
            }
            IMS_LOG("file descriptor '%d' is processing events [callback:%p, data:%p]", fd,
                    reinterpret_cast<void*>(record.callback), record.data);
            if (record.callback == nullptr) {
                IMS_LOG("no callback registered");
            } else {
                IMS_LOG("calling FD: %d", fd);
                record.callback(fd, record.data);
            }
        } else {
            std::string names;
            if (mask & EPOLLOUT) names += "EPOLLOUT ";
            if (mask & EPOLLPRI) names += "EPOLLPRI ";
            if (mask & EPOLLERR) names += "EPOLLERR ";
            if (mask & EPOLLHUP) names += "EPOLLHUP ";
            if (mask & EPOLLET) names += "EPOLLET ";
            IMS_LOG("Unhandled epoll event: %s [flags 0%o]", names.c_str(), mask);
        }
    }
}

bool ImsCom::isApprovedFd(int fd) {
    android::Mutex::Autolock guard(sApprovedLock);
    return approvedFd.count(fd) != 0;
}

void ImsCom::addApprovedFd(int fd) {
    android::Mutex::Autolock guard(sApprovedLock);
    approvedFd.insert(fd);
}

void ImsCom::remApprovedFd(int fd) {
    IMS_LOG("ImsCom::remApprovedFd()");
    android::Mutex::Autolock guard(sApprovedLock);
    if (approvedFd.erase(fd) != 0) {
        IMS_LOG("ImsCom::remApprovedFd() success");
    }
}

void ImsCom::wake() {
    IMS_LOG("ImsCom::wake() EX");
    uint64_t one = 1;
    ssize_t rv = write(wakeFd, &one, sizeof(one));
    if (rv != static_cast<ssize_t>(sizeof(one))) {
        IMS_LOG("Error in writing rv: %d, error: %s", static_cast<int>(rv), strerror(errno));
    }
}

bool ImsCom::hasReadyDescriptors() const {
    // An epoll instance is itself readable while any descriptor in it is ready.
    struct pollfd p = {epollFd, POLLIN, 0};
    return poll(&p, 1, 0) > 0 && (p.revents & POLLIN) != 0;
}
