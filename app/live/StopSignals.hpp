// catchStopSignals: SIGTERM and SIGINT end the service. Returns the flag they
// set; on Linux it also adds a signal descriptor to `sources`, so that a stop
// that arrives between two checks of the flag still ends the wait at once.
//
//   const auto& stop = catchStopSignals(platform.wakeSources);
//   service.run(stop);
#pragma once

#include "app/Platform.hpp"

#include <csignal>
#include <vector>

namespace kestrin::app::live {

const volatile std::sig_atomic_t& catchStopSignals(std::vector<WakeSource>& sources);

}  // namespace kestrin::app::live
