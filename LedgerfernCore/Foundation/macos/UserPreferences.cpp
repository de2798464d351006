#include "Foundation/UserPreferences.h"

#include "Foundation/JsonFilePreferences.h"
#include "Foundation/Locations.h"

namespace ledgerfern {

// The file of the support directory, as on Linux, until the user defaults take its place.
std::unique_ptr<PreferencesStore> userPreferences() {
    return std::make_unique<JsonFilePreferences>(supportDirectory() + "/preferences.json");
}

}  // namespace ledgerfern
