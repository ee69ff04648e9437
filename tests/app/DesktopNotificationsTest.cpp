#include "app/live/DesktopNotifications.hpp"

#include "tests/app/NotificationServer.hpp"
#include "tests/app/PrivateBus.hpp"
#include "tests/text/TextTesting.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <poll.h>

#include <chrono>
#include <optional>
#include <string>
#include <vector>

namespace kestrin::app::live {
namespace {

using batterycore::BatteryAlert;
using batterycore::DetailLevel;
using batterycore::Seconds;
using ::testing::HasSubstr;
using Kind = BatteryAlert::Kind;
using Outcome = DesktopNotifications::Outcome;
using InvokedAction = DesktopNotifications::InvokedAction;
using namespace std::chrono_literals;

BatteryAlert alert(Kind kind, std::string title, std::string body,
                   std::optional<std::string> technicalBody = std::nullopt) {
  return {kind, batterycore::dateFromSecondsSince1970(1767225600.0), std::move(title), std::move(body),
          std::move(technicalBody)};
}

// What the service's wait does: poll the bus socket, process when due, until
// `count` buttons came back or five seconds passed.
std::vector<InvokedAction> actionsWithin(DesktopNotifications& notifications, std::size_t count) {
  std::vector<InvokedAction> actions;
  const auto deadline = std::chrono::steady_clock::now() + 5s;
  for (;;) {
    for (auto& action : notifications.process()) actions.push_back(std::move(action));
    const auto left = deadline - std::chrono::steady_clock::now();
    if (actions.size() >= count || left <= 0s || !notifications.available()) return actions;
    auto wait = std::chrono::ceil<std::chrono::milliseconds>(left);
    if (const auto due = notifications.timeout()) {
      wait = std::min(wait, std::chrono::ceil<std::chrono::milliseconds>(*due));
    }
    pollfd bus{notifications.fd(), notifications.events(), 0};
    ::poll(&bus, 1, static_cast<int>(wait.count()));
  }
}

class DesktopNotificationsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!PrivateBus::program()) GTEST_SKIP() << PrivateBus::missingProgram;
    bus_.emplace();
    ASSERT_TRUE(bus_->started()) << bus_->failure();
  }
  void TearDown() override { bus_.reset(); }

  const std::string& address() const { return bus_->address(); }

  std::optional<PrivateBus> bus_;
  batterycore::testing::CurrentLocale english_{"en"};
};

TEST_F(DesktopNotificationsTest, AlertsArriveInOrderWithTitleBodyAndAppName) {
  NotificationServer server(address());
  ASSERT_TRUE(server.ready()) << server.failure();
  DesktopNotifications notifications(address());
  ASSERT_TRUE(notifications.available()) << notifications.problem().value_or("");

  EXPECT_EQ(notifications.post(alert(Kind::limitTurnedOff, "Limit turned off", "Charging goes to 100%."),
                               DetailLevel::simple),
            Outcome::shown);
  EXPECT_EQ(notifications.post(alert(Kind::fullChargeDone, "Full charge done", "At 100% & resting."),
                               DetailLevel::simple),
            Outcome::shown);

  const auto received = server.received();
  ASSERT_EQ(received.size(), 2u);
  EXPECT_EQ(received[0].appName, "Kestrin");
  EXPECT_EQ(received[0].summary, "Limit turned off");
  EXPECT_EQ(received[0].body, "Charging goes to 100%.");
  EXPECT_EQ(received[0].icon, "");
  EXPECT_EQ(received[0].replacesId, 0u);
  EXPECT_TRUE(received[0].actions.empty());
  EXPECT_EQ(received[0].expireTimeout, -1);
  EXPECT_EQ(received[1].summary, "Full charge done");
  EXPECT_EQ(received[1].body, "At 100% & resting.");  // plain text for a server without markup
  EXPECT_EQ(received[1].replacesId, 0u);
  EXPECT_FALSE(notifications.problem());
}

