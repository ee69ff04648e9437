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

}  // namespace kestrin::widget
