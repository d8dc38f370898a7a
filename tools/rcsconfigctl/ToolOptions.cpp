#include "ToolOptions.h"

#include "Command.h"
#include "SettingsCatalog.h"

namespace rcsctl {

bool parseToolOptions(const std::vector<std::string>& args, ToolOptions* out, std::string* error,
                      bool stdinIsTerminal) {
    *out = ToolOptions();
    size_t i = 0;
    auto value = [&](const std::string& name, std::string* v) {
        if (i + 1 >= args.size()) {
            *error = "option " + name + " needs a value";
            return false;
        }
        *v = args[++i];
        return true;
    };
    for (; i < args.size(); ++i) {
        const std::string& a = args[i];
        std::string v;
        if (a == "--json") {
            out->json = true;
        } else if (a == "--keep-going") {
            out->keepGoing = true;
        } else if (a == "--verbose" || a == "-v") {
            out->verbose = true;
        } else if (a == "--help" || a == "-h") {
            out->help = true;
        } else if (a == "--version") {
            out->version = true;
        } else if (a == "--man-page") {
            out->manPage = true;
        } else if (a == "--bash-completion") {
            out->bashCompletion = true;
        } else if (a == "--slot") {
            if (!value(a, &v)) return false;
            if (v != "1" && v != "2") {
                *error = "bad slot '" + v + "': the slot is 1 or 2";
                return false;
            }
            out->slot = v[0] - '0';
        } else if (a == "--modem-socket") {
            if (!value(a, &out->modemSocket)) return false;
            if (out->modemSocket.empty()) {
                *error = "option --modem-socket needs a path";
                return false;
            }
        } else if (a == "--factory") {
            if (!value(a, &v)) return false;
            if (v != "1.0" && v != "1.1") {
                *error = "bad factory version '" + v + "': 1.0 or 1.1";
                return false;
            }
            out->factory_1_0 = v == "1.0";
        } else if (a == "--timeout") {
            if (!value(a, &v)) return false;
            int64_t seconds = 0;
            if (!parseInteger(v, &seconds) || seconds < 1 || seconds > 3600) {
                *error = "bad timeout '" + v + "': a number from 1 to 3600";
                return false;
            }
            out->timeoutMs = static_cast<int>(seconds) * 1000;
        } else if (a == "--service" || a.compare(0, 10, "--service=") == 0) {
            out->attach = true;
            if (a != "--service") {
                out->serviceName = a.substr(10);
            } else if (i + 1 < args.size() && !args[i + 1].empty() && args[i + 1][0] != '-' &&
                       !isCommandWord(args[i + 1])) {
                out->serviceName = args[++i];
            }
            if (out->serviceName.empty()) {
                *error = "option --service needs a non-empty name";
                return false;
            }
        } else if (a == "--registry") {
            if (!value(a, &out->registryDir)) return false;
            if (out->registryDir.empty()) {
                *error = "option --registry needs a folder";
                return false;
            }
        } else if (a == "--replay-config") {
            out->replayConfig = true;
        } else if (a == "--script" || a == "-f") {
            if (!value(a, &out->script)) return false;
        } else if (a == "--log") {
            if (!value(a, &out->logPath)) return false;
        } else if (a.size() > 1 && a[0] == '-' && a != "-") {
            *error = "unknown option '" + a + "' (try: rcsconfigctl --help)";
            return false;
        } else {
            out->command.assign(args.begin() + static_cast<long>(i), args.end());
            break;
        }
    }
    if (out->help || out->version || out->manPage || out->bashCompletion) return true;
    if (!out->script.empty() && !out->command.empty()) {
        *error = "give either a command or --script, not both";
        return false;
    }
    if (out->attach && !out->modemSocket.empty()) {
        *error = "--modem-socket is for a service started here; an attached service has its own modem";
        return false;
    }
    if (out->script.empty() && out->command.empty() && stdinIsTerminal) out->script = "-";
    if (out->script.empty() && out->command.empty()) {
        *error = "no command given (try: rcsconfigctl --help)";
        return false;
    }
    return true;
}

const char* usageText() {
    return "usage: rcsconfigctl [OPTIONS] COMMAND [ARGS...]\n"
           "       rcsconfigctl [OPTIONS] --script FILE|-\n"
           "Runs the RCS configuration service in this process (or attaches to a running one with\n"
           "--service) and drives it as a client.\n"
           "options:\n"
           "  --slot 1|2           slot of the commands (default 1; a script can change it with `slot`)\n"
           "  --json               one JSON object per result, notice and error on stdout\n"
           "  --modem-socket PATH  use the mcx-modemd daemon at PATH instead of the embedded emulator\n"
           "  --factory 1.0|1.1    which IImsFactory creates the objects (default 1.1)\n"
           "  --timeout SECONDS    how long to wait for each answer (default 10)\n"
           "  --script FILE|-      run the commands of FILE (or standard input), one per line; at a\n"
           "                       terminal, no command or `--script -` is an interactive session\n"
           "  --keep-going         in a script, go on after a failed command\n"
           "  --log FILE           write the service's log to FILE\n"
           "  --verbose            write the service's log to standard error\n"
           "  --service [NAME]     attach to the running service NAME (default \"default\") of the service\n"
           "                       registry instead of starting one here; modem commands, dump and\n"
           "                       platform-mask then act on that service's process\n"
           "  --registry DIR       the service registry folder (default: $IMSRCS_HIDL_REGISTRY, else\n"
           "                       $XDG_RUNTIME_DIR/imsrcs-hidl, else /tmp/imsrcs-hidl-<uid>)\n"
           "  --replay-config      attached: when the service dies, reconnect and push the last\n"
           "                       configuration document of each slot again (the death is always\n"
           "                       reported, and new objects are always made for the slots in use)\n"
           "  --help               this text; `help COMMAND` or `COMMAND --help` for one command\n"
           "  --version            the tool's version and the HAL versions it speaks\n"
           "  --man-page, --bash-completion\n"
           "                       write the manual page or the bash completion (the build installs both)\n"
           "exit status: 0 all commands succeeded, 1 a command failed, 2 bad input\n";
}

std::string versionText() {
    return std::string("rcsconfigctl ") + IMSRCS_VERSION +
           " (IImsFactory 1.0 and 1.1, IRcsConfig 2.0 and 2.1)\n";
}

}  // namespace rcsctl
