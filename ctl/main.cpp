#include <iostream>

#include "ctl/Options.h"
#include "ctl/Run.h"

int main(int argc, char** argv) {
  using namespace Routing::Ctl;
  const auto parsed = parseOptions(argc, argv);
  if (const auto* early = std::get_if<EarlyExit>(&parsed)) {
    (early->code == exitGood ? std::cout : std::cerr) << early->text;
    return early->code;
  }
  return run(std::get<Options>(parsed), std::cout, std::cerr);
}
