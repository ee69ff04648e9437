#include "BatteryCore/text/MeaningHealth.hpp"

#include "BatteryCore/text/Formatting.hpp"

#include <unicode/dtptngen.h>
#include <unicode/locid.h>
#include <unicode/smpdtfmt.h>
#include <unicode/timezone.h>
#include <unicode/unistr.h>

#include <memory>

namespace batterycore::Meaning {

namespace {

// Health bands of the status sentence.
constexpr int kLikeNewFrom = 95;
constexpr int kNormalWearFrom = 90;
constexpr int kShowingAgeFrom = 80;
// Below this many months the projection says "a few months".
constexpr double kFewMonths = 3.0;
constexpr int kMinutesPerHour = 60;

std::string hoursText(double hours) { return Formatting::hours(hours); }

// The day of a moment as the locale writes it, "Mar 5", with the year
// ("Mar 5, 2025") only when it is not the year of `now`.
std::string dayOfYear(Date date, Date now, const Calendar& calendar) {
  const bool thisYear = calendar.components(date).year == calendar.components(now).year;
  icu::Locale locale = icu::Locale::getDefault();
  UErrorCode status = U_ZERO_ERROR;
  // Days are counted in the Gregorian calendar whatever the locale prefers.
  locale.setKeywordValue("calendar", "gregorian", status);
  status = U_ZERO_ERROR;
  std::unique_ptr<icu::DateTimePatternGenerator> generator(
      icu::DateTimePatternGenerator::createInstance(locale, status));
  if (U_FAILURE(status)) return calendar.dayKey(date);
  const icu::UnicodeString pattern = generator->getBestPattern(thisYear ? u"MMMd" : u"yMMMd", status);
  icu::SimpleDateFormat format(pattern, locale, status);
  if (U_FAILURE(status)) return calendar.dayKey(date);
  format.adoptTimeZone(icu::TimeZone::createTimeZone(icu::UnicodeString::fromUTF8(calendar.timeZone())));
  icu::UnicodeString text;
  format.format(secondsSince1970(date) * 1000.0, text);
  text.findAndReplace(icu::UnicodeString(u'\u202F'), icu::UnicodeString(u' '));
  std::string out;
  text.toUTF8String(out);
  return out;
}

// A phrase of the charger card ended as a sentence in the current language.
std::string sentence(std::string phrase) { return phrase + Formatting::sentenceEnd(); }

}  // namespace

// --- Time at high charge ---------------------------------------------------

Line highCharge(const HighChargeLedger::MonthSummary& summary, DetailLevel level) {
  const std::string above = hoursText(summary.hoursAbove80);
  const std::string plugged = hoursText(summary.hoursPlugged);
  const std::string title = format("highCharge.title", "%@ above 80%% this month", {above});

  std::string history;
  if (summary.previousHoursAbove80) {
    history = leveled("highCharge.lastMonth", level, "Last month it was %@.", "Last month: %@.",
                      {hoursText(*summary.previousHoursAbove80)});
  } else {
    history = leveled("highCharge.firstMonth", level, "Your first month of history.",
                      "First month of history.");
  }
  const std::string pluggedIn =
      level == DetailLevel::technical
          ? format("highCharge.plugged.technical",
                   "Plugged in %@, %@ of it above 80%%. Without a limit, most of the plugged-in time would "
                   "have been at 100%%.",
                   {plugged, above})
          : format("highCharge.plugged.simple",
                   "You were plugged in for %@. Without a limit, most of that would have been spent at "
                   "100%%, where a battery ages fastest.",
                   {plugged});
  return {title, join({history, pluggedIn})};
}

std::string highChargePanel(const HighChargeLedger::MonthSummary& summary, DetailLevel level) {
  if (summary.hoursSampled < 1.0) {
    return text("highCharge.panel.starting", "Counting starts now. Check back tomorrow.");
  }
  if (level == DetailLevel::technical) {
    return format("highCharge.panel.technical", "Above 80%% this month, plugged in or not. Plugged in %@.",
                  {hoursText(summary.hoursPlugged)});
  }
  return text("highCharge.panel.simple",
              "Hours above 80%% this month, where a battery ages fastest. Less is better.");
}

std::string habitsFootnote(DetailLevel level) {
  if (level == DetailLevel::technical) {
    const auto gapMinutes = static_cast<int>(HighChargeLedger::maxGap.count()) / kMinutesPerHour;
    return format("habits.footnote.technical",
                  "Counted above 80%% regardless of the limit. Time is booked each tick. Gaps over %lld "
                  "minutes (sleep) aren't counted.",
                  {gapMinutes});
  }
  return text("habits.footnote.simple",
              "Above 80%% is where a battery starts to age faster, so that's what gets counted, whatever "
              "your limit is set to.");
}

namespace Habits {
std::string title() { return text("habits.title", "Time at high charge"); }
std::string thisMonth() { return text("habits.thisMonth", "This month"); }
std::string lastMonth() { return text("habits.lastMonth", "Last month"); }
std::string legendAbove80() { return text("habits.legend.above80", "Above 80%%"); }
std::string legendPlugged() { return text("habits.legend.plugged", "Plugged in"); }
std::string chartLabel() { return text("habits.chart.label", "Hours above 80%% each day this month"); }
std::string chartAxis() { return text("habits.chart.axis", "Hours"); }
}  // namespace Habits

// --- Battery health ----------------------------------------------------------

Line health(std::optional<int> percent, int /*cycles*/, DetailLevel level) {
  if (!percent) return {Health::tabTitle(), Health::unknown()};
  const std::string shown = Formatting::percent(*percent);
  const std::string title = format("health.title", "%@ health", {shown});
  if (level == DetailLevel::technical) {
    return {title, format("health.technical", "Full charge capacity is %@ of design.", {shown})};
  }
  const bool normalWear = *percent >= kNormalWearFrom && *percent < kLikeNewFrom;
  return {title, join({format("health.simple", "Your battery holds %@ of what it did new.", {shown}),
                       normalWear ? std::optional<std::string>(
                                        text("health.normalWear.nothingToDo", "Normal wear, nothing to do."))
                                  : std::nullopt})};
}

std::string healthProjection(const std::optional<HealthTrend::Projection>& projection, int percent,
                             int days, DetailLevel level) {
  if (percent < kShowingAgeFrom) {
    return text("projection.below80", "Already below 80%%, where Apple recommends a battery service.");
  }
  if (projection) {
    const std::string until = projection->monthsTo80 < kFewMonths
                                  ? text("projection.fewMonths", "a few months")
                                  : Formatting::span(projection->monthsTo80);
    const std::string pace =
        level == DetailLevel::technical
            ? format("projection.pace.technical",
                     "Losing about %@ points a month over the last %lld days: %@ until 80%%.",
                     {Formatting::decimal(-projection->slopePerMonth, 1), days, until})
            : format("projection.pace.simple",
                     "At this pace, %@ until 80%%, when Apple recommends a battery service.", {until});
    return join({pace, text("projection.limitSlows", "Keeping the limit on slows this down.")});
  }
  if (days < HealthTrend::minimumSamples) {
    return join({text("projection.tooEarly", "Too early to project."),
                 leveled("projection.tooEarly", level, "Check back in a month.",
                         "A projection needs 30 daily samples from the last 180 days.")});
  }
  if (level == DetailLevel::technical) {
    return format("projection.steady.technical",
                  "Under 1 point of change over the last %lld days, too little to project.", {days});
  }
  return text("projection.steady.simple", "Holding steady so far, so there's no date to project yet.");
}

std::string projectionCaveat() {
  return text("projection.caveat", "A rough guess from your last few months.");
}

std::string healthStatus(int percent, std::optional<int> cycles) {
  if (percent >= kLikeNewFrom) return text("health.likeNew", "Like new.");
  if (percent >= kNormalWearFrom) {
    if (cycles) return format("health.normalForCycles", "Normal for %lld cycles.", {*cycles});
    return text("health.normalWear", "Normal wear.");
  }
  if (percent >= kShowingAgeFrom) return text("health.showingAge", "Showing its age, still fine.");
  return text("health.below80", "Below 80%%. Apple recommends a battery service at this point.");
}

namespace Health {
std::string tabTitle() { return text("health.tab.title", "Battery health"); }
std::string chartLabel() { return text("health.chart.label", "Battery health over time"); }
std::string chartAxis() { return text("health.chart.axis", "Health"); }
std::string range90Days() { return text("health.range.90days", "90 days"); }
std::string range1Year() { return text("health.range.1year", "1 year"); }
std::string rangeAll() { return text("health.range.all", "All"); }
std::string figureFull() { return text("health.figure.full", "Full charge capacity"); }
std::string figureDesign() { return text("health.figure.design", "Design capacity"); }
std::string figureTankNew() { return text("health.figure.tankNew", "Tank when new"); }
std::string figureTankNow() { return text("health.figure.tankNow", "Tank now"); }
std::string notReported() { return text("health.notReported", "Not reported"); }
std::string figuresCaption(DetailLevel level) {
  return leveled("health.figures.caption", level,
                 "mAh is the size of the tank. A smaller tank means a shorter day away from the charger.",
                 "Health is full charge capacity over design capacity, rounded. The same definition as "
                 "Apple's Maximum Capacity.");
}
std::string serviceLine() { return text("health.serviceLine", "Apple recommends service at 80%%"); }
std::string unknown() {
  return text("health.unknown",
              "Your Mac isn't reporting the battery's original size right now, so health can't be worked out.");
}
}  // namespace Health

Line healthMilestone(int percent, int drop, Date since, Date now, const Calendar& calendar) {
  return {format("healthMilestone.title", "Battery health: %@", {Formatting::percent(percent)}),
          join({format("healthMilestone.down", "Down %lld points since %@.",
                       {drop, dayOfYear(since, now, calendar)}),
                healthStatus(percent)})};
}

// --- Chargers ----------------------------------------------------------------

std::string chargerCardTitle() { return text("chargerCard.title", "Charger"); }

namespace {

std::string simpleVerdict(const ChargerReport& report) {
  switch (report.verdict) {
    case ChargerVerdict::plenty: return text("chargerCard.simple.plenty", "Plenty of power for this Mac.");
    case ChargerVerdict::enough:
      return join({text("chargerCard.simple.enough", "Enough power for this Mac."),
                   text("chargerCard.simple.enough.remark",
                        "It may charge a little slower while you work hard.")});
    case ChargerVerdict::slow:
      return text("chargerCard.simple.slow",
                  "A bit small for this Mac. It charges slowly, and heavy work can drain the battery.");
    case ChargerVerdict::tooSmall:
      return text("chargerCard.simple.tooSmall",
                  "Too small for this Mac. The battery may run down even while plugged in.");
    case ChargerVerdict::fallbackSeen:
      if (report.biggestSeenW) {
        return format("chargerCard.simple.fallbackSeen",
                      "Smaller than the %@ charger you've used before, so charging is slower.",
                      {Formatting::watts(*report.biggestSeenW)});
      }
      break;
    case ChargerVerdict::unknown: break;
  }
  return text("chargerCard.simple.unknown", "Can't tell yet whether this charger is big enough for this Mac.");
}

std::string technicalVerdict(const ChargerReport& report) {
  switch (report.verdict) {
    case ChargerVerdict::plenty: return text("chargerCard.technical.plenty", "At or above the rating");
    case ChargerVerdict::enough: return text("chargerCard.technical.enough", "75%% of the rating or more");
    case ChargerVerdict::slow: return text("chargerCard.technical.slow", "Half the rating or more, under 75%%");
    case ChargerVerdict::tooSmall: return text("chargerCard.technical.tooSmall", "Under half the rating");
    case ChargerVerdict::fallbackSeen:
    case ChargerVerdict::unknown: break;
  }
  if (report.biggestSeenW) {
    return format("chargerCard.technical.unknown.seen",
                  "No rating known for this model; the biggest charger seen on this Mac gives %@",
                  {Formatting::watts(*report.biggestSeenW)});
  }
  return text("chargerCard.technical.unknown", "No rating known for this model");
}

}  // namespace

Line chargerCard(const ChargerReport& report, DetailLevel level) {
  const std::string watts = Formatting::watts(report.adapter.watts);
  const std::string title = report.adapter.isWireless
                                ? format("chargerCard.gives.wireless", "Wireless, gives up to %@", {watts})
                                : format("chargerCard.gives", "Gives up to %@", {watts});
  if (level == DetailLevel::simple) return {title, simpleVerdict(report)};

  std::optional<std::string> against;
  if (report.power) {
    against = sentence(format("chargerCard.technical.against",
                              "%@ adapter against this Mac's %@ rating (%@ for fast charging)",
                              {watts, Formatting::watts(report.power->wants),
                               Formatting::watts(report.power->fast)}));
  }
  std::optional<std::string> wireless;
  if (report.adapter.isWireless) {
    wireless = sentence(text("chargerCard.technical.wireless", "Wireless, slower than a cable"));
  }
  return {title, join({against, sentence(technicalVerdict(report)), wireless})};
}

Line weakChargerDrains(int ratedW, double usingW) {
  const std::string title =
      usingW > static_cast<double>(ratedW)
          ? text("weakCharger.alert.cantKeepUp", "Your charger can't keep up")
          : text("weakCharger.alert.drains", "Draining while plugged in");
  return {title, format("weakCharger.drains",
                        "This %@ charger can't keep up with the %@ your Mac is using, so the battery is "
                        "running down.",
                        {Formatting::watts(ratedW), Formatting::watts(usingW)})};
}

Line weakChargerSlow(int ratedW) {
  return {text("weakCharger.alert.slow", "Charging slowly"),
          format("weakCharger.slow", "This %@ charger is small for your Mac, so the battery fills slowly.",
                 {Formatting::watts(ratedW)})};
}

}  // namespace batterycore::Meaning
