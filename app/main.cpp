#include "app/Run.h"

int main(int argc, char** argv) { return runQuorin(argc, argv); }
