#pragma once

class QByteArray;
class QString;

namespace quillo {

/// Small files that are read and replaced as a whole. On some systems another program can keep a file for itself for a
/// moment, as scanners and indexers do: it is waited for, some tenths of a second. Any thread.

/// The file's bytes; none when it is not there or cannot be read.
QByteArray readContent(const QString& path);

/// Puts new content in the place of a file's old one, or makes the file in a folder that is there. It happens in one
/// step: a crash, a full disk or a loss of power leaves the one content or the other, and who may read it stays as it
/// was. Failures are silent.
void replaceContent(const QString& path, const QByteArray& content);

/// Prepares a file that is about to receive private text, so that there is no moment in which another user could read
/// it: a missing file is created empty, with its folder, for its owner alone; an existing one loses what its group and
/// others may do. replaceContent, QSaveFile and QSettings keep these permissions. Failures are left to the write that
/// follows.
void makePrivate(const QString& path);

} // namespace quillo
