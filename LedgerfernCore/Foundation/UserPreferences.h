#pragma once

#include <memory>

#include "Foundation/PreferencesStore.h"

namespace ledgerfern {

/// The preferences of the user who runs the program. Nothing is read or made before one is asked for or set.
std::unique_ptr<PreferencesStore> userPreferences();

}  // namespace ledgerfern
