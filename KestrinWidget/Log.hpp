// logNote: a line for the system log about what the widget side did that
// nobody sees on screen (a snapshot it could not store, a request it answered).
//
//   logNote("answered the control: limit off");
//
// The unified log on Apple systems, syslog elsewhere. Never the terminal: the
// tool's own output stays the user's.
#pragma once

#include <string_view>

namespace kestrin::widget {

void logNote(std::string_view message);

// The same for the long-running service ("kestrin watch"), under its own
// name (syslog ident "kestrin", log category "service"). `warning` marks
// what needs a person's eye (a damaged state file, a limit that cannot be
// switched).
void logServiceNote(std::string_view message, bool warning = false);

}  // namespace kestrin::widget
