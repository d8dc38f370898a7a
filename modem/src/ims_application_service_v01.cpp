#include "ims_application_service_v01.h"

#include <iterator>

namespace {

constexpr uint32_t kNone = MCX_MSG_LEN_NONE;

const mcx_msg_desc_type kImsaMessages[] = {
    // id                                   request  response  indication
    {IMSA_IND_REGISTER_V01,                 38,      8,        kNone, "IND_REGISTER"},
    {IMSA_BIND_SUBSCRIPTION_V01,            8,       8,        kNone, "BIND_SUBSCRIPTION"},
    {IMSA_CONFIG_TOKEN_REQUEST_IND_V01,     kNone,   kNone,    16,    "CONFIG_TOKEN_REQUEST_IND"},
};

mcx_idl_service_object gImsaService = {
    IMSA_SERVICE_ID_V01,    IMSA_IDL_MAJOR_VERS_V01, IMSA_IDL_MINOR_VERS_V01,
    IMSA_IDL_TOOL_VERS_V01, "imsa",                  kImsaMessages,
    std::size(kImsaMessages)};

}  // namespace

extern "C" mcx_idl_service_object_type imsa_get_service_object_internal_v01(
    int32_t idl_maj_version, int32_t idl_min_version, int32_t library_version) {
    if (idl_maj_version != static_cast<int32_t>(IMSA_IDL_MAJOR_VERS_V01) ||
        idl_min_version > static_cast<int32_t>(IMSA_IDL_MINOR_VERS_V01) ||
        library_version != static_cast<int32_t>(IMSA_IDL_TOOL_VERS_V01)) {
        return nullptr;
    }
    return &gImsaService;
}
