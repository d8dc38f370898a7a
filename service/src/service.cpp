// The RCS configuration HAL service of a device: brings the HAL up, registers
// IImsFactory 1.0 and 1.1 as "default" and serves until init stops it.
#include "StopSignal.h"
#include "service/RcsServiceHost.h"

int main() {
    rcsservice::StopSignal stopSignal;  // before the service starts its threads
    rcsservice::RcsServiceHost host;
    if (!host.start()) return 1;
    stopSignal.wait();
    host.stop();
    return 0;
}