TEST_F(DesktopNotificationsTest, BodyFollowsTheDetailLevel) {
  NotificationServer server(address());
  ASSERT_TRUE(server.ready()) << server.failure();
  DesktopNotifications notifications(address());

  struct Case {
    DetailLevel level;
    std::optional<std::string> technicalBody;
    const char* shown;
  };
  const Case cases[] = {
      {DetailLevel::technical, "Gauge at 4.31 V, 12 mA in.", "Gauge at 4.31 V, 12 mA in."},
      {DetailLevel::technical, std::nullopt, "Your battery is recalibrating."},
      {DetailLevel::simple, "Gauge at 4.31 V, 12 mA in.", "Your battery is recalibrating."},
  };
  for (const auto& c : cases) {
    ASSERT_EQ(notifications.post(alert(Kind::calibrating, "Recalibrating", "Your battery is recalibrating.",
                                       c.technicalBody),
                                 c.level),
              Outcome::shown);
    EXPECT_EQ(server.received().back().body, c.shown);
  }
}

TEST_F(DesktopNotificationsTest, ALaterAlertOfTheSameKindReplacesTheEarlier) {
  NotificationServer server(address());
  ASSERT_TRUE(server.ready()) << server.failure();
  DesktopNotifications notifications(address());

  notifications.post(alert(Kind::hot, "Running hot", "42 °C."), DetailLevel::simple);
  notifications.post(alert(Kind::weakCharger, "Charger can't keep up", "Slow."), DetailLevel::simple);
  notifications.post(alert(Kind::hot, "Running hot", "44 °C."), DetailLevel::simple);

  const auto received = server.received();
  ASSERT_EQ(received.size(), 3u);
  EXPECT_EQ(received[1].replacesId, 0u);
  EXPECT_NE(received[1].id, received[0].id);
  EXPECT_EQ(received[2].replacesId, received[0].id);
  EXPECT_EQ(received[2].body, "44 °C.");
}

TEST_F(DesktopNotificationsTest, SmartTopUpOffersNotTodayAndThePressComesBack) {
  NotificationServer server(address());
  ASSERT_TRUE(server.ready()) << server.failure();
  DesktopNotifications notifications(address());

  ASSERT_EQ(notifications.post(alert(Kind::smartFullCharge, "Charging to 100%", "You usually leave at 08:20."),
                               DetailLevel::simple),
            Outcome::shown);
  const auto shown = server.received().at(0);
  EXPECT_EQ(shown.actions, (std::vector<std::string>{"notToday", "Not today"}));

  server.invoke(shown.id, "notToday");
  EXPECT_EQ(actionsWithin(notifications, 1), (std::vector<InvokedAction>{{Kind::smartFullCharge, "notToday"}}));
  EXPECT_TRUE(notifications.process().empty());
}

TEST_F(DesktopNotificationsTest, TheButtonSpeaksThePersonsLanguage) {
  batterycore::testing::CurrentLocale german("de");
  NotificationServer server(address());
  ASSERT_TRUE(server.ready()) << server.failure();
  DesktopNotifications notifications(address());

  notifications.post(alert(Kind::smartFullCharge, "Auf 100 %", "Bald."), DetailLevel::simple);
  EXPECT_EQ(server.received().at(0).actions, (std::vector<std::string>{"notToday", "Heute nicht"}));
}

TEST_F(DesktopNotificationsTest, ButtonsOnOtherNotificationsAreIgnored) {
  NotificationServer server(address(), {"actions", "body"}, 40);
  ASSERT_TRUE(server.ready()) << server.failure();
  DesktopNotifications notifications(address());

  notifications.post(alert(Kind::smartFullCharge, "Charging to 100%", "Soon."), DetailLevel::simple);
  const auto ours = server.received().at(0).id;
  server.invoke(ours + 7, "elsewhere");  // another application's notification
  server.invoke(ours, "notToday");
  // Signals from one sender arrive in order, so the other one was seen first.
  EXPECT_EQ(actionsWithin(notifications, 1), (std::vector<InvokedAction>{{Kind::smartFullCharge, "notToday"}}));
}

TEST_F(DesktopNotificationsTest, AClosedNotificationIsShownAnewButItsButtonStillCounts) {
  NotificationServer server(address());
  ASSERT_TRUE(server.ready()) << server.failure();
  DesktopNotifications notifications(address());

  notifications.post(alert(Kind::smartFullCharge, "Charging to 100%", "Soon."), DetailLevel::simple);
  const auto closed = server.received().at(0).id;
  server.close(closed, 1);  // expired; some servers keep it in a list
  server.invoke(closed, "notToday");
  EXPECT_EQ(actionsWithin(notifications, 1), (std::vector<InvokedAction>{{Kind::smartFullCharge, "notToday"}}));

  notifications.post(alert(Kind::smartFullCharge, "Charging to 100%", "Again."), DetailLevel::simple);
  EXPECT_EQ(server.received().at(1).replacesId, 0u);
  EXPECT_NE(server.received().at(1).id, closed);
}

