// Generated from the test.hostgen@1.0 headers by hidl_host_gen.py. Do not edit.
// The fields of each struct, in order, for hidl/HidlHostWire.h.
#ifndef TEST_HOSTGEN_1_0_HOSTWIRE_H
#define TEST_HOSTGEN_1_0_HOSTWIRE_H

#include <test/hostgen/1.0/IListener.h>
#include <test/hostgen/1.0/IStore.h>
#include <test/hostgen/1.0/types.h>
#include <android/hidl/base/1.0/hostwire.h>
#include <android/hidl/manager/1.0/hostwire.h>

namespace test::hostgen::V1_0 {

template <typename V>
inline void hidlWireFields(const ::test::hostgen::V1_0::IStore::Nested& v, V& f) { f(v.id); f(v.chunks); }
template <typename V>
inline void hidlWireFields(::test::hostgen::V1_0::IStore::Nested& v, V& f) { f(v.id); f(v.chunks); }
template <typename V>
inline void hidlWireFields(const ::test::hostgen::V1_0::Record& v, V& f) { f(v.name); f(v.payload); f(v.mode); f(v.count); }
template <typename V>
inline void hidlWireFields(::test::hostgen::V1_0::Record& v, V& f) { f(v.name); f(v.payload); f(v.mode); f(v.count); }

}  // namespace test::hostgen::V1_0

#endif
