/*
 * The service's state dump as one JSON object: a dump is a title line, then
 * sections, each a line at the left margin ("Listeners: 2 (death links made:
 * 2)", "Modem (embedded modem emulator)", "Pending requests") followed by its
 * indented lines. Each section becomes a member named by its heading, with
 * the rest of the heading as "summary" and its lines, one indent removed, as
 * "lines":
 *
 *   {"title":"RCS configuration service","sections":{"Listeners":
 *    {"summary":"2 (death links made: 2)","lines":["0x... slot 1, ..."]},...}}
 */
#ifndef RCSCONFIGCTL_DUMP_JSON_H
#define RCSCONFIGCTL_DUMP_JSON_H

#include <string>

#include "Output.h"

namespace rcsctl {

// The members "title" and "sections" of `dump`'s object.
Json dumpJson(const std::string& dump);

}  // namespace rcsctl

#endif  // RCSCONFIGCTL_DUMP_JSON_H
