// Fuzzes the configuration document path from the file a person hands to
// rcsconfigctl (`set-config FILE [--gzip]`) to the modem: the file is read
// and, when asked, compressed (ConfigDocument), cut into 2000-byte segments
// the way the settings client sends them, and reassembled and inflated by the
// modem emulator, which answers with its configuration status. Plain files,
// gzip files and corrupt gzip (a file whose magic bytes say gzip, so it is
// sent as it is) all take this path.
//
// Input: byte 0 bit 0 is `--gzip`; the rest is the file's content.
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "ConfigDocument.h"
#include "emulator/ModemEmulator.h"
#include "ims_settings_service_v01.h"

namespace {

// Collects the modem's configuration status indications.
class StatusSink : public mcx::ModemListener {
public:
    void onServiceState(uint32_t, bool) override {}
    void onIndication(uint64_t, uint32_t msgId, std::vector<uint8_t> data) override {
        if (msgId != IMSS_CARRIER_CONFIG_STATUS_IND_V01) return;
        ims_settings_carrier_config_status_ind_msg_v01 ind{};
        if (data.size() != sizeof(ind)) abort();
        memcpy(&ind, data.data(), sizeof(ind));
        statuses.push_back(ind.config_status);
    }
    void onConnectionLost(uint64_t) override {}
    std::vector<int32_t> statuses;
};

struct Harness {
    mcxemu::ModemEmulator modem;
    StatusSink sink;
    uint64_t connId = 0;
    std::string path;
};

Harness* gHarness = nullptr;

void fail(const char* what) {
    fprintf(stderr, "config_document_fuzz: %s\n", what);
    abort();
}

// Sends the document as the settings client does (one message buffer for the
// whole upload, count announced as length / 2000 + 1); false if a segment
// was refused.
bool upload(Harness& h, const std::vector<uint8_t>& doc, bool gzipped, uint8_t token) {
    constexpr size_t kSegment = IMSS_CARRIER_CONFIG_SEGMENT_MAX_V01;
    ims_settings_set_new_carrier_config_req_msg_v01 msg;
    memset(&msg, 0, sizeof(msg));
    msg.is_gzipped = gzipped ? 1 : 0;
    msg.token = token;
    msg.seg_count = static_cast<uint8_t>(doc.size() / kSegment + 1);
    int seq = 1;
    for (size_t offset = 0; offset < doc.size(); offset += kSegment, ++seq) {
        size_t len = std::min(doc.size() - offset, kSegment);
        msg.seq_num = static_cast<uint8_t>(seq);
        msg.config_len = static_cast<uint32_t>(len);
        memcpy(msg.config, doc.data() + offset, len);
        mcxemu::ModemReply reply = h.modem.request(
                h.connId, IMSS_SET_NEW_CARRIER_CONFIG_V01, reinterpret_cast<const uint8_t*>(&msg),
                sizeof(msg));
        ims_settings_set_new_carrier_config_resp_msg_v01 resp{};
        if (reply.status != 0 || reply.response.size() != sizeof(resp)) fail("segment not answered");
        memcpy(&resp, reply.response.data(), sizeof(resp));
        if (resp.seg_status_valid == 1 && resp.seg_status != 0) return false;
    }
    return true;
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    auto* h = new Harness();
    h->path = "/tmp/config_document_fuzz." + std::to_string(getpid());
    h->connId = h->modem.connect(IMSS_SERVICE_ID_V01, &h->sink);
    if (h->connId == 0) fail("no IMS Settings connection");
    ims_settings_bind_subscription_req_msg_v01 bind{};
    bind.subscription = 0;
    h->modem.request(h->connId, IMSS_BIND_SUBSCRIPTION_V01, reinterpret_cast<const uint8_t*>(&bind),
                     sizeof(bind));
    gHarness = h;
    atexit([] { unlink(gHarness->path.c_str()); });
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    Harness& h = *gHarness;
    const bool gzipOption = size > 0 && (data[0] & 1) != 0;
    FILE* file = fopen(h.path.c_str(), "wb");
    if (file == nullptr) fail("cannot write the scratch file");
    if (size > 1 && fwrite(data + 1, 1, size - 1, file) != size - 1) fail("short write");
    fclose(file);

    rcsctl::ConfigDocument doc;
    std::string error;
    if (!rcsctl::ConfigDocument::load(h.path, gzipOption, &doc, &error)) {
        if (error.empty()) fail("a refused document without a reason");
        return 0;
    }
    const std::vector<uint8_t> content(data + 1, data + size);
    if (doc.fileSize != content.size()) fail("file size");
    if (!doc.compressed && doc.bytes != content) fail("a plain document was changed");

    static uint8_t token = 0;
    ++token;
    h.sink.statuses.clear();
    const bool sent = upload(h, doc.bytes, doc.compressed, token);
    // A length that the announced 8-bit segment count cannot describe never
    // completes on the modem (the settings client reports that upload failed
    // itself); the tool warns of or refuses exactly those lengths.
    const bool countFits = rcsctl::unsendableReason(doc.bytes.size()).empty() &&
                           !rcsctl::answeredFailFirst(doc.bytes.size());
    // Otherwise the verdict of a whole upload is one status indication.
    if (sent && countFits && h.sink.statuses.size() != 1) fail("no single verdict for a whole upload");

    // What the tool compressed itself, and every plain document, must arrive
    // as the file was.
    if (countFits && (doc.compressedHere || !doc.compressed)) {
        if (!sent || h.sink.statuses.at(0) != 0) fail("a well-formed document was refused");
        std::vector<mcxemu::ReceivedConfig> kept = h.modem.receivedConfigs(0);
        if (kept.empty() || kept.back().document != content) fail("the modem kept other bytes");
    }
    return 0;
}
