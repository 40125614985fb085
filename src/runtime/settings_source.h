// Where settings come from: the rc file once it has been read whole, and the environment until then
// and after a reading that failed. It stands below the readers of settings, so that services of
// this layer can ask for one too.
#ifndef VOR_RUNTIME_SETTINGS_SOURCE_H
#define VOR_RUNTIME_SETTINGS_SOURCE_H

namespace vor {

// Gives the value of a key, or NULL if it is not set. The text belongs to the source.
using SettingLookup = const char *(*)(const char *key);

// The lookup of the environment, the one that is in force at the start.
const char *setting_of_environment(const char *key);

// The lookup in force.
extern SettingLookup setting_lookup;

} // namespace vor

#endif
