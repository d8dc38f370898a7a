// Fuzzes modem indications as the two modem clients receive them: arbitrary
// ids, lengths and bytes go into the clients' indication callbacks (the
// messaging library's decode, the post to the loop), then the loop runs them
// to the manager, the settings converters and the clients' HIDL listeners.
//
// The whole service runs in this process on the embedded modem, with this
// thread as its loop thread: every input is handled to the end before the
// next one, without sleeping. Set-up (bounded waits) creates a service object
// per slot with a 2.1 listener, watches every settings group and uploads one
// document, so that every indication has someone to reach.
//
// Input, read front to back (missing bytes read as zero):
//   byte 0: which message: 0-3 change indication of settings group 0-3,
//           4 configuration status (0x9D), 5 token request (0x42),
//           6 any id of IMS Settings, 7 any id of IMS Application (mod 8)
//   byte 1: bit 0 exact length (the id's indication length, zero-padded),
//           else a uint16 length (mod 9000) follows the id;
//           bit 1 subscription of the IMS Application connection;
//           bit 2 a status indication names the uploaded document's token
//   any id: uint16 message id
//   then the message bytes.
#include <android/log.h>

#include <cstdint>
#include <cstring>
#include <vector>

#include <testkit/CallCounts.h>
#include <vendor/kel/ims/rcsconfig/2.0/ISetConfigCb.h>
#include <vendor/kel/ims/rcsconfig/2.0/ISettingsChangeCb.h>
#include <vendor/kel/ims/rcsconfig/2.1/IRcsConfigListener.h>

#include "FuzzLoop.h"
#include "FuzzSupport.h"
#include "emulator/EmbeddedModem.h"
#include "emulator/ModemEmulator.h"
#include "ims_application_service_v01.h"
#include "ims_settings_service_v01.h"
#include "mcx_client.h"
#include "mcx_host.h"
#include "rcsconfig/ImsMcxApplication.h"
#include "rcsconfig/ImsMcxSettings.h"
#include "rcsconfig/McxImsaClient.h"
#include "rcsconfig/RcsConfig.h"
#include "rcsconfig/RcsConfigManager.h"

