// Generated from the test.hostgen@1.1 headers by hidl_host_gen.py. Do not edit.
// The fields of each struct, in order, for hidl/HidlHostWire.h.
#ifndef TEST_HOSTGEN_1_1_HOSTWIRE_H
#define TEST_HOSTGEN_1_1_HOSTWIRE_H

#include <test/hostgen/1.1/IStore.h>
#include <test/hostgen/1.0/hostwire.h>
#include <android/hidl/manager/1.0/hostwire.h>

namespace test::hostgen::V1_1 {


}  // namespace test::hostgen::V1_1

#endif
