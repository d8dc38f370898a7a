#include "ServiceCommandLine.h"

namespace rcsservice {

bool parseServiceCommandLine(const std::vector<std::string>& args, ServiceCommandLine* out,
                             std::string* error) {
    *out = ServiceCommandLine();
    auto modemSocket = [&](const std::string& path) {
        if (path.empty() || !out->modem.daemonSocket.empty()) {
            *error = path.empty() ? "the modem socket path is empty" : "more than one modem socket given";
            return false;
        }
        out->modem = HostModem::daemon(path);
        return true;
    };
    for (size_t i = 0; i < args.size(); ++i) {
        const std::string& a = args[i];
        const bool hasValue = i + 1 < args.size();
        if (a == "--help" || a == "-h") {
            out->help = true;
        } else if (a == "--version") {
            out->version = true;
        } else if (a == "--replace") {
            out->replace = true;
        } else if (a == "--modem-socket" || a == "--registry" || a == "--log") {
            if (!hasValue) {
                *error = "option " + a + " needs a value";
                return false;
            }
            const std::string& v = args[++i];
            if (a == "--log") {
                if (v.empty()) {
                    *error = "option --log needs a file";
                    return false;
                }
                out->logPath = v;
            } else if (a == "--registry") {
                if (v.empty()) {
                    *error = "option --registry needs a folder";
                    return false;
                }
                out->registryDir = v;
            } else if (!modemSocket(v)) {
                return false;
            }
        } else if (!a.empty() && a[0] == '-') {
            *error = "unknown option '" + a + "'";
            return false;
        } else if (!modemSocket(a)) {
            return false;
        }
    }
    return true;
}

const char* serviceUsage() {
    return "usage: vendor.kel.ims.rcsconfig-service [--modem-socket PATH] [--registry DIR] [--replace] [--log FILE]\n"
           "Serves IImsFactory 1.0 and 1.1 \"default\" to clients of other processes until SIGTERM or SIGINT.\n"
           "  --modem-socket PATH  use the mcx-modemd daemon at PATH (also accepted as the only argument);\n"
           "                       default: the modem emulator inside this process\n"
           "  --registry DIR       the service registry folder (default: $IMSRCS_HIDL_REGISTRY,\n"
           "                       else $XDG_RUNTIME_DIR/imsrcs-hidl, else /tmp/imsrcs-hidl-<uid>)\n"
           "  --replace            stop the service that serves \"default\" in the registry (SIGTERM, as init\n"
           "                       stops one) and take its place; without it, such a service is left alone\n"
           "                       and this one exits with status 1\n"
           "  --log FILE           append the log to FILE (created mode 0600; a symbolic link is refused)\n"
           "                       instead of writing it to stderr\n"
           "  --help, --version\n"
           "The log is written as logcat prints it: ANDROID_PRINTF_LOG picks the layout, ANDROID_LOG_TAGS\n"
           "filters it. Why the service cannot start goes to stderr whatever the filter.\n"
           "exit status: 0 stopped by SIGTERM or SIGINT, 1 could not start, 2 bad command line\n";
}

std::string serviceVersion() {
    return std::string("vendor.kel.ims.rcsconfig-service ") + IMSRCS_VERSION + " (IImsFactory 1.0 and 1.1, IRcsConfig 2.0 and 2.1)\n";
}

}  // namespace rcsservice
