#include "BatteryCore/text/MeaningSmart.hpp"

#include "BatteryCore/text/Formatting.hpp"

#include <algorithm>
#include <array>
#include <cmath>
#include <vector>

namespace batterycore::Meaning::Smart {

namespace {

using Day = DepartureModel::Day;

constexpr int kDaysPerWeek = 7;
constexpr int kMonday = 2;
constexpr int kFriday = 6;
constexpr double kQuarterHour = 15.0;

bool isMondayToFriday(int weekday) { return weekday >= kMonday && weekday <= kFriday; }

const Day* dayOf(std::span<const Day> days, int weekday) {
  const auto found = std::find_if(days.begin(), days.end(), [&](const Day& d) { return d.weekday == weekday; });
  return found == days.end() ? nullptr : &*found;
}

std::string pluralName(int weekday) {
  const std::array<int, 1> one{weekday};
  return Formatting::weekdays(one);
}

// Monday to Friday told as one: the earliest of their usual times, and the
// earliest and latest of all their samples.
struct WeekdayGroup {
  int usual;
  int firstSample;
  int lastSample;
};

std::optional<WeekdayGroup> weekdayGroup(std::span<const Day> days) {
  std::vector<int> usual;
  std::vector<int> samples;
  for (int weekday = kMonday; weekday <= kFriday; ++weekday) {
    const Day* day = dayOf(days, weekday);
    if (day == nullptr || !day->prediction) return std::nullopt;
    usual.push_back(day->prediction->minuteOfDay);
    samples.insert(samples.end(), day->minutes.begin(), day->minutes.end());
  }
  const auto [earliest, latest] = std::minmax_element(usual.begin(), usual.end());
  if (*latest - *earliest > groupWithin.count()) return std::nullopt;
  const auto [first, last] = std::minmax_element(samples.begin(), samples.end());
  return WeekdayGroup{*earliest, *first, *last};
}

// The weekdays in the calendar's week order, its first weekday first.
std::array<int, kDaysPerWeek> weekOrder(const Calendar& calendar) {
  std::array<int, kDaysPerWeek> order{};
  const int first = std::clamp(calendar.firstWeekday(), 1, kDaysPerWeek);
  for (int i = 0; i < kDaysPerWeek; ++i) order[static_cast<std::size_t>(i)] = (first - 1 + i) % kDaysPerWeek + 1;
  return order;
}

bool endsWith(const std::string& text, const std::string& end) {
  return !end.empty() && text.size() >= end.size() && text.compare(text.size() - end.size(), end.size(), end) == 0;
}

// A text that already ends a sentence, in the language's full stop or, for a
// text that fell back to English, in ".".
bool endsSentence(const std::string& text, const std::string& fullStop) {
  return endsWith(text, fullStop) || endsWith(text, ".");
}

// Pieces joined as a list, closed with the language's full stop. A piece that
// is a sentence of its own ("Saturdays: not enough days yet.") closes the list
// so far, and the next piece starts a new sentence.
std::string listSentence(const std::vector<std::string>& pieces) {
  const std::string separator = text("list.separator", ", ");
  const std::string fullStop = Formatting::sentenceEnd();
  std::string out;
  for (const auto& piece : pieces) {
    if (out.empty()) {
      out = piece;
    } else if (endsSentence(out, fullStop)) {
      out = join({out, piece});
    } else {
      out += separator + piece;
    }
  }
  if (!out.empty() && !endsSentence(out, fullStop)) out += fullStop;
  return out;
}

std::string asSentence(std::string text) {
  const std::string fullStop = Formatting::sentenceEnd();
  if (!endsSentence(text, fullStop)) text += fullStop;
  return text;
}

bool anySamples(std::span<const Day> days) {
  return std::any_of(days.begin(), days.end(), [](const Day& d) { return !d.minutes.empty(); });
}

std::string simplePiece(const Day& day) {
  const std::string name = pluralName(day.weekday);
  if (day.prediction) {
    return format("smart.learned.day", "%@ around %@",
                  {name, Formatting::time(quarterHour(day.prediction->minuteOfDay))});
  }
  if (static_cast<int>(day.minutes.size()) < DepartureModel::minDays) {
    return format("smart.learned.notEnough", "%@: not enough days yet.", {name});
  }
  return format("smart.learned.noUsualTime", "%@: no usual time yet.", {name});
}

std::string technicalPiece(const Day& day) {
  const std::string name = pluralName(day.weekday);
  const auto count = static_cast<std::int64_t>(day.minutes.size());
  if (day.prediction) {
    return format("smart.learned.technical.day", "%@ at %@, from %lld days",
                  {name, Formatting::time(day.prediction->minuteOfDay),
                   static_cast<std::int64_t>(day.prediction->basedOn)});
  }
  if (count < DepartureModel::minDays) {
    return format("smart.learned.technical.tooFew", "%@: %lld of 4 days needed", {name, count});
  }
  return format("smart.learned.technical.spread", "%@: %lld days, more than %@ apart",
                {name, count, Formatting::duration(static_cast<int>(DepartureModel::maxSpread.count()))});
}

// "today", "yesterday" or "40 days ago", counted by calendar days.
std::string daysAgo(int days) {
  if (days <= 0) return text("date.today", "today");
  if (days == 1) return text("date.yesterday", "yesterday");
  return format("date.daysAgo", "%lld days ago", {days});
}

std::string between(int first, int last) {
  return format("smart.between", "%@ and %@", {Formatting::time(first), Formatting::time(last)});
}

}  // namespace

int quarterHour(int minuteOfDay) {
  return static_cast<int>(std::lround(minuteOfDay / kQuarterHour) * static_cast<long>(kQuarterHour));
}

bool groupsWeekdays(std::span<const Day> days) { return weekdayGroup(days).has_value(); }

std::string learned(std::span<const Day> days, const Calendar& calendar, DetailLevel level) {
  if (!anySamples(days)) return nothingLearned();

  if (level == DetailLevel::technical) {
    std::vector<std::optional<std::string>> sentences;
    for (const int weekday : weekOrder(calendar)) {
      const Day* day = dayOf(days, weekday);
      if (day == nullptr || day->minutes.empty()) continue;
      sentences.emplace_back(asSentence(Formatting::capitalizedFirst(technicalPiece(*day))));
    }
    const int spanDays = days.front().spanDays;
    sentences.emplace_back(
        asSentence(format("smart.learned.technical.firstDay", "First unplug recorded %@", {daysAgo(spanDays)})));
    return join(sentences);
  }

  const auto group = weekdayGroup(days);
  std::vector<std::string> pieces;
  bool groupTold = false;
  for (const int weekday : weekOrder(calendar)) {
    if (group && isMondayToFriday(weekday)) {
      if (!groupTold) {
        pieces.push_back(Formatting::capitalizedFirst(
            format("smart.learned.weekdays", "Weekdays around %@", {Formatting::time(quarterHour(group->usual))})));
        groupTold = true;
      }
      continue;
    }
    const Day* day = dayOf(days, weekday);
    if (day == nullptr || day->minutes.empty()) continue;
    pieces.push_back(Formatting::capitalizedFirst(simplePiece(*day)));
  }
  return listSentence(pieces);
}

std::optional<Line> offer(std::span<const Day> days, int weekday, DetailLevel level) {
  const Day* day = dayOf(days, weekday);
  if (day == nullptr || !day->prediction) return std::nullopt;
  const auto group = isMondayToFriday(weekday) ? weekdayGroup(days) : std::nullopt;

  std::string usual;
  std::string can;
  if (level == DetailLevel::technical) {
    usual = group ? format("smart.offer.technical.weekdays", "Unplug times on Mondays to Fridays fall between %@.",
                           {between(group->firstSample, group->lastSample)})
                  : format("smart.offer.technical.day", "Unplug times on %@ fall between %@.",
                           {pluralName(weekday), between(day->minutes.front(), day->minutes.back())});
    can = text("smart.offer.technical.can",
               "Kestrin can run a full charge timed to finish just before, then restore the limit.");
  } else {
    usual = group ? format("smart.offer.simple.weekdays", "You usually unplug around %@ on weekdays.",
                           {Formatting::time(quarterHour(group->usual))})
                  : format("smart.offer.simple.day", "You usually unplug around %@ on %@.",
                           {Formatting::time(quarterHour(day->prediction->minuteOfDay)), pluralName(weekday)});
    can = text("smart.offer.simple.can",
               "Kestrin can top the battery up to 100%% just before, then put the limit back.");
  }
  return Line{offerTitle(), join({Formatting::capitalizedFirst(usual), can})};
}

Line alert(Date departure, const Calendar& calendar) {
  return {text("alert.smart.title", "Topping up before you leave"),
          format("alert.smart.body",
                 "Your Mac usually leaves around %@, so the battery is charging to 100%%. The limit comes back on "
                 "when you unplug.",
                 {Formatting::time(departure, calendar)})};
}

std::string notToday() { return text("action.notToday", "Not today"); }

std::string plansNext(Date departure, int leadMinutes, const Calendar& calendar, DetailLevel level) {
  const std::string leave = Formatting::time(departure, calendar);
  if (level == DetailLevel::technical) {
    const Date start = departure - std::chrono::minutes{leadMinutes};
    return format("plans.smart.next.technical", "Top-up starts around %@ for the %@ departure.",
                  {Formatting::time(start, calendar), leave});
  }
  return format("plans.smart.next.simple", "Tops up to 100%% before you leave at %@.", {leave});
}

std::string plansWindow(Date departure, bool pluggedIn, const Calendar& calendar, DetailLevel level) {
  const std::string leave = Formatting::time(departure, calendar);
  if (level == DetailLevel::technical) {
    return format("plans.smart.window.technical",
                  "Top-up window open for the %@ departure. It starts on the next check while plugged in.", {leave});
  }
  if (pluggedIn) {
    return format("plans.smart.window.plugged.simple", "The top-up for your %@ departure starts in a moment.",
                  {leave});
  }
  return format("plans.smart.window.unplugged.simple", "Plug in and it tops up to 100%% for your %@ departure.",
                {leave});
}

std::string plansSkipped(DetailLevel level) {
  return leveled("plans.smart.skipped", level, "Not today, as you asked. Back for your next usual departure.",
                 "Not today, as you asked. Back for your next usual departure.");
}

std::string plansRestored(int limit, DetailLevel level) {
  return leveled("plans.smart.restored", level, "Topped up before you left. The limit is back at %@.",
                 "Topped up before you left. The limit is back at %@.", {Formatting::percent(limit)});
}

std::string header() { return text("smart.header", "Before you usually leave"); }
std::string toggle() { return text("smart.toggle", "Charge to 100%% before I usually unplug"); }
std::string toggleDetail() {
  return text("smart.toggleDetail",
              "Kestrin learns the times you unplug on each weekday and tops the battery up just before. The limit "
              "comes back on when you unplug. Nothing leaves your Mac.");
}
std::string offerTitle() { return text("smart.offerTitle", "Charge to 100%% before you leave?"); }
std::string turnOn() { return text("smart.turnOn", "Turn on"); }
std::string notNow() { return text("smart.notNow", "Not now"); }
std::string nothingLearned() {
  return text("smart.nothingLearned", "Nothing learned yet. It takes about 4 weeks of unplugging at similar times.");
}
std::string forget() { return text("smart.forget", "Forget what it learned"); }
std::string forgetQuestion() { return text("smart.forgetQuestion", "Forget the unplug times"); }
std::string forgetDetail() { return text("smart.forgetDetail", "It starts over and needs about 4 weeks again."); }
std::string forgetConfirm() { return text("smart.forgetConfirm", "Forget"); }

}  // namespace batterycore::Meaning::Smart
