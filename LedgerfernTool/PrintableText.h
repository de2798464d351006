#pragma once

#include <cstddef>
#include <string>
#include <string_view>

/// Texts from logs and paths, made fit for a terminal.
namespace ledgerfern {

/// One line of valid UTF-8 that a terminal doesn't obey: line ends and tabs are blanks, other control
/// characters U+FFFD, as is each bad byte. Marks that change the direction of what stands around them are
/// left out.
std::string printable(std::string_view bytes);

/// A name, printable; "—" where nothing of it would be seen.
std::string printableName(std::string_view bytes);

/// The text, or its beginning and end with "…" between them, in at most `columns` columns. Of valid UTF-8.
std::string elided(std::string_view text, std::size_t columns);

/// The text set apart from its neighbours where it has letters that run from right to left, so that they
/// don't move the numbers beside it. Takes no column more.
std::string isolated(std::string_view text);

/// The text in lines of at most `width` columns, broken at blanks where there are some; each ends with a
/// line feed and starts with `indent` blanks, those behind the first with `hanging` more.
std::string wrapped(std::string_view text, std::size_t width, std::size_t indent, std::size_t hanging = 0);

}  // namespace ledgerfern
