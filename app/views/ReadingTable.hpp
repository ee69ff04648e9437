// ReadingTable: a readable table of battery readings with their charge phase,
// ambient mood and power-flow split, as the tool prints it.
#pragma once

#include "BatteryCore/readings/BatterySnapshot.hpp"

#include <string>
#include <vector>

namespace kestrin::app {

struct LabelledReading {
  std::string label;
  batterycore::BatterySnapshot snapshot;
};

// Reads {"readings": [{"label": ..., "snapshot": {...}}, ...]}; throws
// batterycore::DecodingError naming the reading that failed.
std::vector<LabelledReading> decodeReadings(const batterycore::Json& json);

std::string describePhase(const batterycore::ChargePhase& phase);
std::string describeLimit(const batterycore::LimitState& limit);

std::string renderReadingTable(const std::vector<LabelledReading>& readings);

}  // namespace kestrin::app
