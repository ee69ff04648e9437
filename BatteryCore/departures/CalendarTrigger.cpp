#include "BatteryCore/departures/CalendarTrigger.hpp"

#include "BatteryCore/text/MeaningTrips.hpp"

#include <unicode/locid.h>
#include <unicode/normalizer2.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <cstring>
#include <tuple>
#include <vector>

namespace batterycore {

namespace {

constexpr std::int64_t kMostPercentToCharge = 99;

bool isTurkic(const icu::Locale& locale) {
  return std::strcmp(locale.getLanguage(), "tr") == 0 || std::strcmp(locale.getLanguage(), "az") == 0;
}

// Text as compared: lower-cased by the locale's rules (Turkish "I" is "ı"),
// case folded ("ß" and "SS" alike), then composed, so "é" typed as e and an
// accent matches "é" typed as one character.
bool isAscii(std::string_view text) {
  return std::all_of(text.begin(), text.end(), [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

std::string asciiLower(std::string_view text) {
  std::string lower(text);
  for (char& c : lower) {
    if (c >= 'A' && c <= 'Z') c = static_cast<char>(c - 'A' + 'a');
  }
  return lower;
}

icu::UnicodeString comparable(std::string_view text, const icu::Locale& locale) {
  icu::UnicodeString unicode =
      icu::UnicodeString::fromUTF8(icu::StringPiece(text.data(), static_cast<int32_t>(text.size())));
  unicode.toLower(locale);
  unicode.foldCase(isTurkic(locale) ? U_FOLD_CASE_EXCLUDE_SPECIAL_I : U_FOLD_CASE_DEFAULT);
  UErrorCode status = U_ZERO_ERROR;
  const icu::Normalizer2* nfc = icu::Normalizer2::getNFCInstance(status);
  if (U_SUCCESS(status) && nfc != nullptr) {
    icu::UnicodeString composed = nfc->normalize(unicode, status);
    if (U_SUCCESS(status)) return composed;
  }
  return unicode;
}

bool isBlank(const icu::UnicodeString& text) {
  for (int32_t i = 0; i < text.length();) {
    const UChar32 c = text.char32At(i);
    if (!u_isUWhiteSpace(c)) return false;
    i += U16_LENGTH(c);
  }
  return true;
}

// Earlier start first; the uid breaks a tie, so the choice never depends on
// the order the files were read in.
bool earlier(const CalendarEvent& a, const CalendarEvent& b) {
  return std::tie(a.start, a.uid) < std::tie(b.start, b.uid);
}

bool stillAhead(const CalendarEvent& event, Date now, const Calendar& calendar) {
  return now < CalendarTrigger::closes(event.start, event.allDay, calendar);
}

// Whether the event starts close enough to now to matter: a trip opens on the
// evening before and closes by the end of its own day, never more than two
// days either side. A plain comparison of dates, checked before anything that
// needs the calendar, the key or the title, since most events are far off.
bool nearNow(const CalendarEvent& event, Date now) {
  constexpr Seconds reach = std::chrono::hours{72};
  return event.start > now - reach && event.start < now + reach;
}

// Found on its own day: the evening before had passed when it was first seen.
bool foundLate(const CalendarEvent& event, Date now, const Calendar& calendar) {
  return calendar.daysBetween(now, event.start) <= 0;
}

std::vector<std::string> keyList(const std::set<std::string>& keys) { return {keys.begin(), keys.end()}; }

std::set<std::string> keySet(const Json& json, std::string_view name) {
  const auto keys = valueOr<std::vector<std::string>>(json, name, {});
  return {keys.begin(), keys.end()};
}

void forgetOld(std::set<std::string>& keys, Date now) {
  std::erase_if(keys, [now](const std::string& key) {
    const auto start = CalendarEvent::startOfKey(key);
    return !start || *start < now - CalendarTrigger::keepKeys;
  });
}

}  // namespace

CalendarTrigger::Trip CalendarTrigger::Trip::of(const CalendarEvent& event, bool foundLate) {
  return {event.key(), event.title, event.start, event.allDay, foundLate};
}

bool CalendarTrigger::isTrip(const CalendarEvent& event, std::span<const std::string> keywords, bool allDayCounts,
                             std::string_view locale) {
  if (event.allDay && allDayCounts) return true;
  if (event.title.empty()) return false;
  // Plain ASCII compares as ASCII lower case (the same as folding it), except
  // in Turkish and Azeri, whose "I" lowers to a dotless "ı".
  const bool turkic = locale.starts_with("tr") || locale.starts_with("az");
  if (!turkic && isAscii(event.title) &&
      std::all_of(keywords.begin(), keywords.end(), [](const std::string& k) { return isAscii(k); })) {
    const std::string title = asciiLower(event.title);
    for (const auto& keyword : keywords) {
      const std::string word = asciiLower(keyword);
      if (word.find_first_not_of(" \t\n\v\f\r") == std::string::npos) continue;
      if (title.find(word) != std::string::npos) return true;
    }
    return false;
  }
  const icu::Locale language(std::string(locale).c_str());
  const icu::UnicodeString title = comparable(event.title, language);
  for (const auto& keyword : keywords) {
    const icu::UnicodeString word = comparable(keyword, language);
    if (word.isEmpty() || isBlank(word)) continue;
    if (title.indexOf(word) >= 0) return true;
  }
  return false;
}

Date CalendarTrigger::opens(Date start, const Calendar& calendar) {
  return calendar.onSameDay(calendar.addingDays(start, -1), eveningHour, 0);
}

Date CalendarTrigger::closes(Date start, bool allDay, const Calendar& calendar) {
  return allDay ? calendar.onSameDay(start, allDayLastHour, 0) : start;
}

std::optional<CalendarTrigger::Start> CalendarTrigger::decision(
    const CalendarTrigger& state, std::span<const CalendarEvent> events, const BatterySnapshot& snapshot,
    std::optional<int> canStart, bool enabled, bool allDayCounts, std::span<const std::string> keywords, Date now,
    const Calendar& calendar) {
  if (!enabled || !canStart) return std::nullopt;
  if (snapshot.percent > kMostPercentToCharge) return std::nullopt;
  if (!snapshot.pluggedIn) return std::nullopt;

  const CalendarEvent* chosen = nullptr;
  for (const auto& event : events) {
    if (!nearNow(event, now)) continue;
    if (chosen != nullptr && !earlier(event, *chosen)) continue;
    if (now < opens(event.start, calendar) || !stillAhead(event, now, calendar)) continue;
    if (!isTrip(event, keywords, allDayCounts, calendar.locale())) continue;
    const std::string key = event.key();
    if (state.handled.contains(key) || state.skipped.contains(key)) continue;
    chosen = &event;
  }
  if (chosen == nullptr) return std::nullopt;

  FullChargeSession session;
  session.startedAt = now;
  session.deadline = std::nullopt;
  session.origin = FullChargeSession::Origin::calendar(chosen->title);
  session.restoreOnUnplug = true;
  session.restoreWhenFull = false;
  session.limit = *canStart;
  session.reachedFull = false;
  session.restoreFailingSince = std::nullopt;
  session.restoreAlertSent = false;
  return Start{session, alert(*chosen, now, calendar), *chosen};
}

CalendarTrigger CalendarTrigger::seen(const CalendarTrigger& state, std::span<const CalendarEvent> events,
                                      bool allDayCounts, std::span<const std::string> keywords, Date now,
                                      const Calendar& calendar) {
  CalendarTrigger next = state;
  forgetOld(next.handled, now);
  forgetOld(next.skipped, now);

  const CalendarEvent* chosen = nullptr;
  for (const auto& event : events) {
    if (!nearNow(event, now)) continue;
    if (chosen != nullptr && !earlier(event, *chosen)) continue;
    const int days = calendar.daysBetween(now, event.start);
    if (days < 0 || days > 1 || !stillAhead(event, now, calendar)) continue;
    if (!isTrip(event, keywords, allDayCounts, calendar.locale())) continue;
    if (next.handled.contains(event.key())) continue;
    chosen = &event;
  }
  if (chosen == nullptr) {
    next.next.reset();
  } else if (!state.next || state.next->key != chosen->key()) {
    next.next = Trip::of(*chosen, foundLate(*chosen, now, calendar));
  } else {
    // The same occurrence: what was known of it stays; the title may have changed.
    next.next = Trip::of(*chosen, state.next->foundLate);
  }
  return next;
}

CalendarTrigger CalendarTrigger::started(const CalendarTrigger& state, const CalendarEvent& event, Date now,
                                         const Calendar& calendar) {
  CalendarTrigger next = state;
  const std::string key = event.key();
  next.handled.insert(key);
  const bool late = state.next && state.next->key == key ? state.next->foundLate : foundLate(event, now, calendar);
  next.current = Trip::of(event, late);
  if (next.next && next.next->key == key) next.next.reset();
  return next;
}

CalendarTrigger CalendarTrigger::restored(const CalendarTrigger& state, const FullChargeSession& session, Date now) {
  if (session.origin.kind() != FullChargeSession::Origin::Kind::calendar) return state;
  CalendarTrigger next = state;
  // Without a record of it (a state from an older version), the trip is told by its title alone.
  Trip trip = state.current ? *state.current
                            : Trip{"", session.origin.eventTitle().value_or(""), session.startedAt, false, false};
  next.lastRestored = Restored{std::move(trip), session.limit, now};
  next.current.reset();
  return next;
}

CalendarTrigger CalendarTrigger::skip(const CalendarTrigger& state, const std::string& eventKey) {
  CalendarTrigger next = state;
  next.skipped.insert(eventKey);
  return next;
}

std::optional<std::string> CalendarTrigger::skippableKey() const {
  if (current) return current->key;
  if (next && !skipped.contains(next->key)) return next->key;
  return std::nullopt;
}

BatteryAlert CalendarTrigger::alert(const CalendarEvent& event, Date now, const Calendar& calendar) {
  const bool tomorrow = calendar.daysBetween(now, event.start) >= 1;
  const auto line = Meaning::Trips::alert(event.title, tomorrow);
  return {BatteryAlert::Kind::calendarFullCharge, now, line.title, line.detail, std::nullopt};
}

Json CalendarTrigger::Trip::toJson() const {
  Json object = Json::object();
  put(object, "key", key);
  put(object, "title", title);
  put(object, "start", start);
  put(object, "allDay", allDay);
  put(object, "foundLate", foundLate);
  return object;
}

CalendarTrigger::Trip CalendarTrigger::Trip::fromJson(const Json& json) {
  return {required<std::string>(json, "key"), valueOr<std::string>(json, "title", {}), required<Date>(json, "start"),
          valueOr<bool>(json, "allDay", false), valueOr<bool>(json, "foundLate", false)};
}

Json CalendarTrigger::Restored::toJson() const {
  Json object = Json::object();
  put(object, "trip", trip);
  put(object, "limit", limit);
  put(object, "at", at);
  return object;
}

CalendarTrigger::Restored CalendarTrigger::Restored::fromJson(const Json& json) {
  return {required<Trip>(json, "trip"), required<int>(json, "limit"), required<Date>(json, "at")};
}

Json CalendarTrigger::toJson() const {
  Json object = Json::object();
  put(object, "handled", keyList(handled));
  put(object, "skipped", keyList(skipped));
  putIfPresent(object, "next", next);
  putIfPresent(object, "current", current);
  putIfPresent(object, "lastRestored", lastRestored);
  return object;
}

CalendarTrigger CalendarTrigger::fromJson(const Json& json) {
  if (!json.is_object()) throw DecodingError("expected an object");
  return {keySet(json, "handled"), keySet(json, "skipped"), optional<Trip>(json, "next"),
          optional<Trip>(json, "current"), optional<Restored>(json, "lastRestored")};
}

}  // namespace batterycore
