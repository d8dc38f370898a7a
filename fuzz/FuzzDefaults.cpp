// Sanitizer defaults of every fuzz target, so that a finding reproduces the
// same way whether scripts/fuzz.sh runs the target or a person runs it by hand.
extern "C" const char* __asan_default_options() {
    // The generated HIDL headers' enum value tables exist once per source file
    // under clang (see CMakeLists.txt); the copies are identical.
    return "detect_odr_violation=0";
}

extern "C" const char* __ubsan_default_options() { return "print_stacktrace=1:halt_on_error=1"; }
