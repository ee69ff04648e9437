// `kestrin settings`: the person's settings, read and changed from the shell.
//
//   kestrin settings                        every setting: value, default, what it does
//   kestrin settings interval               one setting
//   kestrin settings interval 30            checked, stored, and picked up by a running `kestrin watch`
//   kestrin settings calendar.keywords trip, flight, Reise
//   kestrin settings alert.hot default      back to the default
//   kestrin settings --state DIR --locale de_DE
//
// The settings live in settings.json in the state folder ($XDG_STATE_HOME/
// kestrin/state, else ~/.local/state/kestrin/state, or --state DIR), written
// atomically. A damaged file is never overwritten: a listing names it in one
// line and exits with 1; a change reports it and keeps it aside. A value that
// is refused prints one line, "kestrin: <key>: <what is allowed>", exits with 1
// and leaves the file as it was; so does a key that is no setting, and a
// calendar.path whose file cannot be read. After a change the service's wake-up notification is posted, so a
// running service reads the settings again at once. The texts are in --locale,
// else the stored locale setting, else the process's language.
#pragma once

#include <iosfwd>
#include <memory>
#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace kestrin::tool {

struct SettingsOptions {
  std::string key;                 // empty: every setting
  std::vector<std::string> value;  // the words of the new value, joined by spaces; empty: only show
  std::string stateFolder;         // empty: the service's default state folder
  std::string locale;              // empty: the stored locale, else the process's
};

// Lists, shows or sets; returns the exit code: 1 for an unknown key, a refused
// value or a file that cannot be written, 2 for a bad --locale.
int runSettings(const SettingsOptions& options, std::ostream& out, std::ostream& err);

struct SettingsCommand {
  CLI::App* command = nullptr;
  std::shared_ptr<SettingsOptions> options;

  bool chosen() const;
  int run(std::ostream& out, std::ostream& err) const;
};

SettingsCommand addSettingsCommand(CLI::App& app);

}  // namespace kestrin::tool
