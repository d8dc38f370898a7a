// The main of the test binaries whose code reaches the modem messaging
// library: the library has no modem until a process installs one, so this
// installs the embedded modem emulator before any test runs, as the service
// host does when it is given no modem socket. A test that wants the daemon,
// or no modem, installs its own.
#include <gtest/gtest.h>

#include <cstdio>

#include "emulator/EmbeddedModem.h"

int main(int argc, char** argv) {
    testing::InitGoogleTest(&argc, argv);
    if (mcxemu::useEmbeddedModem() != MCX_NO_ERR) {
        std::fprintf(stderr, "cannot install the embedded modem emulator\n");
        return 1;
    }
    return RUN_ALL_TESTS();
}
