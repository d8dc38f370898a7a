#include "mcx_idl_lib.h"

extern "C" const mcx_msg_desc_type* mcx_idl_find_msg(const mcx_idl_service_object* svc,
                                                     uint32_t msg_id) {
    if (svc == nullptr || svc->msgs == nullptr) return nullptr;
    for (size_t i = 0; i < svc->msg_count; ++i) {
        if (svc->msgs[i].msg_id == msg_id) return &svc->msgs[i];
    }
    return nullptr;
}
