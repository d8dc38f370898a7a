// Fuzzes rcsconfigctl's script language: a script as a person (or a file
// found lying around) could give to `--script`, read line by line with
// continuation lines, split into words, parsed into commands, with every
// group name, key name and value going through the settings catalog.
//
// The input is the script text. A command that parses is complete and
// checked, so a parsed set-settings must also be a record that the library
// converts into its modem message: a value the tool lets through and the
// library refuses would be a failure at run time for bad input.
#include <android/log.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

#include "Command.h"
#include "FuzzSupport.h"
#include "ScriptTokenizer.h"
#include "rcsconfig/RcsConfigManager.h"

namespace {

void checkConverts(const rcsctl::Command& command, const std::string& line) {
    rcs_settings_data_s request{};
    if (!RcsConfigManager::convertSetReqDataToMcx(command.settings, &request)) {
        fprintf(stderr, "rcsconfigctl_script_fuzz: parsed, but the library refuses: %s\n",
                line.c_str());
        abort();
    }
    free(request.msgData);
}

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    __android_log_set_logger(fuzzsupport::discardLog);
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    std::istringstream script(std::string(reinterpret_cast<const char*>(data), size));
    std::string line;
    int number = 0;
    int first = 0;
    while (rcsctl::readLogicalLine(script, &line, &number, &first)) {
        if (first < 1 || first > number) abort();
        std::vector<std::string> words;
        std::string error;
        if (!rcsctl::splitWords(line, &words, &error)) {
            if (error.empty()) abort();  // a refusal always says why
            continue;
        }
        if (words.empty()) continue;
        rcsctl::Command command;
        if (!rcsctl::parseCommand(words, &command, &error)) {
            if (error.empty() || error.find('\n') != std::string::npos) abort();  // one line
            continue;
        }
        if (command.verb == rcsctl::Verb::SetSettings) checkConverts(command, line);
    }
    return 0;
}
