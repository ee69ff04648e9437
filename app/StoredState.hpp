// StoredState: the service's states and settings as a state folder holds
// them, read without changing the folder. The files are read from a private
// copy, so a damaged one is reported but stays where it is (the service moves
// it aside itself when it next starts).
//
//   const auto stored = readStoredState("/home/me/.local/state/kestrin/state");
//   stored.found                  // false: no such folder; every state is its default
//   stored.state.highCharge.days  // as Monitor::readState gives them
//   stored.damaged                // one entry per file that could not be read
#pragma once

#include "app/Monitor.hpp"
#include "app/Settings.hpp"

#include <filesystem>
#include <string>
#include <vector>

namespace kestrin::app {

struct StoredState {
  struct Damage {
    std::string name;  // the state's name: "health" for health.json
    std::string line;  // what went wrong, naming the file in the state folder
  };

  bool found = false;  // the folder exists
  MonitorState state;
  Settings settings;
  std::vector<Damage> damaged;

  bool isDamaged(const std::string& name) const;
};

StoredState readStoredState(const std::filesystem::path& folder);

}  // namespace kestrin::app
