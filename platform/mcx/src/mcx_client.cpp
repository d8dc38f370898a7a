// The C entry points of mcx_client.h and mcx_host.h; the work is McxLibrary's.
#include <android/log.h>

#include <string>

#include "DaemonTransport.h"
#include "McxLibrary.h"

using mcx::McxLibrary;

extern "C" {

const char* mcx_client_error_name(mcx_client_error_type err) {
    switch (err) {
        case MCX_NO_ERR: return "MCX_NO_ERR";
        case MCX_ERR_INTERNAL: return "MCX_ERR_INTERNAL";
        case MCX_ERR_TIMEOUT: return "MCX_ERR_TIMEOUT";
        case MCX_ERR_SERVICE_GONE: return "MCX_ERR_SERVICE_GONE";
        case MCX_ERR_INVALID_HANDLE: return "MCX_ERR_INVALID_HANDLE";
        case MCX_ERR_INVALID_ARG: return "MCX_ERR_INVALID_ARG";
        case MCX_ERR_REQ_LENGTH: return "MCX_ERR_REQ_LENGTH";
        case MCX_ERR_RESP_LENGTH: return "MCX_ERR_RESP_LENGTH";
        case MCX_ERR_NO_SERVICE: return "MCX_ERR_NO_SERVICE";
        case MCX_ERR_TRANSPORT: return "MCX_ERR_TRANSPORT";
        case MCX_ERR_MSG_LENGTH: return "MCX_ERR_MSG_LENGTH";
        default: return "MCX_ERR_UNKNOWN";
    }
}

mcx_client_error_type mcx_client_notifier_init(mcx_idl_service_object_type service_obj,
                                               mcx_client_os_params* os_params,
                                               mcx_client_type* notifier) {
    (void)os_params;  // signalling is the library's own on a host
    return McxLibrary::instance().notifierInit(service_obj, notifier);
}

mcx_client_error_type mcx_client_register_notify_cb(mcx_client_type notifier,
                                                    mcx_client_notify_cb cb, void* cb_data) {
    return McxLibrary::instance().registerNotifyCb(notifier, cb, cb_data);
}

mcx_client_error_type mcx_client_get_any_service(mcx_idl_service_object_type service_obj,
                                                 mcx_service_info* info) {
    return McxLibrary::instance().getAnyService(service_obj, info);
}

mcx_client_error_type mcx_client_init(mcx_service_info* info,
                                      mcx_idl_service_object_type service_obj,
                                      mcx_client_ind_cb ind_cb, void* ind_cb_data,
                                      mcx_client_os_params* os_params, mcx_client_type* handle) {
    (void)os_params;
    return McxLibrary::instance().clientInit(info, service_obj, ind_cb, ind_cb_data, handle);
}

mcx_client_error_type mcx_client_register_error_cb(mcx_client_type handle,
                                                   mcx_client_error_cb cb, void* cb_data) {
    return McxLibrary::instance().registerErrorCb(handle, cb, cb_data);
}

mcx_client_error_type mcx_client_send_msg_sync(mcx_client_type handle, unsigned int msg_id,
                                               void* req, unsigned int req_len, void* resp,
                                               unsigned int resp_len, unsigned int timeout_ms) {
    return McxLibrary::instance().sendSync(handle, msg_id, req, req_len, resp, resp_len, timeout_ms);
}

mcx_client_error_type mcx_client_message_decode(mcx_client_type handle,
                                                mcx_idl_type_of_message_type kind,
                                                unsigned int msg_id, const void* buf,
                                                unsigned int buf_len, void* dst,
                                                unsigned int dst_len) {
    return McxLibrary::instance().decode(handle, kind, msg_id, buf, buf_len, dst, dst_len);
}

mcx_client_error_type mcx_client_release(mcx_client_type handle) {
    return McxLibrary::instance().release(handle);
}

mcx_client_error_type mcx_host_use_daemon(const char* socket_path) {
    if (socket_path == nullptr || socket_path[0] == '\0') {
        __android_log_print(ANDROID_LOG_WARN, "mcx_client",
                            "mcx_host_use_daemon: the daemon needs a socket path");
        return MCX_ERR_INVALID_ARG;
    }
    std::string path(socket_path);
    return McxLibrary::instance().setTransport([path](mcx::ModemListener& core) {
        return std::make_unique<mcx::DaemonTransport>(path, core);
    });
}

mcx_client_error_type mcx_host_modem_control(const char* command, char* reply, size_t reply_len) {
    return McxLibrary::instance().control(command, reply, reply_len);
}

}  // extern "C"

mcx_client_error_type mcx_host_set_transport(mcx::TransportFactory factory) {
    return McxLibrary::instance().setTransport(std::move(factory));
}
