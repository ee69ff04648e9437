#include "app/live/ApplePlist.hpp"

#include <gtest/gtest.h>

#include <fstream>
#include <sstream>
#include <string>

namespace kestrin::app::live {
namespace {

using batterycore::DecodingError;
using batterycore::Json;

std::string ioregFixture(const std::string& name) {
  std::ifstream in(std::string(KESTRIN_TEST_DATA_DIR) + "/ioreg/" + name, std::ios::binary);
  std::ostringstream text;
  text << in.rdbuf();
  return text.str();
}

std::string plist(const std::string& body) {
  return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
         "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
         "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">\n"
         "<plist version=\"1.0\">\n" +
         body + "\n</plist>\n";
}

std::string failureOf(const std::string& xml) {
  try {
    parseApplePlist(xml);
  } catch (const DecodingError& error) {
    return error.reason();
  }
  return "(no error)";
}

TEST(ApplePlist, HeaderExampleHolds) {
  const auto tree = parseApplePlist(
      "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
      "<plist version=\"1.0\"><array><dict>\n"
      "  <key>Amperage</key><integer>-1889</integer>\n"
      "  <key>ExternalConnected</key><false/>\n"
      "</dict></array></plist>\n");
  EXPECT_EQ(tree["Amperage"], -1889);
  EXPECT_EQ(tree["ExternalConnected"], false);
}

TEST(ApplePlist, ReadsEveryValueType) {
  const auto tree = parseApplePlist(plist(
      "<dict>"
      "<key>Power</key><real>4.368381</real>"
      "<key>State</key><data>AMPkABI=</data>"
      "<key>Empty</key><array/>"
      "<key>Big</key><integer>36028797018964096</integer>"
      "<key>Name</key><string>140W &amp; more</string>"
      "<key>FamilyCode</key><integer>-536854518</integer>"
      "<key>When</key><date>2001-01-01T00:01:00Z</date>"
      "</dict>"));
  EXPECT_DOUBLE_EQ(tree["Power"].get<double>(), 4.368381);
  EXPECT_EQ(tree["State"], "<00c3e40012>");
  EXPECT_EQ(tree["Empty"], Json::array());
  EXPECT_EQ(tree["Big"], 36028797018964096u);
  EXPECT_EQ(tree["Name"], "140W & more");
  EXPECT_EQ(tree["FamilyCode"], -536854518);
  EXPECT_DOUBLE_EQ(tree["When"].get<double>(), 978307260.0);
}

TEST(ApplePlist, RefusesWhatIsNotAListOfProperties) {
  struct Case {
    std::string xml;
    const char* reason;
  };
  const Case cases[] = {
      {"", "not a valid XML property list"},
      {"{\"CurrentCapacity\": 80}", "not a valid XML property list"},
      {plist("<dict><key>A</key><integer>1</integer>"), "not a valid XML property list"},
      {plist("<array></array>"), "the property list holds no registry entry"},
      {plist("<string>AppleSmartBattery</string>"), "the property list holds no dictionary of battery properties"},
      {plist("<array><integer>1</integer></array>"), "the property list holds no dictionary of battery properties"},
      {plist(std::string(100, '<') + "array>"), "not a valid XML property list"},
      // XML holds no NUL; the library would stop the program on this string.
      {plist(std::string("<dict><key>Serial</key><string>X0X0") + '\0' + "0ABC</string></dict>"),
       "not a valid XML property list: it holds a NUL character"},
      // The posted excerpt stops after its first fifty lines.
      {ioregFixture("ioreg-xml-intel-raycast15996-fragment-1.txt"), "not a valid XML property list"},
  };
  for (const auto& c : cases) EXPECT_EQ(failureOf(c.xml), c.reason) << c.xml;
}

TEST(ApplePlist, BoundsNesting) {
  const auto nested = [](int levels) {
    std::string body = "<dict><key>Deep</key>";
    for (int i = 0; i < levels; ++i) body += "<array>";
    for (int i = 0; i < levels; ++i) body += "</array>";
    return plist(body + "</dict>");
  };
  EXPECT_NO_THROW(parseApplePlist(nested(kPlistMaxDepth - 1)));
  EXPECT_EQ(failureOf(nested(kPlistMaxDepth)), "the property list nests deeper than 64 levels");
  EXPECT_EQ(failureOf(nested(100000)), "the property list nests deeper than 64 levels");
}

}  // namespace
}  // namespace kestrin::app::live
