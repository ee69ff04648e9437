// `kestrin texts`: the catalogue as one language reads it, for reviewing a
// translation at a glance. One line per key, sorted, with each value shown by
// its position (‹1›, ‹2›) so a reordered translation is easy to check.
//
//   kestrin texts thermal.                     every thermal text in the process's language
//   kestrin texts --locale de_DE --level technical energy.
//
// A text the language has no entry for shows the English, marked "[en]"; a
// translation that does not take the English values is marked "[does not fit]"
// and shown as written.
#pragma once

#include <iosfwd>
#include <string>

namespace CLI {
class App;
}

namespace kestrin::tool {

struct TextsOptions {
  std::string locale;  // empty: keep the process's locale
  std::string level;   // empty: both wordings; "simple" hides the .technical keys and the other way round
  std::string prefix;  // only keys that start with it
};

// Adds the `texts` subcommand; `options` is filled in when it is chosen.
CLI::App* addTextsCommand(CLI::App& app, TextsOptions& options);

// Writes the listing; returns the exit code (1 when no key starts with the prefix).
int runTextsCommand(const TextsOptions& options, std::ostream& out, std::ostream& err);

}  // namespace kestrin::tool
