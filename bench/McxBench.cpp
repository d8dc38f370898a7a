// Round trips of the host messaging library: the embedded emulator against
// mcx-modemd over its socket, and a whole carrier-configuration upload.
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "emulator/EmbeddedModem.h"
#include "ims_settings_service_v01.h"
#include "mcx_client.h"
#include "mcx_host.h"
#include "testkit/ModemDaemonProcess.h"

namespace {

mcx_idl_service_object_type imss() { return imss_get_service_object_internal_v01(1, 0x67, 6); }

mcx_client_type openClient() {
    mcx_service_info info;
    mcx_client_type h = nullptr;
    if (mcx_client_get_any_service(imss(), &info) != MCX_NO_ERR ||
        mcx_client_init(&info, imss(), nullptr, nullptr, nullptr, &h) != MCX_NO_ERR) {
        return nullptr;
    }
    return h;
}

void bindLoop(benchmark::State& state) {
    mcx_client_type h = openClient();
    if (h == nullptr) {
        state.SkipWithError("no IMS Settings service");
        return;
    }
    ims_settings_bind_subscription_req_msg_v01 req{0};
    ims_settings_bind_subscription_resp_msg_v01 resp{};
    for (auto _ : state) {
        int rc = mcx_client_send_msg_sync(h, IMSS_BIND_SUBSCRIPTION_V01, &req, sizeof(req), &resp,
                                          sizeof(resp), 1000);
        benchmark::DoNotOptimize(rc);
    }
    mcx_client_release(h);
}

void BM_SendSync_Embedded(benchmark::State& state) {
    mcxemu::useEmbeddedModem();
    bindLoop(state);
}
BENCHMARK(BM_SendSync_Embedded);

void BM_SendSync_Daemon(benchmark::State& state) {
    const std::string path = "/tmp/mcx-bench-" + std::to_string(getpid()) + ".sock";
    testkit::ModemDaemonProcess daemon(MCX_MODEMD_PATH, path);
    if (!daemon.start()) {
        state.SkipWithError("mcx-modemd did not start");
        return;
    }
    mcx_host_use_daemon(path.c_str());
    bindLoop(state);
    mcxemu::useEmbeddedModem();
    daemon.kill();
    unlink(path.c_str());
}
BENCHMARK(BM_SendSync_Daemon);

// A 100 kB document in 2000-byte segments, as the settings client sends it.
void BM_Upload100k_Embedded(benchmark::State& state) {
    mcxemu::useEmbeddedModem();
    mcx_client_type h = openClient();
    std::vector<uint8_t> doc(100000, 'x');
    ims_settings_set_new_carrier_config_req_msg_v01 seg{};
    ims_settings_set_new_carrier_config_resp_msg_v01 resp{};
    uint8_t token = 0;
    for (auto _ : state) {
        seg.token = token++;
        seg.seg_count = static_cast<uint8_t>(doc.size() / 2000 + 1);
        uint8_t seq = 1;
        for (size_t off = 0; off < doc.size(); off += 2000, ++seq) {
            seg.seq_num = seq;
            seg.config_len = static_cast<uint32_t>(std::min<size_t>(2000, doc.size() - off));
            std::memcpy(seg.config, doc.data() + off, seg.config_len);
            mcx_client_send_msg_sync(h, IMSS_SET_NEW_CARRIER_CONFIG_V01, &seg, sizeof(seg), &resp,
                                     sizeof(resp), 1000);
        }
    }
    mcx_client_release(h);
}
BENCHMARK(BM_Upload100k_Embedded);

}  // namespace

BENCHMARK_MAIN();
