#include "DumpJson.h"

#include <sstream>
#include <vector>

#include "TextQuote.h"

namespace rcsctl {

namespace {

struct Section {
    std::string name;
    std::string summary;
    std::vector<std::string> lines;
};

// "Listeners: 2 (x)" -> "Listeners" and "2 (x)"; "Modem (emulator)" -> "Modem" and "emulator".
Section heading(const std::string& line) {
    Section s;
    const size_t colon = line.find(": ");
    const size_t paren = line.find(" (");
    if (colon != std::string::npos && (paren == std::string::npos || colon < paren)) {
        s.name = line.substr(0, colon);
        s.summary = line.substr(colon + 2);
    } else if (paren != std::string::npos && line.back() == ')') {
        s.name = line.substr(0, paren);
        s.summary = line.substr(paren + 2, line.size() - paren - 3);
    } else {
        s.name = line;
    }
    return s;
}

std::string array(const std::vector<std::string>& items) {
    std::string text = "[";
    for (size_t i = 0; i < items.size(); ++i) text += (i ? "," : "") + jsonQuote(items[i]);
    return text + "]";
}

}  // namespace

Json dumpJson(const std::string& dump) {
    std::istringstream in(dump);
    std::string line, title;
    std::getline(in, title);
    std::vector<Section> sections;
    while (std::getline(in, line)) {
        if (line.empty()) continue;
        if (line[0] != ' ' || sections.empty()) {
            sections.push_back(heading(line));
        } else {
            sections.back().lines.push_back(line.compare(0, 2, "  ") == 0 ? line.substr(2) : line);
        }
    }
    Json members;
    for (const auto& s : sections) {
        members.raw(s.name, Json().str("summary", s.summary).raw("lines", array(s.lines)).text());
    }
    return Json().str("title", title).raw("sections", members.text());
}

}  // namespace rcsctl
