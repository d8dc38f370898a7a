#include "emulator/EmbeddedModem.h"

#include <memory>

#include "EmbeddedTransport.h"

namespace mcxemu {

ModemEmulator& embeddedModem() {
    static auto* modem = new ModemEmulator();
    return *modem;
}

mcx_client_error_type useEmbeddedModem() {
    return mcx_host_set_transport([](mcx::ModemListener& core) {
        return std::make_unique<EmbeddedTransport>(embeddedModem(), core);
    });
}

}  // namespace mcxemu
