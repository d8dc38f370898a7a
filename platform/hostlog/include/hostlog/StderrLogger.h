/*
 * The liblog logger of a workstation process that has no log sink of its own
 * (mcx-modemd): every line in ANDROID_PRINTF_LOG's layout on stderr,
 * filtered by ANDROID_LOG_TAGS, lines below INFO included when the filter
 * asks for them.
 */
#ifndef HOSTLOG_STDERR_LOGGER_H
#define HOSTLOG_STDERR_LOGGER_H

namespace hostlog {

// Installs the logger for the whole process. Call once, early, from main.
void installStderrLogger();

}  // namespace hostlog

#endif  // HOSTLOG_STDERR_LOGGER_H
