// Desktop notifications on a private D-Bus daemon, with our small
// notification server on it or nothing at all.
#include "app/live/DesktopNotifications.hpp"

#include "app/Watch.hpp"
#include "tests/common/HeldBattery.hpp"
#include "tests/common/NotificationServer.hpp"
#include "tests/common/PrivateBus.hpp"
#include "tests/text/TextTesting.hpp"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <poll.h>

#include <chrono>
#include <map>
#include <optional>
#include <string>
#include <vector>

namespace kestrin::app::live {
namespace {

using batterycore::BatteryAlert;
using batterycore::DetailLevel;
using ::testing::HasSubstr;
using Kind = BatteryAlert::Kind;
using Outcome = DesktopNotifications::Outcome;
using InvokedAction = DesktopNotifications::InvokedAction;
using Strings = std::vector<std::string>;
using namespace std::chrono_literals;

const batterycore::Date kNow = batterycore::dateFromSecondsSince1970(1767225600.0);

BatteryAlert alert(Kind kind, std::string body = "Body.", std::optional<std::string> technicalBody = std::nullopt) {
  return {kind, kNow, "Title", std::move(body), std::move(technicalBody)};
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
    if (const auto due = notifications.timeout()) wait = std::min(wait, std::chrono::ceil<std::chrono::milliseconds>(*due));
    pollfd bus{notifications.fd(), notifications.events(), 0};
    ::poll(&bus, 1, static_cast<int>(wait.count()));
  }
}

class DesktopNotificationsTest : public ::testing::Test {
 protected:
  void SetUp() override {
    if (!PrivateBus::program()) GTEST_SKIP() << PrivateBus::missingProgram;
    ASSERT_TRUE(bus_.started()) << bus_.failure();
  }
  const std::string& address() const { return bus_.address(); }

