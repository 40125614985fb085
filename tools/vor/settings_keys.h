// What there is to set: every key that the library reads.
#ifndef VOR_TOOL_SETTINGS_KEYS_H
#define VOR_TOOL_SETTINGS_KEYS_H

#include <span>
#include <string_view>

namespace vor::tool {

enum class KeySource { settings, environment }; // settings: the rc file, or the environment instead

struct SettingKey {
    std::string_view name;
    std::string_view fallback; // in words where it is no text that could be set
    std::string_view values;   // their unit, range or form; empty for any text or number
    std::string_view meaning;
    KeySource source = KeySource::settings;
};

// In the order of the example file, those of the environment alone last.
std::span<const SettingKey> setting_keys();

// Null if the library reads no such key. "STEP" is "STEP.0".
const SettingKey *find_setting_key(std::string_view name);

} // namespace vor::tool

#endif
