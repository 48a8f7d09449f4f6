// Telling the service manager that started the process, if one did, how far the process is. Without
// libsystemd nobody is told.
#pragma once

namespace standin {

/// Requests are served, at the socket `path`. Main thread only.
void tellReady(const char* path);

/// The process has begun to stop. Main thread only.
void tellStopping();

}  // namespace standin