TEST_F(DesktopNotificationsTest, HarmNowIsCriticalEverythingElseNormal) {
  NotificationServer server(address());
  ASSERT_TRUE(server.ready()) << server.failure();
  DesktopNotifications notifications(address());

  struct Case {
    Kind kind;
    std::uint8_t urgency;
  };
  const Case cases[] = {
      {Kind::limitNotHolding, 2}, {Kind::hot, 2},         {Kind::limitRestoreFailed, 2},
      {Kind::limitTurnedOff, 1},  {Kind::calibrating, 1}, {Kind::smartFullCharge, 1},
      {Kind::weeklyNote, 1},
  };
  for (const auto& c : cases) {
    notifications.post(alert(c.kind, "Title", "Body."), DetailLevel::simple);
    EXPECT_EQ(server.received().back().urgency, c.urgency) << BatteryAlert::rawValue(c.kind);
  }
}

TEST_F(DesktopNotificationsTest, AMarkupServerGetsTheBodyEscaped) {
  NotificationServer server(address(), {"actions", "body", "body-markup"});
  ASSERT_TRUE(server.ready()) << server.failure();
  DesktopNotifications notifications(address());

  notifications.post(alert(Kind::accessoryLow, "Mouse & keyboard", "Below 10% <soon> & falling."),
                     DetailLevel::simple);
  EXPECT_EQ(server.received().at(0).summary, "Mouse & keyboard");
  EXPECT_EQ(server.received().at(0).body, "Below 10% &lt;soon&gt; &amp; falling.");
}

TEST_F(DesktopNotificationsTest, NoServerOnTheBusIsUnavailableAtOnceAndSaidOnce) {
  DesktopNotifications notifications(address());
  EXPECT_TRUE(notifications.available());
  EXPECT_FALSE(notifications.newProblem());

  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(notifications.post(alert(Kind::hot, "Running hot", "42 °C."), DetailLevel::simple), Outcome::unavailable);
  EXPECT_LT(std::chrono::steady_clock::now() - start, 1s);
  ASSERT_TRUE(notifications.problem());
  EXPECT_THAT(*notifications.problem(), HasSubstr("nothing on the session bus shows notifications"));
  EXPECT_EQ(notifications.newProblem(), notifications.problem());
  EXPECT_FALSE(notifications.newProblem());

  const auto first = notifications.problem();
  EXPECT_EQ(notifications.post(alert(Kind::hot, "Running hot", "43 °C."), DetailLevel::simple), Outcome::unavailable);
  EXPECT_EQ(notifications.problem(), first);
  EXPECT_FALSE(notifications.newProblem());
}

TEST_F(DesktopNotificationsTest, AServerThatComesLaterIsUsed) {
  DesktopNotifications notifications(address());
  EXPECT_EQ(notifications.post(alert(Kind::hot, "Running hot", "42 °C."), DetailLevel::simple), Outcome::unavailable);

  NotificationServer server(address());
  ASSERT_TRUE(server.ready()) << server.failure();
  EXPECT_EQ(notifications.post(alert(Kind::hot, "Running hot", "43 °C."), DetailLevel::simple), Outcome::shown);
  EXPECT_EQ(server.received().size(), 1u);
}

TEST_F(DesktopNotificationsTest, ANewServerStartsWithoutTheOldIds) {
  DesktopNotifications notifications(address());
  {
    NotificationServer first(address(), {"actions", "body"}, 1);
    ASSERT_TRUE(first.ready()) << first.failure();
    notifications.post(alert(Kind::hot, "Running hot", "42 °C."), DetailLevel::simple);
    ASSERT_EQ(first.received().size(), 1u);
  }
  NotificationServer second(address(), {"actions", "body"}, 50);
  ASSERT_TRUE(second.ready()) << second.failure();
  EXPECT_EQ(notifications.post(alert(Kind::hot, "Running hot", "43 °C."), DetailLevel::simple), Outcome::shown);
  EXPECT_EQ(second.received().at(0).replacesId, 0u);
  EXPECT_EQ(second.received().at(0).id, 50u);
}

