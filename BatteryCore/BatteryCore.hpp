// Everything BatteryCore offers, in one include.
#pragma once

#include "BatteryCore/foundation/AppInfo.hpp"
#include "BatteryCore/foundation/Calendar.hpp"
#include "BatteryCore/foundation/Date.hpp"
#include "BatteryCore/foundation/DecodingError.hpp"
#include "BatteryCore/foundation/Json.hpp"
#include "BatteryCore/readings/Adapter.hpp"
#include "BatteryCore/readings/BatterySnapshot.hpp"
#include "BatteryCore/readings/ChargePhase.hpp"
#include "BatteryCore/readings/Compatibility.hpp"
#include "BatteryCore/readings/LimitState.hpp"
#include "BatteryCore/readings/PowerFlow.hpp"
#include "BatteryCore/readings/ThermalLevel.hpp"
#include "BatteryCore/text/Meaning.hpp"
#include "BatteryCore/text/Template.hpp"
