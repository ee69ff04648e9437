#include "app/live/MachineFacts.hpp"

#include "app/live/SysfsBattery.hpp"
#include "app/live/SysfsLimit.hpp"
#include "app/live/Uevent.hpp"

#include <pwd.h>
#include <sys/utsname.h>
#include <unistd.h>

#include <array>
#include <cctype>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <system_error>

#ifdef __APPLE__
#include <sys/sysctl.h>
#endif

namespace kestrin::app::live {

namespace fs = std::filesystem;

namespace {

std::string trimmed(std::string text) {
  const auto isSpace = [](unsigned char c) { return std::isspace(c) != 0; };
  while (!text.empty() && isSpace(static_cast<unsigned char>(text.back()))) text.pop_back();
  std::size_t start = 0;
  while (start < text.size() && isSpace(static_cast<unsigned char>(text[start]))) ++start;
  return text.substr(start);
}

std::string firstLine(const fs::path& file) {
  std::ifstream in(file);
  std::string line;
  std::getline(in, line);
  return trimmed(line);
}

#ifdef __APPLE__
std::string sysctlText(const char* name) {
  std::size_t size = 0;
  if (::sysctlbyname(name, nullptr, &size, nullptr, 0) != 0 || size == 0) return {};
  std::string value(size, '\0');
  if (::sysctlbyname(name, value.data(), &size, nullptr, 0) != 0) return {};
  value.resize(value.find('\0') == std::string::npos ? size : value.find('\0'));
  return value;
}
#endif

void addWord(std::vector<std::string>& words, std::string word) {
  word = trimmed(std::move(word));
  if (!word.empty()) words.push_back(std::move(word));
}

}  // namespace

batterycore::OSVersion parseOSVersion(std::string_view text) {
  std::array<int, 3> parts{0, 0, 0};
  std::size_t part = 0;
  bool inNumber = false;
  for (const char c : text) {
    if (std::isdigit(static_cast<unsigned char>(c))) {
      parts[part] = parts[part] * 10 + (c - '0');
      inNumber = true;
    } else if (c == '.' && inNumber && part < 2) {
      ++part;
      inNumber = false;
    } else {
      break;
    }
  }
  return {.major = parts[0], .minor = parts[1], .patch = parts[2]};
}

MachineFacts gatherMachineFacts(std::string version, const fs::path& powerSupplyRoot, const fs::path& dmiRoot) {
  MachineFacts facts;
  facts.version = std::move(version);

  struct utsname names {};
  if (::uname(&names) == 0) {
    facts.arch = names.machine;
    facts.system = std::string(names.sysname) + " " + names.release;
    facts.osVersion = parseOSVersion(names.release);
    addWord(facts.privateWords, names.nodename);
  }
#ifdef __APPLE__
  facts.apple = true;
  (void)dmiRoot;
  (void)&firstLine;
  if (const auto product = sysctlText("kern.osproductversion"); !product.empty()) {
    facts.system = "macOS " + product;
    facts.osVersion = parseOSVersion(product);
  }
  if (const auto model = sysctlText("hw.model"); !model.empty()) facts.model = model;
#else
  const auto vendor = firstLine(dmiRoot / "sys_vendor");
  const auto product = firstLine(dmiRoot / "product_name");
  const std::string model = trimmed(vendor + " " + product);
  if (!model.empty()) facts.model = model;
#endif

  std::array<char, 256> host{};
  if (::gethostname(host.data(), host.size() - 1) == 0) facts.hostName = host.data();

  if (const char* user = std::getenv("USER")) facts.userName = user;
  if (const char* home = std::getenv("HOME")) facts.homeFolder = home;
  if (const passwd* entry = ::getpwuid(::getuid())) {
    if (facts.userName.empty()) facts.userName = entry->pw_name;
    else if (facts.userName != entry->pw_name) addWord(facts.privateWords, entry->pw_name);
    if (facts.homeFolder.empty()) facts.homeFolder = entry->pw_dir;
    // The full name in the password entry, and each word of it.
    if (entry->pw_gecos != nullptr) {
      const std::string gecos(entry->pw_gecos);
      const std::string fullName = gecos.substr(0, gecos.find(','));
      std::istringstream words(fullName);
      for (std::string word; words >> word;) {
        if (word.size() >= 3) addWord(facts.privateWords, word);
      }
    }
  }

  // Every power supply's serial number, whether or not the report shows that supply.
  std::error_code error;
  for (const auto& supply : fs::directory_iterator(powerSupplyRoot, error)) {
    const auto properties = readSupply(supply.path());
    if (const auto serial = properties.text("serial_number")) addWord(facts.privateWords, *serial);
  }

  SysfsBattery battery(powerSupplyRoot);
  if (const auto folder = battery.batteryFolder()) {
    const SysfsLimit limit(folder);
    facts.limitSupported = limit.kind() != SysfsLimit::Kind::none;
    facts.limitSwitch = limit.describe();
  }
  return facts;
}

}  // namespace kestrin::app::live