  PrivateBus bus_;
  batterycore::testing::CurrentLocale english_{"en"};
};

TEST_F(DesktopNotificationsTest, AlertsArriveWithTheirTextUrgencyAndButtonsReplacingTheirKindsLast) {
  NotificationServer server(address());
  ASSERT_TRUE(server.ready()) << server.failure();
  DesktopNotifications notifications(address());
  ASSERT_TRUE(notifications.available()) << notifications.problem().value_or("");
  const std::string gauge = "Gauge at 4.31 V, 12 mA in.";
  // Harm now is critical (urgency 2), the rest normal; the top-up and a trip offer a button.
  const std::pair<BatteryAlert, std::string> cases[] = {
      {alert(Kind::limitTurnedOff, "At 100% & <resting>."), "1 At 100% & <resting>."},
      {alert(Kind::calibrating, "Recalibrating.", gauge), "1 " + gauge},
      {alert(Kind::calibrating, "Recalibrating."), "1 Recalibrating."},
      {alert(Kind::hot), "2 Body."},
      {alert(Kind::limitNotHolding), "2 Body."},
      {alert(Kind::limitRestoreFailed), "2 Body."},
      {alert(Kind::weeklyNote), "1 Body."},
      {alert(Kind::smartFullCharge), "1 Body. [notToday Not today]"},
      {alert(Kind::calendarFullCharge), "1 Body. [notTonight Not tonight]"},
      {alert(Kind::hot, "Hotter."), "2 Hotter."},
  };
  std::map<Kind, std::uint32_t> ids;
  for (const auto& [sent, expected] : cases) {
    ASSERT_EQ(notifications.post(sent, DetailLevel::technical), Outcome::shown);
    const auto shown = server.received().back();
    std::string got = std::to_string(shown.urgency.value_or(0)) + " " + shown.body;
    for (std::size_t i = 0; i + 1 < shown.actions.size(); i += 2) {
      got += " [" + shown.actions[i] + " " + shown.actions[i + 1] + "]";
    }
    EXPECT_EQ(got, expected);
    EXPECT_EQ(shown.replacesId, ids.contains(sent.kind) ? ids[sent.kind] : 0u) << "the last of its kind is replaced";
    ids[sent.kind] = shown.id;
  }
  const auto first = server.received().front();
  EXPECT_EQ(first.appName, "Kestrin");
  EXPECT_EQ(first.summary, "Title");
  EXPECT_EQ(first.icon, "");
  EXPECT_EQ(first.expireTimeout, -1);
  notifications.post(alert(Kind::calibrating, "Recalibrating.", gauge), DetailLevel::simple);
  EXPECT_EQ(server.received().back().body, "Recalibrating.");
  EXPECT_FALSE(notifications.problem());

  batterycore::testing::CurrentLocale german("de");
  notifications.post(alert(Kind::smartFullCharge), DetailLevel::simple);
  EXPECT_EQ(server.received().back().actions, (Strings{"notToday", "Heute nicht"}));
}

TEST_F(DesktopNotificationsTest, AMarkupServerGetsTheBodyEscaped) {
  NotificationServer server(address(), {"actions", "body", "body-markup"});
  ASSERT_TRUE(server.ready()) << server.failure();
  DesktopNotifications notifications(address());
  notifications.post({Kind::accessoryLow, kNow, "Mouse & keyboard", "Below 10% <soon> & falling.", {}},
                     DetailLevel::simple);
  EXPECT_EQ(server.received().at(0).summary, "Mouse & keyboard");
  EXPECT_EQ(server.received().at(0).body, "Below 10% &lt;soon&gt; &amp; falling.");
}

// A press on our top-up's button comes back, even once its notification
// closed (some servers keep closed ones in a list); the service skips today.
TEST_F(DesktopNotificationsTest, OurButtonsComeBackAndTheServiceActsOnThem) {
  NotificationServer server(address(), {"actions", "body"}, 40);
  ASSERT_TRUE(server.ready()) << server.failure();
  DesktopNotifications notifications(address());
  notifications.post(alert(Kind::smartFullCharge), DetailLevel::simple);
  const auto ours = server.received().at(0).id;
  server.invoke(ours + 7, "elsewhere");  // another application's notification
  server.close(ours, 1);                 // expired
  server.invoke(ours, "notToday");
  // Signals from one sender arrive in order, so the other ones were seen first.
  const auto pressed = actionsWithin(notifications, 1);
  EXPECT_EQ(pressed, (std::vector<InvokedAction>{{Kind::smartFullCharge, "notToday"}}));
  EXPECT_TRUE(notifications.process().empty());
  notifications.post(alert(Kind::smartFullCharge), DetailLevel::simple);
  EXPECT_EQ(server.received().at(1).replacesId, 0u) << "a closed notification is shown anew";
  EXPECT_NE(server.received().at(1).id, ours);

  testing::HeldBattery battery(80);
  Monitor monitor(battery, battery, batterycore::Calendar::utc());
  EXPECT_TRUE(actOnButtons(monitor, pressed, kNow));
  EXPECT_EQ(monitor.state().smartTopUp.skippedDay, "2026-01-01");
  EXPECT_TRUE(actOnButtons(monitor, {{Kind::calendarFullCharge, "notTonight"}}, kNow));
  EXPECT_FALSE(actOnButtons(monitor, {{Kind::hot, "notToday"}, {Kind::smartFullCharge, "elsewhere"}}, kNow));
}

TEST_F(DesktopNotificationsTest, ServersComeGoAndHangAndEachNewOneStartsAfresh) {
  DesktopNotifications notifications(address());
  EXPECT_TRUE(notifications.available());
  EXPECT_FALSE(notifications.newProblem());
  const auto start = std::chrono::steady_clock::now();
  EXPECT_EQ(notifications.post(alert(Kind::hot), DetailLevel::simple), Outcome::unavailable);
  EXPECT_LT(std::chrono::steady_clock::now() - start, 1s) << "no server on the bus is known at once";
  ASSERT_TRUE(notifications.problem());
  EXPECT_THAT(*notifications.problem(), HasSubstr("nothing on the session bus shows notifications"));
  EXPECT_EQ(notifications.newProblem(), notifications.problem());
  EXPECT_FALSE(notifications.newProblem()) << "said once";
  {
    NotificationServer first(address(), {"actions", "body"}, 1);
    ASSERT_TRUE(first.ready()) << first.failure();
    EXPECT_EQ(notifications.post(alert(Kind::hot), DetailLevel::simple), Outcome::shown);
    ASSERT_EQ(first.received().size(), 1u);
  }
  NotificationServer second(address(), {"actions", "body"}, 50);
  ASSERT_TRUE(second.ready()) << second.failure();
  EXPECT_EQ(notifications.post(alert(Kind::hot), DetailLevel::simple), Outcome::shown);
  EXPECT_EQ(second.received().at(0).replacesId, 0u) << "the old server's ids mean nothing here";
  EXPECT_EQ(second.received().at(0).id, 50u);

  second.setAnswering(false);
  DesktopNotifications impatient(address(), batterycore::Seconds{0.3});
  const auto posted = std::chrono::steady_clock::now();
  EXPECT_EQ(impatient.post(alert(Kind::hot), DetailLevel::simple), Outcome::failed);
  const auto took = std::chrono::steady_clock::now() - posted;
  EXPECT_GE(took, 250ms);
  EXPECT_LT(took, 2s);
  EXPECT_THAT(impatient.problem().value_or(""), HasSubstr("did not answer within 0.3 s"));
  second.setAnswering(true);
  EXPECT_EQ(impatient.post(alert(Kind::hot), DetailLevel::simple), Outcome::shown);
}

// The caller's descriptor stays the same and goes quiet while the bus is
// gone, and the bus that comes back at the same place is used.
TEST_F(DesktopNotificationsTest, ABusThatGoesAwayAndComesBack) {
  // Without the guid, the address names whichever daemon listens there.
  DesktopNotifications notifications(address().substr(0, address().find(",guid=")));
  const int descriptor = notifications.fd();
  ASSERT_GE(descriptor, 0);
  bus_.stop();
  actionsWithin(notifications, 1);  // until the closed connection shows
  EXPECT_FALSE(notifications.available());
  EXPECT_THAT(notifications.problem().value_or(""), HasSubstr("connection closed"));
  EXPECT_EQ(notifications.fd(), descriptor);
  pollfd quiet{descriptor, notifications.events(), 0};
  EXPECT_EQ(::poll(&quiet, 1, 100), 0) << "a service waiting on it sleeps";
  EXPECT_EQ(notifications.post(alert(Kind::hot), DetailLevel::simple), Outcome::unavailable);

  bus_.restart();
  ASSERT_TRUE(bus_.started()) << bus_.failure();
  NotificationServer server(bus_.address());
  ASSERT_TRUE(server.ready()) << server.failure();
  EXPECT_EQ(notifications.post(alert(Kind::smartFullCharge), DetailLevel::simple), Outcome::shown);
  EXPECT_TRUE(notifications.available());
  EXPECT_EQ(notifications.fd(), descriptor);
  server.invoke(server.received().at(0).id, "notToday");
  EXPECT_EQ(actionsWithin(notifications, 1), (std::vector<InvokedAction>{{Kind::smartFullCharge, "notToday"}}));
}

TEST(DesktopNotifications, NoBusIsUnavailableWithTheReason) {
  const std::pair<const char*, const char*> cases[] = {
      {"", "no session bus address"},
      {"unix:path=/nonexistent/kestrin-no-bus", "cannot reach the session bus"},
  };
  for (const auto& [address, reason] : cases) {
    DesktopNotifications notifications(address);
    EXPECT_FALSE(notifications.available());
    EXPECT_THAT(notifications.problem().value_or(""), HasSubstr(reason));
    EXPECT_EQ(notifications.post(alert(Kind::hot), DetailLevel::simple), Outcome::unavailable);
    EXPECT_FALSE(notifications.timeout());
    EXPECT_TRUE(notifications.process().empty());
  }
}

}  // namespace
}  // namespace kestrin::app::live
