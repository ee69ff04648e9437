// logServiceLine: a line for the system log from the long-running service
// ("kestrin watch"), under its own name: syslog with the tag "kestrin" on
// Linux, the unified log's "service" category on a Mac. `warning` marks what
// needs a person's eye (a damaged state file, a limit that cannot be switched).
//
//   logServiceLine("the battery reads again");
#pragma once

#include <string_view>

namespace kestrin::app::live {

void logServiceLine(std::string_view message, bool warning = false);

}  // namespace kestrin::app::live
