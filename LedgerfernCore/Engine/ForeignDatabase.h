#pragma once

#include <functional>
#include <string>

#include "Foundation/Sqlite.h"

namespace ledgerfern {

/// Reads what it wants from a database; false where it couldn't be read to the end. May be called again, with
/// another copy of the same database, and then starts anew.
using DatabaseReading = std::function<bool(SqliteDatabase&)>;

/// Reads an SQLite database that belongs to another program, which may have it open and write to it. False
/// where there is none, or where it can't be read whole.
///
/// The other program's folder stays as it is, byte by byte, and nothing in it is locked.
bool readForeignDatabase(const std::string& path, const DatabaseReading& reading);

}  // namespace ledgerfern