namespace {

namespace V2_0 = ::vendor::kel::ims::rcsconfig::V2_0;
namespace V2_1 = ::vendor::kel::ims::rcsconfig::V2_1;
using ::android::sp;
using ::android::hardware::Return;
using ::android::hardware::Void;
using fuzzsupport::fail;

// The clients' objects count their calls: the loop thread calls them, the
// set-up also reads them while worker threads may answer.
class Listener : public V2_1::IRcsConfigListener {
public:
    Return<void> onReconfigNeeded() override { return Void(); }
    Return<void> onTokenFetchRequest(int32_t, V2_1::TokenType, V2_1::TokenRequestReason) override {
        tokenRequests.add();
        return Void();
    }
    testkit::CallCounts tokenRequests;
};

class ChangeCb : public V2_0::ISettingsChangeCb {
public:
    Return<void> onSettingsChanged(const V2_0::SettingsData&) override {
        changes.add();
        return Void();
    }
    testkit::CallCounts changes;
};

class SetConfigCb : public V2_0::ISetConfigCb {
public:
    Return<void> setConfigResponse(V2_0::RequestStatus) override {
        answers.add();
        return Void();
    }
    testkit::CallCounts answers;
};

struct Harness {
    fuzzsupport::FuzzLoop loop{*ImsCom::getInstance()};
    ImsMcxSettings* settings = nullptr;
    ImsMcxApplication* application = nullptr;
    RcsConfigManager* manager = nullptr;
    sp<Listener> listeners[2];
    sp<RcsConfig> configs[2];
    sp<ChangeCb> changes = new ChangeCb();
    sp<SetConfigCb> uploads = new SetConfigCb();
    McxImsaClient* imsaClients[2] = {nullptr, nullptr};
    mcx_client_type imssHandle = nullptr;
    mcx_client_type imsaHandle = nullptr;
    int32_t uploadToken = -1;
};

Harness* gHarness = nullptr;

mcx_client_type openHandle(mcx_idl_service_object_type svc) {
    mcx_service_info info{};
    mcx_client_os_params os{};
    mcx_client_type handle = nullptr;
    if (mcx_client_get_any_service(svc, &info) != MCX_NO_ERR ||
        mcx_client_init(&info, svc, nullptr, nullptr, &os, &handle) != MCX_NO_ERR) {
        fail("cannot open a connection to the embedded modem");
    }
    return handle;
}

Harness* setUp() {
    auto* h = new Harness();
    fuzzsupport::FuzzLoop& loop = h->loop;
    h->settings = new ImsMcxSettings(loop.com, loop.timer);
    h->application = new ImsMcxApplication(loop.com, loop.timer);
    // The factory's registry owns the manager.
    h->manager = new RcsConfigManager(loop.com, loop.timer, *h->settings, *h->application);
    if (!loop.runUntil([h] { return h->manager->isServiceAvailable() && h->manager->isModemUp(); })) {
        fail("the modem services did not come up");
    }
    for (int slot = 1; slot <= 2; ++slot) {
        h->listeners[slot - 1] = new Listener();
        Params params{h->listeners[slot - 1], slot, 1};
        h->manager->createInstance(params);
    }
    if (!loop.runUntil([h] {
            return h->manager->isImssSubscribed(1) && h->manager->isImssSubscribed(2) &&
                   h->manager->isImsaSubscribed(1) && h->manager->isImsaSubscribed(2);
        })) {
        fail("the slots were not subscribed");
    }
    std::vector<sp<RcsConfig>> configs = h->manager->rcsConfigs();
    h->configs[0] = configs.at(0);
    h->configs[1] = configs.at(1);
    for (int group = 0; group < 4; ++group) {
        h->configs[0]->registerForSettingsChange(static_cast<V2_0::SettingsId>(group), h->changes);
    }
    if (!loop.runUntil([h] { return h->settings->pendingRequests().changeListenerGroups.size() == 4; })) {
        fail("the change listeners were not filed");
    }
    V2_0::Container doc;
    doc.isCompressed = false;
    const char text[] = "<wap-provisioningdoc/>";
    doc.config = std::vector<uint8_t>(text, text + sizeof(text) - 1);
    h->configs[0]->setConfig(doc, h->uploads);
    if (!loop.runUntil([h] { return h->uploads->answers.total() == 1; })) fail("the upload was not answered");
    std::vector<mcxemu::ReceivedConfig> received = mcxemu::embeddedModem().receivedConfigs(0);
    if (received.empty()) fail("the modem kept no document");
    h->uploadToken = received.back().token;

    h->imssHandle = openHandle(imss_get_service_object_internal_v01(1, 0x67, 6));
    h->imsaHandle = openHandle(imsa_get_service_object_internal_v01(1, 0x2C, 6));
    for (uint8_t sub = 0; sub < 2; ++sub) h->imsaClients[sub] = new McxImsaClient(sub, h->application);
    // Whatever the set-up left in flight is handled before the first input.
    loop.runUntil([h] { return !h->loop.com.hasReadyDescriptors(); });
    return h;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    __android_log_set_logger(fuzzsupport::discardLog);
    // The clients under test reach the emulator inside this process.
    mcxemu::useEmbeddedModem();
    gHarness = setUp();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Harness& h = *gHarness;
    fuzzsupport::ByteReader in(data, size);
    const uint8_t which = in.take<uint8_t>() % 8;
    const uint8_t flags = in.take<uint8_t>();
    const bool imsa = which == 5 || which == 7;
    mcx_idl_service_object_type svc = imsa ? imsa_get_service_object_internal_v01(1, 0x2C, 6)
                                           : imss_get_service_object_internal_v01(1, 0x67, 6);
    const uint32_t named[6] = {imss_settings_groups_v01[0].ind_msg_id, imss_settings_groups_v01[1].ind_msg_id,
                               imss_settings_groups_v01[2].ind_msg_id, imss_settings_groups_v01[3].ind_msg_id,
                               IMSS_CARRIER_CONFIG_STATUS_IND_V01, IMSA_CONFIG_TOKEN_REQUEST_IND_V01};
    const uint32_t msgId = which < 6 ? named[which] : in.take<uint16_t>();
    const mcx_msg_desc_type* desc = mcx_idl_find_msg(svc, msgId);
    const uint32_t expected = desc == nullptr ? MCX_MSG_LEN_NONE : desc->ind_len;
    size_t length = 0;
    if ((flags & 1) != 0) {
        length = expected == MCX_MSG_LEN_NONE ? 0 : expected;
    } else {
        length = in.take<uint16_t>() % 9000;
    }
    std::vector<uint8_t> msg = in.padded(length);
    const bool exact = expected != MCX_MSG_LEN_NONE && length == expected && length > 0;
    if (!imsa && msgId == IMSS_CARRIER_CONFIG_STATUS_IND_V01 && (flags & 4) != 0 &&
        msg.size() >= sizeof(int32_t)) {
        memcpy(msg.data(), &h.uploadToken, sizeof(int32_t));
    }

    // What the clients' objects must hear of it: an indication of the right
    // length reaches its listener once, anything else reaches nobody.
    size_t changes = 0, uploads = 0, tokens[2] = {0, 0};
    const int sub = (flags >> 1) & 1;
    if (exact && !imsa && imss_settings_group_by_msg_id(msgId) != nullptr &&
        imss_settings_group_by_msg_id(msgId)->ind_msg_id == msgId) {
        changes = 1;
    } else if (exact && !imsa && msgId == IMSS_CARRIER_CONFIG_STATUS_IND_V01) {
        int32_t refNum = 0;
        memcpy(&refNum, msg.data(), sizeof(refNum));
        uploads = refNum == h.uploadToken ? 1 : 0;
    } else if (exact && imsa && msgId == IMSA_CONFIG_TOKEN_REQUEST_IND_V01) {
        tokens[sub] = 1;
    }
    const size_t changesBefore = h.changes->changes.total();
    const size_t uploadsBefore = h.uploads->answers.total();
    const size_t tokensBefore[2] = {h.listeners[0]->tokenRequests.total(),
                                    h.listeners[1]->tokenRequests.total()};

    void* buf = msg.empty() ? nullptr : msg.data();
    if (imsa) {
        handleMcxIndication(h.imsaHandle, msgId, buf, static_cast<unsigned int>(msg.size()),
                            h.imsaClients[sub]);
    } else {
        ImsMcxSettings::mcxImsSettingsSvcIndCb(h.imssHandle, msgId, buf,
                                               static_cast<unsigned int>(msg.size()), h.settings);
    }
    h.loop.drain();

    if (h.changes->changes.total() - changesBefore != changes) fail("settings change count");
    if (h.uploads->answers.total() - uploadsBefore != uploads) fail("upload answer count");
    for (int s = 0; s < 2; ++s) {
        if (h.listeners[s]->tokenRequests.total() - tokensBefore[s] != tokens[s]) {
            fail("token request count");
        }
    }
    return 0;
}
