// AppleBatteryProperties: a BatterySnapshot from the properties of the Mac's
// AppleSmartBattery registry entry, and the Json tree of those properties from
// any of the three forms they are saved in.
//
//   auto tree = appleTreeFromText(fileText);        // ioreg text, XML plist or JSON
//   auto reading = snapshotFromAppleProperties(tree, now, LimitState::on(80));
//   if (reading.snapshot) use(*reading.snapshot);
//   else log(reading.refusal);   // "no CurrentCapacity: the charge percentage is unknown"
//
// Where each field comes from (the first key found wins; "BD." is the
// BatteryData dictionary, where newer systems move some keys; "CD." is
// ChargerData, "PT." PowerTelemetryData):
//
//   percent                  CurrentCapacity, BD.CurrentCapacity. A percentage when
//                            MaxCapacity (or BD.MaxCapacity) is 100, or, with no
//                            MaxCapacity, when AppleRawCurrentCapacity is there
//                            (Apple silicon). Otherwise mAh, as older Intel Macs
//                            report it: round(100 × CurrentCapacity / MaxCapacity),
//                            at most 100. Required.
//   pluggedIn                ExternalConnected, AppleRawExternalConnected. Required.
//   charging                 IsCharging, CD.IsCharging; else plugged in with a
//                            positive current.
//   fullyCharged             FullyCharged; false when missing.
//   minutesToEmpty/ToFull    AvgTimeToEmpty / AvgTimeToFull, minutes; 65535 (no
//                            estimate) and missing are absent.
//   limit, thermal           the caller's: the registry entry holds neither.
//   notChargingReason        CD.NotChargingReason, raw bits, 0 when missing.
//   slowChargingReason       CD.SlowChargingReason, raw bits, 0 when missing.
//   thermallyLimitedSeconds  CD.TimeChargingThermallyLimited, s; 0 when missing.
//   fullChargeCapacity       AppleRawMaxCapacity, MaxCapacity when it is mAh,
//                            BD.FullChargeCapacity; mAh.
//   nominalChargeCapacity    NominalChargeCapacity, BD.NominalChargeCapacity, else
//                            fullChargeCapacity (Intel Macs have no nominal); mAh.
//   designCapacity           DesignCapacity, BD.DesignCapacity; mAh.
//   remainingCapacity        AppleRawCurrentCapacity, CurrentCapacity when it is mAh,
//                            BD.RemainingCapacity; mAh.
//   cycleCount               CycleCount, BD.CycleCount.
//   designCycleCount         DesignCycleCount9C.
//   voltageMilliV            Voltage, BD.Voltage, AppleRawBatteryVoltage; mV.
//   amperageMilliA           Amperage, InstantAmperage; mA, + into the battery.
//   systemPowerInMilliW      PT.SystemPowerIn, mW; absent without it.
//   systemLoadMilliW         PT.SystemLoad, mW; absent without it.
//   batteryPowerMilliW       PT.BatteryPower, mW, + into the battery; absent without it.
//   adapter                  AdapterDetails, else the strongest entry of
//                            AppleRawAdapterDetails (all adapters attached), when
//                            plugged in and Watts > 0: watts Watts, description Name
//                            (else Description), isWireless IsWireless.
//                            {"FamilyCode"=0} alone is no adapter.
//
// Missing numbers other than the two required ones read as 0, as the snapshot
// has no "unknown" for them. The forms disagree on types, so the mapping
// accepts them all: booleans as true/false, Yes/No text or 0/1; signed values
// (currents, powers) printed as their unsigned 64-bit two's complement
// (18446744073709551133 is -483) or as negative numbers; the raw reason bit
// fields from either, read back as their unsigned bits. Values of the wrong
// type count as missing; numbers beyond an int saturate. Nothing here throws.
#pragma once

#include "BatteryCore/foundation/Date.hpp"
#include "BatteryCore/foundation/Json.hpp"
#include "BatteryCore/readings/BatterySnapshot.hpp"
#include "BatteryCore/readings/LimitState.hpp"
#include "BatteryCore/readings/ThermalLevel.hpp"

#include <optional>
#include <string>
#include <string_view>

namespace kestrin::app::live {

// A snapshot, or the reason there is none.
struct AppleReading {
  std::optional<batterycore::BatterySnapshot> snapshot;
  std::string refusal;  // empty when there is a snapshot
};

AppleReading snapshotFromAppleProperties(const batterycore::Json& tree, batterycore::Date at,
                                         batterycore::LimitState limit,
                                         batterycore::ThermalLevel thermal = batterycore::ThermalLevel::nominal);

// The registry entry's properties from a saved file's text: an XML property
// list (starts with `<?xml` or `<plist`), JSON (starts with `{` or `[`: one
// object, or an array whose first item is the object), else ioreg's text
// form. Leading white space is skipped. Throws DecodingError saying which form
// was read and why it failed.
batterycore::Json appleTreeFromText(std::string_view text);

// The JSON form alone; the same rules as above.
batterycore::Json appleTreeFromJson(std::string_view text);

}  // namespace kestrin::app::live