TEST_F(DesktopNotificationsTest, AHungServerIsGivenUpOnAfterTheTimeout) {
  NotificationServer server(address());
  ASSERT_TRUE(server.ready()) << server.failure();
  server.setAnswering(false);
  DesktopNotifications notifications(address(), Seconds{0.3});

  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(notifications.post(alert(Kind::hot, "Running hot", "42 °C."), DetailLevel::simple), Outcome::failed);
  const auto took = std::chrono::steady_clock::now() - start;
  EXPECT_GE(took, 250ms);
  EXPECT_LT(took, 2s);
  ASSERT_TRUE(notifications.problem());
  EXPECT_THAT(*notifications.problem(), HasSubstr("did not answer within 0.3 s"));

  server.setAnswering(true);
  EXPECT_EQ(notifications.post(alert(Kind::hot, "Running hot", "43 °C."), DetailLevel::simple), Outcome::shown);
}

TEST_F(DesktopNotificationsTest, ABusThatGoesAwayLeavesAQuietDescriptor) {
  DesktopNotifications notifications(address());
  ASSERT_TRUE(notifications.available());
  const int descriptor = notifications.fd();
  ASSERT_GE(descriptor, 0);
  bus_->stop();

  actionsWithin(notifications, 1);  // until the closed connection shows
  EXPECT_FALSE(notifications.available());
  ASSERT_TRUE(notifications.problem());
  EXPECT_THAT(*notifications.problem(), HasSubstr("connection closed"));
  EXPECT_EQ(notifications.fd(), descriptor);
  pollfd quiet{descriptor, notifications.events(), 0};
  EXPECT_EQ(::poll(&quiet, 1, 100), 0);  // a service waiting on it sleeps
  EXPECT_EQ(notifications.post(alert(Kind::hot, "Running hot", "42 °C."), DetailLevel::simple), Outcome::unavailable);
}

TEST_F(DesktopNotificationsTest, ABusThatComesBackIsUsedThroughTheSameDescriptor) {
  // Without the guid, the address names whichever daemon listens there.
  const std::string place = address().substr(0, address().find(",guid="));
  DesktopNotifications notifications(place);
  const int descriptor = notifications.fd();
  bus_->restart();
  ASSERT_TRUE(bus_->started()) << bus_->failure();
  actionsWithin(notifications, 1);
  EXPECT_FALSE(notifications.available());

  NotificationServer server(bus_->address());
  ASSERT_TRUE(server.ready()) << server.failure();
  EXPECT_EQ(notifications.post(alert(Kind::smartFullCharge, "Charging to 100%", "Soon."), DetailLevel::simple),
            Outcome::shown);
  EXPECT_TRUE(notifications.available());
  EXPECT_EQ(notifications.fd(), descriptor);
  server.invoke(server.received().at(0).id, "notToday");
  EXPECT_EQ(actionsWithin(notifications, 1), (std::vector<InvokedAction>{{Kind::smartFullCharge, "notToday"}}));
}

TEST(DesktopNotifications, NoBusAddressIsUnavailable) {
  DesktopNotifications notifications("");
  EXPECT_FALSE(notifications.available());
  ASSERT_TRUE(notifications.problem());
  EXPECT_THAT(*notifications.problem(), HasSubstr("no session bus address"));
  EXPECT_EQ(notifications.post(alert(Kind::hot, "Running hot", "42 °C."), DetailLevel::simple), Outcome::unavailable);
  EXPECT_FALSE(notifications.timeout());
  EXPECT_TRUE(notifications.process().empty());
}

TEST(DesktopNotifications, AnUnreachableBusIsUnavailableWithTheReason) {
  DesktopNotifications notifications("unix:path=/nonexistent/kestrin-no-bus");
  EXPECT_FALSE(notifications.available());
  ASSERT_TRUE(notifications.problem());
  EXPECT_THAT(*notifications.problem(), HasSubstr("cannot reach the session bus"));
  EXPECT_EQ(notifications.post(alert(Kind::hot, "Running hot", "42 °C."), DetailLevel::simple), Outcome::unavailable);
}

}  // namespace
}  // namespace kestrin::app::live
