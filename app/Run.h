// The program, without its entry point.
#pragma once

/// Runs the daemon until it is told to stop; returns its exit status. A start-up failure ends the
/// process with `exit(-1)`, status 255.
int runQuorin(int argc, char** argv);
