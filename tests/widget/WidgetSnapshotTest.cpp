// The widget's snapshot: when the service writes one, how it is encoded, and
// how the widget reads it back, from the file first and then the preferences.
#include "KestrinWidget/WidgetSnapshot.hpp"

#include "KestrinWidget/AppGroup.hpp"
#include "KestrinWidget/SharedContainer.hpp"
#include "WidgetFakes.hpp"

#include <gtest/gtest.h>

#include <fstream>
#include <optional>

namespace kestrin::widget {
namespace {

using batterycore::Attention;
using batterycore::Seconds;
using testing::kMorning;
using testing::restingSnapshot;

void writeText(const std::filesystem::path& path, std::string_view text) {
  std::filesystem::create_directories(path.parent_path());
  std::ofstream(path, std::ios::binary) << text;
}

TEST(WidgetSnapshot, WritesOnAChangeOfMoodOrLimitAtOnceAndOtherwiseAtMostEveryFiveMinutes) {
  const WidgetSnapshot previous = restingSnapshot();
  const auto with = [&](auto change) {
    WidgetSnapshot next = previous;
    next.at = previous.at + Seconds{1};  // `at` alone never counts as a change
    change(next);
    return next;
  };
  const auto same = with([](WidgetSnapshot&) {});
  const auto limitOff = with([](WidgetSnapshot& s) { s.limit.reset(); });
  const auto limit75 = with([](WidgetSnapshot& s) { s.limit = 75; });
  const auto mood = with([](WidgetSnapshot& s) { s.mood = Attention::Tone::charging; });
  const auto headline = with([](WidgetSnapshot& s) { s.headline = "Resting at 80%."; });
  struct Case { const char* what; const WidgetSnapshot& next; bool previous, lastWrite; double seconds; bool write; };
  const Case cases[] = {
      {"nothing written before", same, false, true, 0, true},
      {"last write unknown", same, true, false, 0, true},
      {"unchanged, 7,199 s", same, true, true, 7199, false},
      {"unchanged, 7,200 s: heartbeat", same, true, true, 7200, true},
      {"headline reworded, 299 s", headline, true, true, 299, false},
      {"headline reworded, 300 s: throttle passed", headline, true, true, 300, true},
      {"limit 80 to absent, 10 s", limitOff, true, true, 10, true},
      {"limit 80 to 75, 0 s", limit75, true, true, 0, true},
      {"mood changed, 0 s", mood, true, true, 0, true},
  };
  for (const auto& c : cases) {
    EXPECT_EQ(WidgetSnapshot::shouldWrite(c.next, c.previous ? std::optional(previous) : std::nullopt,
                                          c.lastWrite ? std::optional(previous.at) : std::nullopt,
                                          previous.at + Seconds{c.seconds}),
              c.write)
        << c.what;
  }
}

TEST(WidgetSnapshot, EncodesEveryFieldInOrderWithTheDateInWholeSeconds) {
  const WidgetSnapshot full{kMorning, 64,    std::nullopt, true, Attention::Tone::charging, "Charging to 80%",
                            "96%",    "Your battery is in good shape.", "2 h", "Less than most days."};
  EXPECT_EQ(full.encoded(),
            R"({"at":"2026-01-01T09:00:00Z","percent":64,"charging":true,"mood":"charging",)"
            R"("headline":"Charging to 80%","health":"96%","healthLine":"Your battery is in good shape.",)"
            R"("highCharge":"2 h","highChargeLine":"Less than most days."})");
  EXPECT_EQ(WidgetSnapshot::decoded(full.encoded()), full);
  EXPECT_EQ(restingSnapshot().encoded(), R"({"at":"2026-01-01T09:00:00Z","percent":82,"limit":80,)"
                                         R"("charging":false,"mood":"holding","headline":"Resting at 80%"})");
  const std::pair<double, const char*> cases[] = {{0.4, "2026-01-01T09:00:00Z"}, {0.5, "2026-01-01T09:00:01Z"},
                                                  {59.9996, "2026-01-01T09:01:00Z"}, {-0.4, "2026-01-01T09:00:00Z"}};
  for (const auto& [offset, at] : cases) {
    WidgetSnapshot s = restingSnapshot();
    s.at = kMorning + Seconds{offset};
    EXPECT_EQ(s.toJson()["at"], at) << offset;
  }
}

TEST(WidgetSnapshot, DecodingRefusesMalformedBytesAndMissingRequiredKeys) {
  const char* cases[] = {
      "", "[1,2,3]",
      R"({"at":"yesterday","percent":82,"charging":false,"mood":"holding","headline":"x"})",
      R"({"at":"2026-01-01T09:00:00Z","percent":"82","charging":false,"mood":"holding","headline":"x"})",
      R"({"at":"2026-01-01T09:00:00Z","percent":82,"charging":false,"mood":"sunny","headline":"x"})",
      R"({"at":"2026-01-01T09:00:00Z","percent":82,"charging":false,"mood":"holding","headline":"x","limit":"80"})",
  };
  for (const char* bytes : cases) EXPECT_EQ(WidgetSnapshot::decoded(bytes), std::nullopt) << bytes;
  const auto json = restingSnapshot().toJson();
  for (const char* key : {"at", "percent", "charging", "mood", "headline", "limit"}) {
    auto missing = json;
    missing.erase(key);
    EXPECT_EQ(WidgetSnapshot::decoded(missing.dump()).has_value(), std::string(key) == "limit") << key;
  }
}

TEST(WidgetSnapshot, WritesTheSameBytesToFileAndPreferences) {
  testing::TemporaryFolder folder;
  const AppGroup group = AppGroup::inFolder(folder.path());
  const WidgetSnapshot s = restingSnapshot();
  ASSERT_TRUE(s.write(*group.container, *group.preferences));
  EXPECT_EQ(readWholeFile(folder.path() / "snapshot.json"), s.encoded());
  EXPECT_EQ(readWholeFile(folder.path() / "Preferences" / "widget.snapshot"), s.encoded());

  // Without a container the preferences copy is still kept, so the widget has
  // something to show; each failure is reported.
  testing::MemoryPreferences preferences;
  EXPECT_FALSE(s.write(FolderContainer(std::nullopt), preferences));
  EXPECT_EQ(preferences.data("widget.snapshot"), s.encoded());
  preferences.refuseWrites = true;
  EXPECT_FALSE(s.write(*group.container, preferences));
  EXPECT_FALSE(s.write(FolderContainer(folder.path() / "snapshot.json" / "below-a-file"), *group.preferences));
}

TEST(WidgetSnapshot, LoadReadsTheFileAndFallsBackToThePreferences) {
  WidgetSnapshot inPreferences = restingSnapshot();
  inPreferences.percent = 50;
  const std::string good = restingSnapshot().encoded();
  constexpr const char* kFolderAtThePath = "\x01";  // reading it fails
  struct Case { const char* what; std::optional<std::string> file, preferences; std::optional<WidgetSnapshot> loaded; };
  const Case cases[] = {
      {"both good: the file", good, inPreferences.encoded(), restingSnapshot()},
      {"file invalid JSON", "{ this is not json", inPreferences.encoded(), inPreferences},
      {"file missing a required key", R"({"percent":82,"charging":false,"mood":"holding","headline":"x"})",
       inPreferences.encoded(), inPreferences},
      {"file unreadable", kFolderAtThePath, inPreferences.encoded(), inPreferences},
      {"no file", std::nullopt, inPreferences.encoded(), inPreferences},
      {"neither", std::nullopt, std::nullopt, std::nullopt},
      {"both broken", "{", "[]", std::nullopt},
  };
  for (const auto& c : cases) {
    testing::TemporaryFolder folder;
    const auto file = folder.path() / "snapshot.json";
    if (c.file == kFolderAtThePath) {
      std::filesystem::create_directories(file);
    } else if (c.file) {
      writeText(file, *c.file);
    }
    if (c.preferences) writeText(folder.path() / "Preferences" / "widget.snapshot", *c.preferences);
    const auto before = std::distance(std::filesystem::recursive_directory_iterator(folder.path()), {});
    EXPECT_EQ(WidgetSnapshot::load(AppGroup::inFolder(folder.path())), c.loaded) << c.what;
    // The reader repairs nothing and writes nothing.
    EXPECT_EQ(std::distance(std::filesystem::recursive_directory_iterator(folder.path()), {}), before) << c.what;
    EXPECT_EQ(c.file == kFolderAtThePath ? c.file : readWholeFile(file), c.file) << c.what;
  }

  testing::MemoryPreferences preferences;
  preferences.setData("widget.snapshot", inPreferences.encoded());
  EXPECT_EQ(WidgetSnapshot::load(FolderContainer(std::nullopt), &preferences), inPreferences);
  EXPECT_EQ(WidgetSnapshot::load(AppGroup::inFolder(std::nullopt)), std::nullopt);
}

}  // namespace
}  // namespace kestrin::widget
