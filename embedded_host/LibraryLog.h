#pragma once

namespace embedded_host
{
// Sends the records of the library's logger from `level` (log4cplus's number) on to whoever's turn
// it is (HostScope), and nowhere else. May be called again to change the level; the last call
// counts.
void ConnectLibraryLog(int level);

// The same at the level TRACE, unless the log has been connected before.
void EnsureLibraryLog();
} // namespace embedded_host
