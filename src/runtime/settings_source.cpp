#include <cstdlib>

#include "runtime/settings_source.h"

namespace vor {

const char *setting_of_environment(const char *key) {
    return std::getenv(key);
}

SettingLookup setting_lookup = setting_of_environment;

} // namespace vor
