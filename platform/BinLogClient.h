// The platform's binary log client.
#pragma once

/// Initialises the binary log client of this process. Called once, first thing in `main`, while
/// the process still has its start privileges; no other platform operation is called before it.
/// `client` is the number under which the log knows the program.
/// Returns 0 on success; the daemon goes on whatever it returns. An implementation whose own
/// configuration is unusable ends the process here, with a reason on standard error.
int zelClientBinLogInit(unsigned int client);
