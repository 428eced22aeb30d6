// The arguments and the exit status of moxtel-database-copier.
//
//     moxtel-database-copier FOLDER BYTES DATABASE [JOURNAL [LOG]]
//
// Copies a database, and its journal and its write-ahead log where they are named, to FOLDER/database,
// FOLDER/database-journal and FOLDER/database-wal. An empty text names no file. BYTES is the most data that
// all of them may have, without holes. Standard output says why a copy failed.
#pragma once

namespace moxtel::copier {

inline constexpr int kDone = 0;
inline constexpr int kFailed = 1;
inline constexpr int kTooLarge = 2;  // more data than BYTES

}  // namespace moxtel::copier
