#pragma once

namespace embedded_host
{
// Sends records of the library's logger at `level` (log4cplus's number) and above to the driver of
// the present HostScope, and nowhere else. May be called again to change the level; the last call
// counts.
void ConnectLibraryLog(int level);

// The same at the level TRACE, unless the log has been connected before.
void EnsureLibraryLog();
} // namespace embedded_host
