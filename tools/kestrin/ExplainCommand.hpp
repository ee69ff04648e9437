// `kestrin explain`: what Kestrin would show for one battery reading — the
// attention it picks, the headline, the detail, the "why" title and the
// banner — at either detail level and in any language.
//
//   kestrin explain reading.json --level technical --locale de_DE
//   kestrin explain reading.json --session full-charge.json --now 2026-03-02T10:05:00Z
//
// The reading is a battery snapshot as JSON. The full-charge session, the
// watchdog and the calibration detector are their persisted files; without
// them the limit counts as holding and no calibration is running. `now`
// defaults to the reading's own moment, so the output does not depend on when
// the tool runs.
#pragma once

#include <memory>

namespace CLI {
class App;
}

namespace kestrin::tool {

class ExplainCommand {
 public:
  // Adds the subcommand and its options to the tool.
  static ExplainCommand add(CLI::App& app);

  // The subcommand was given on the command line.
  bool chosen() const;
  // Prints the explanation; 0 on success, 1 when an input cannot be read.
  int run() const;

  struct Options;

 private:
  ExplainCommand(std::shared_ptr<Options> options, CLI::App* command)
      : options_(std::move(options)), command_(command) {}
  std::shared_ptr<Options> options_;
  CLI::App* command_;
};

}  // namespace kestrin::tool
