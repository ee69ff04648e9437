#include "KestrinWidget/WidgetSnapshot.hpp"

#include "KestrinWidget/AppGroup.hpp"
#include "KestrinWidget/SharedContainer.hpp"
#include "WidgetFakes.hpp"

#include <gtest/gtest.h>

#include <chrono>
#include <fstream>
#include <optional>

namespace kestrin::widget {
namespace {

using batterycore::Attention;
using batterycore::Date;
using batterycore::Seconds;
using testing::kMorning;
using testing::restingSnapshot;

void writeText(const std::filesystem::path& path, std::string_view text) {
  std::filesystem::create_directories(path.parent_path());
  std::ofstream(path, std::ios::binary) << text;
}

TEST(WidgetSnapshot, HeaderExampleHolds) {
  const WidgetSnapshot s = restingSnapshot();
  EXPECT_EQ(s.encoded(),
            R"({"at":"2026-01-01T09:00:00Z","percent":82,"limit":80,)"
            R"("charging":false,"mood":"holding","headline":"Resting at 80%"})");
  EXPECT_FALSE(s.isStale(s.at + std::chrono::hours{3}));
  EXPECT_TRUE(s.isStale(s.at + std::chrono::hours{3} + std::chrono::seconds{1}));
}

TEST(WidgetSnapshot, ConstantsAreTheSharedNames) {
  EXPECT_EQ(WidgetSnapshot::fileName, "snapshot.json");
  EXPECT_EQ(WidgetSnapshot::defaultsKey, "widget.snapshot");
  EXPECT_EQ(WidgetSnapshot::throttle, Seconds{300});
  EXPECT_EQ(WidgetSnapshot::heartbeat, Seconds{7200});
  EXPECT_EQ(WidgetSnapshot::staleAfter, Seconds{10800});
}

TEST(WidgetSnapshot, PacesWrites) {
  const WidgetSnapshot previous = restingSnapshot();
  auto with = [&](auto change) {
    WidgetSnapshot next = previous;
    next.at = previous.at + Seconds{1};  // `at` alone never counts as a change
    change(next);
    return next;
  };
  const auto same = with([](WidgetSnapshot&) {});
  const auto percent = with([](WidgetSnapshot& s) { s.percent = 81; });
  const auto limitOff = with([](WidgetSnapshot& s) { s.limit.reset(); });
  const auto limit75 = with([](WidgetSnapshot& s) { s.limit = 75; });
  const auto mood = with([](WidgetSnapshot& s) { s.mood = Attention::Tone::charging; });
  const auto charging = with([](WidgetSnapshot& s) { s.charging = true; });
  const auto headline = with([](WidgetSnapshot& s) { s.headline = "Resting at 80%."; });
  const auto health = with([](WidgetSnapshot& s) { s.health = "96%"; });

  struct Case {
    const char* what;
    const WidgetSnapshot& next;
    bool hasPrevious;
    bool hasLastWrite;
    double secondsSinceWrite;
    bool write;
  };
  const Case cases[] = {
      {"nothing written before", same, false, true, 0, true},
      {"last write unknown", same, true, false, 0, true},
      {"unchanged, 7,199 s", same, true, true, 7199, false},
      {"unchanged, 7,200 s: heartbeat", same, true, true, 7200, true},
      {"percent, 299 s", percent, true, true, 299, false},
      {"percent, 300 s: throttle passed", percent, true, true, 300, true},
      {"limit 80 to absent, 10 s", limitOff, true, true, 10, true},
      {"limit 80 to 75, 0 s", limit75, true, true, 0, true},
      {"mood changed, 0 s", mood, true, true, 0, true},
      {"charging changed, 10 s", charging, true, true, 10, false},
      {"headline reworded, 299 s", headline, true, true, 299, false},
      {"headline reworded, 300 s", headline, true, true, 300, true},
      {"health appeared, 60 s", health, true, true, 60, false},
  };
  for (const auto& c : cases) {
    const Date lastWrite = previous.at;
    EXPECT_EQ(WidgetSnapshot::shouldWrite(c.next, c.hasPrevious ? std::optional(previous) : std::nullopt,
                                          c.hasLastWrite ? std::optional(lastWrite) : std::nullopt,
                                          lastWrite + Seconds{c.secondsSinceWrite}),
              c.write)
        << c.what;
  }
}

TEST(WidgetSnapshot, StaleOnlyPastThreeHours) {
  const WidgetSnapshot s = restingSnapshot();
  struct Case {
    double age;
    bool stale;
  };
  const Case cases[] = {{-60, false}, {0, false}, {10799, false}, {10800, false}, {10800.5, true}, {10801, true}};
  for (const auto& c : cases) EXPECT_EQ(s.isStale(s.at + Seconds{c.age}), c.stale) << c.age;
}

TEST(WidgetSnapshot, WritesEveryFieldInOrderAndReadsItBack) {
  const WidgetSnapshot full{kMorning, 64, std::nullopt, true, Attention::Tone::charging, "Charging to 80%",
                            "96%",    "Your battery is in good shape.", "2 h", "Less than most days."};
  EXPECT_EQ(full.encoded(),
            R"({"at":"2026-01-01T09:00:00Z","percent":64,"charging":true,"mood":"charging",)"
            R"("headline":"Charging to 80%","health":"96%","healthLine":"Your battery is in good shape.",)"
            R"("highCharge":"2 h","highChargeLine":"Less than most days."})");
  EXPECT_EQ(WidgetSnapshot::decoded(full.encoded()), full);
  for (const Attention::Tone tone : Attention::allTones) {
    WidgetSnapshot s = full;
    s.mood = tone;
    EXPECT_EQ(WidgetSnapshot::decoded(s.encoded()), s) << Attention::rawValue(tone);
  }
}

TEST(WidgetSnapshot, WritesDatesInWholeSeconds) {
  struct Case {
    double offset;
    const char* at;
  };
  const Case cases[] = {
      {0.4, "2026-01-01T09:00:00Z"}, {0.5, "2026-01-01T09:00:01Z"}, {0.6, "2026-01-01T09:00:01Z"},
      {59.9996, "2026-01-01T09:01:00Z"}, {-0.4, "2026-01-01T09:00:00Z"}};
  for (const auto& c : cases) {
    WidgetSnapshot s = restingSnapshot();
    s.at = kMorning + Seconds{c.offset};
    EXPECT_EQ(s.toJson()["at"], c.at) << c.offset;
  }
}

TEST(WidgetSnapshot, DecodingNeedsTheFiveRequiredKeys) {
  const auto json = restingSnapshot().toJson();
  for (const char* key : {"at", "percent", "charging", "mood", "headline"}) {
    auto missing = json;
    missing.erase(key);
    EXPECT_EQ(WidgetSnapshot::decoded(missing.dump()), std::nullopt) << key;
  }
  auto noLimit = json;
  noLimit.erase("limit");
  ASSERT_TRUE(WidgetSnapshot::decoded(noLimit.dump()));
  EXPECT_EQ(WidgetSnapshot::decoded(noLimit.dump())->limit, std::nullopt);
}

TEST(WidgetSnapshot, RejectsMalformedBytes) {
  const char* cases[] = {
      "",
      "not json",
      R"({"at":"2026-01-01T09:00:00Z","percent":82,"limit":80,"charging":false,"mood":"hol)",
      R"([1,2,3])",
      R"({"at":"yesterday","percent":82,"charging":false,"mood":"holding","headline":"x"})",
      R"({"at":1767258000,"percent":82,"charging":false,"mood":"holding","headline":"x"})",
      R"({"at":"2026-01-01T09:00:00Z","percent":"82","charging":false,"mood":"holding","headline":"x"})",
      R"({"at":"2026-01-01T09:00:00Z","percent":82,"charging":false,"mood":"sunny","headline":"x"})",
      R"({"at":"2026-01-01T09:00:00Z","percent":82,"charging":false,"mood":"holding","headline":"x","limit":"80"})",
  };
  for (const char* bytes : cases) EXPECT_EQ(WidgetSnapshot::decoded(bytes), std::nullopt) << bytes;
}

TEST(WidgetSnapshot, ReadsDatesWithFractionsAndOffsets) {
  const auto s = WidgetSnapshot::decoded(
      R"({"at":"2026-01-01T10:00:00.250+01:00","percent":82,"charging":false,"mood":"holding","headline":"x"})");
  ASSERT_TRUE(s);
  EXPECT_EQ(s->at, kMorning + Seconds{0.25});
}

TEST(WidgetSnapshot, WritesTheSameBytesToFileAndPreferences) {
  testing::TemporaryFolder folder;
  const AppGroup group = AppGroup::inFolder(folder.path());
  const WidgetSnapshot s = restingSnapshot();
  ASSERT_TRUE(s.write(*group.container, *group.preferences));
  EXPECT_EQ(readWholeFile(folder.path() / "snapshot.json"), s.encoded());
  EXPECT_EQ(readWholeFile(folder.path() / "Preferences" / "widget.snapshot"), s.encoded());
  EXPECT_EQ(WidgetSnapshot::load(group), s);
}

TEST(WidgetSnapshot, WriteReportsAMissingContainer) {
  testing::MemoryPreferences preferences;
  const WidgetSnapshot s = restingSnapshot();
  EXPECT_FALSE(s.write(FolderContainer(std::nullopt), preferences));
  // The preferences copy is still kept, so the widget has something to show.
  EXPECT_EQ(preferences.data("widget.snapshot"), s.encoded());
}

TEST(WidgetSnapshot, LoadPrefersTheFile) {
  testing::TemporaryFolder folder;
  const AppGroup group = AppGroup::inFolder(folder.path());
  WidgetSnapshot inFile = restingSnapshot();
  WidgetSnapshot inPreferences = restingSnapshot();
  inPreferences.percent = 50;
  writeText(folder.path() / "snapshot.json", inFile.encoded());
  group.preferences->setData("widget.snapshot", inPreferences.encoded());
  EXPECT_EQ(WidgetSnapshot::load(group), inFile);
}

TEST(WidgetSnapshot, LoadFallsBackToPreferencesWhenTheFileIsBad) {
  const WidgetSnapshot valid = restingSnapshot();
  const std::string encoded = valid.encoded();
  struct Case {
    const char* what;
    std::optional<std::string> file;  // absent: a folder stands at the path, so reading it fails
  };
  const Case cases[] = {
      {"invalid JSON", "{ this is not json"},
      {"caught half-written", encoded.substr(0, encoded.size() / 2)},
      {"missing a required key", R"({"percent":82,"charging":false,"mood":"holding","headline":"x"})"},
      {"empty", ""},
      {"unreadable", std::nullopt},
  };
  for (const auto& c : cases) {
    testing::TemporaryFolder folder;
    const AppGroup group = AppGroup::inFolder(folder.path());
    if (c.file) {
      writeText(folder.path() / "snapshot.json", *c.file);
    } else {
      std::filesystem::create_directories(folder.path() / "snapshot.json");
    }
    group.preferences->setData("widget.snapshot", encoded);
    EXPECT_EQ(WidgetSnapshot::load(group), valid) << c.what;
    // The reader repairs nothing.
    EXPECT_EQ(readWholeFile(folder.path() / "snapshot.json"), c.file) << c.what;
  }
}

TEST(WidgetSnapshot, LoadFallsBackToPreferencesWithoutAContainer) {
  testing::MemoryPreferences preferences;
  preferences.setData("widget.snapshot", restingSnapshot().encoded());
  EXPECT_EQ(WidgetSnapshot::load(FolderContainer(std::nullopt), &preferences), restingSnapshot());
}

TEST(WidgetSnapshot, LoadFindsNothingWhenNeitherSourceHasOne) {
  testing::TemporaryFolder folder;
  EXPECT_EQ(WidgetSnapshot::load(AppGroup::inFolder(folder.path())), std::nullopt);
  EXPECT_EQ(WidgetSnapshot::load(AppGroup::inFolder(folder.path() / "never-created")), std::nullopt);
  EXPECT_EQ(WidgetSnapshot::load(AppGroup::inFolder(std::nullopt)), std::nullopt);
  // Both present, both broken.
  writeText(folder.path() / "snapshot.json", "{");
  writeText(folder.path() / "Preferences" / "widget.snapshot", "[]");
  EXPECT_EQ(WidgetSnapshot::load(AppGroup::inFolder(folder.path())), std::nullopt);
  // The reader never writes: nothing new appeared.
  std::size_t entries = 0;
  for ([[maybe_unused]] const auto& entry : std::filesystem::recursive_directory_iterator(folder.path())) ++entries;
  EXPECT_EQ(entries, 3u);  // snapshot.json, Preferences, Preferences/widget.snapshot
}

}  // namespace
}  // namespace kestrin::widget
