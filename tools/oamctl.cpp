// oamctl: plays the management framework from the command line.
#include "tools/CommandLine.h"

int main(int argc, char** argv) {
  tools::Connection connection;
  return tools::run({argv + 1, argv + argc}, connection);
}
