// The texts of the health, habits and charger views: time above 80%, battery
// health and its projection, health milestones, and the charger card.
//
//   Meaning::health(92, 310, DetailLevel::simple)
//       == Meaning::Line{"92% health", "Your battery holds 92% of what it did new. Normal wear, nothing to do."}
//   Meaning::healthStatus(91) == "Normal wear."
//   Meaning::healthStatus(91, 312) == "Normal for 312 cycles."
//   Meaning::highChargePanel(summaryWithHalfAnHourSampled, DetailLevel::simple)
//       == "Counting starts now. Check back tomorrow."
//
// Every text comes from the catalogue in the current language, with the
// English default given here; numbers are formatted by Formatting first.
#pragma once

#include "BatteryCore/foundation/Calendar.hpp"
#include "BatteryCore/foundation/Date.hpp"
#include "BatteryCore/health/ChargerReport.hpp"
#include "BatteryCore/health/HealthTrend.hpp"
#include "BatteryCore/health/HighChargeLedger.hpp"
#include "BatteryCore/text/DetailLevel.hpp"
#include "BatteryCore/text/Meaning.hpp"

#include <optional>
#include <string>

namespace batterycore::Meaning {

// --- Time at high charge ---------------------------------------------------

// "12 h above 80% this month", then last month (or that this is the first
// month) and the plugged-in hours.
Line highCharge(const HighChargeLedger::MonthSummary& summary, DetailLevel level);
// The line under the habits chart; "Counting starts now ..." until a full
// hour of this month has been sampled.
std::string highChargePanel(const HighChargeLedger::MonthSummary& summary, DetailLevel level);
// What is counted and why.
std::string habitsFootnote(DetailLevel level);

namespace Habits {
std::string title();
std::string thisMonth();
std::string lastMonth();
std::string legendAbove80();
std::string legendPlugged();
std::string chartLabel();
std::string chartAxis();
}  // namespace Habits

// --- Battery health ----------------------------------------------------------

// "92% health" and what it means; without a percent (the design capacity is
// not reported) the title is the tab's and the detail says why health is
// unknown. The cycle count is what the Mac reports; the wording does not
// depend on it today.
Line health(std::optional<int> percent, int cycles, DetailLevel level);

// The projection to 80% for the health view; `days` is
// HealthTrend::daysInWindow of the same samples.
std::string healthProjection(const std::optional<HealthTrend::Projection>& projection, int percent,
                             int days, DetailLevel level);
// Shown under any projection.
std::string projectionCaveat();

// One short sentence for a health percent: "Like new." from 95, "Normal
// wear." (or "Normal for 312 cycles." with a cycle count) from 90, "Showing
// its age, still fine." from 80, and the service advice below.
std::string healthStatus(int percent, std::optional<int> cycles = std::nullopt);

namespace Health {
std::string tabTitle();
std::string chartLabel();
std::string chartAxis();
std::string range90Days();
std::string range1Year();
std::string rangeAll();
std::string figureFull();
std::string figureDesign();
std::string figureTankNew();
std::string figureTankNow();
std::string notReported();
std::string figuresCaption(DetailLevel level);
std::string serviceLine();
std::string unknown();
}  // namespace Health

// The health milestone alert's title and body: "Battery health: 91%",
// "Down 1 points since Mar 5. Normal wear." The date carries its year only
// when it lies in another year than `now`.
Line healthMilestone(int percent, int drop, Date since, Date now, const Calendar& calendar);

// --- Chargers ----------------------------------------------------------------

// The card's heading, "Charger".
std::string chargerCardTitle();
// "Gives up to 96 W" over the verdict in words (simple) or against the
// model's rating (technical).
Line chargerCard(const ChargerReport& report, DetailLevel level);

// The weak-charger alert. Draining: "Draining while plugged in" (or "Your
// charger can't keep up" when the Mac uses more than the charger's rating)
// with what the Mac uses; charging slowly: "Charging slowly".
Line weakChargerDrains(int ratedW, double usingW);
Line weakChargerSlow(int ratedW);

}  // namespace batterycore::Meaning
