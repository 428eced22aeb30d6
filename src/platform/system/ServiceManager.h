// Reports the state of this service to a service manager, and finds out whether its journal reads a stream.
// Any thread.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>

namespace moxtel {

// "READY=1", "STOPPING=1". The protocol is one datagram of "KEY=value" to the socket that NOTIFY_SOCKET names
// (sd_notify(3)); without it nothing is sent. False when sending failed.
bool notifyServiceManager(std::string_view state);

// Whether a service manager waits for these states.
bool hasServiceManager();

enum class OutputKind : unsigned char { Plain, Journal };

// Whether what is written to the stream goes to the journal ($JOURNAL_STREAM names it).
OutputKind kindOfOutput(std::FILE* stream);

enum class JournalPriority : std::uint8_t { Error = 3, Info = 6 };

// The text in the journal's format. Each of its lines begins with the priority, so that the text cannot set
// another one; lines after the first are indented, so that they do not look like lines of their own.
std::string journalLines(JournalPriority priority, std::string_view text);

// Whole lines: the text after the first prefix, its later lines after the second one, and a newline.
std::string prefixedLines(std::string_view firstPrefix, std::string_view nextPrefix, std::string_view text);

}  // namespace moxtel
