#include <exception>
#include <iostream>

#include "sim/cli/ContinuityCommand.h"
#include "sim/cli/FailoverCommand.h"
#include "sim/cli/Options.h"
#include "sim/cli/RunCommand.h"
#include "sim/cli/ScaleCommand.h"

int main(int argc, char** argv) {
  using namespace Routing::Sim;
  Options options;
  if (const auto code = readOptions(argc, argv, options)) return *code;
  try {
    switch (options.command) {
      case Options::Command::continuity:
        return continuityCommand(options);
      case Options::Command::failover:
        return failoverCommand(options);
      case Options::Command::scale:
        return scaleCommand(options);
      default:
        return runCommand(options);
    }
  } catch (const std::exception& error) {
    std::cerr << "pimbsr-sim: " << error.what() << "\n";
    return 2;
  }
}
