// AppInfo: facts about the application that texts and notifications use.
#pragma once

namespace batterycore::AppInfo {

inline constexpr const char* name = "Kestrin";

}  // namespace batterycore::AppInfo
