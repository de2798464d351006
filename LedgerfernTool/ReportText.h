#pragma once

#include <cstddef>
#include <string>

#include "Color.h"
#include "Scope.h"

namespace ledgerfern {

/// The report on a scope, in at most `width` columns.
std::string reportText(const ScopedScan& scoped, std::size_t width, const Palette& palette);

/// The same as a document.
std::string reportDocument(const ScopedScan& scoped);

}  // namespace ledgerfern
