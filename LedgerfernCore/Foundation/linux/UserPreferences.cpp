#include "Foundation/UserPreferences.h"

#include "Foundation/JsonFilePreferences.h"
#include "Foundation/Locations.h"

namespace ledgerfern {

// Preferences are a file in the support directory.
std::unique_ptr<PreferencesStore> userPreferences() {
    return std::make_unique<JsonFilePreferences>(supportDirectory() + "/preferences.json");
}

}  // namespace ledgerfern
