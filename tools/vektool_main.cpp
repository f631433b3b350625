#include "tools/cli.h"

int main(int argc, char** argv) {
  return static_cast<int>(vek::tools::run_command_line(argc, argv));
}
