#include "fuzz/CodecFuzz.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  Routing::Fuzz::codecFuzz(Routing::Pim::PimType::bootstrap, data, size);
  return 0;
}
