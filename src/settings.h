// Bounded access to the settings for the plug-in's own callers.
//
// sns_gconf_get_string copies a stored value into a buffer whose size it is
// never told; the plug-in itself reads through settings::read, which yields
// the same result and the same log lines but hands the value over in a
// string of its own size, so no stored value can overflow a caller's buffer.
#ifndef PD_PLUGIN_SRC_SETTINGS_H
#define PD_PLUGIN_SRC_SETTINGS_H

#include <cstdint>
#include <string>

namespace pd::settings {

// 1 when the key holds a non-empty value. An empty value empties `out` and
// gives 0; a missing value leaves `out` untouched and gives 0.
int read(uint32_t index, std::string &out);

// The key text of an index, or null above 6.
const char *key(uint32_t index) noexcept;

}  // namespace pd::settings

#endif
