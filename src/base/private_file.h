#pragma once

class QString;

namespace quillo {

/// Prepares a file that is about to receive private text, so that there is no moment in which another user could read
/// it: a missing file is created empty, with its folder, for its owner alone; an existing one loses what its group and
/// others may do. QSaveFile and QSettings keep these permissions when they replace the file. Failures are left to the
/// write that follows. Any thread.
void makePrivate(const QString& path);

} // namespace quillo
