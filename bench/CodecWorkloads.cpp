#include <memory>

#include "bench/Baselines.h"
#include "bench/BenchHost.h"
#include "bench/Workloads.h"

namespace Routing::Bench {
namespace {

constexpr const char* checksum = "the checksum of its octets";

struct Shape {
  AddressFamily af;
  std::uint32_t ranges;
  std::uint8_t rps;

  std::string text() const {
    return (af == AddressFamily::ipv4 ? "IPv4, " : "IPv6, ") + std::to_string(ranges) + " x " +
           std::to_string(rps) + " RPs";
  }
};

struct Coded {
  explicit Coded(const Shape& shape)
      : bsm(Pim::Bsr::bootstrapMessageOf(shape.af, shape.ranges, shape.rps)),
        octets(Pim::Bsr::octetsOf(bsm)),
        damaged(octets) {
    damaged[damaged.size() - 3] ^= 1;
  }
  void decodeOften(const std::vector<std::uint8_t>& from, std::uint64_t turns) const {
    while (turns-- > 0) keep(Pim::decode(from, bsm.source(), bsm.destination()).index());
  }

  /// Ranges are made when they are asked for.
  void readOften(std::uint64_t turns) const {
    while (turns-- > 0) {
      const auto result = Pim::decode(octets, bsm.source(), bsm.destination());
      keep(std::get<std::shared_ptr<Pim::BootstrapMessage>>(result)->groupRpData().size());
    }
  }

  Pim::BootstrapMessage bsm;
  std::vector<std::uint8_t> octets;
  std::vector<std::uint8_t> damaged;
  std::vector<std::uint8_t> written;
};

void append(std::vector<Workload>& made, const Shape& shape) {
  const auto coded = std::make_shared<Coded>(shape);
  const auto sum = [coded](std::uint64_t turns) {
    while (turns-- > 0) keep(sumOfOctets(coded->octets));
  };
  const auto decode = [coded](std::uint64_t turns) { coded->decodeOften(coded->octets, turns); };
  const auto read = [coded](std::uint64_t turns) { coded->readOften(turns); };
  const auto refuse = [coded](std::uint64_t turns) { coded->decodeOften(coded->damaged, turns); };
  const auto encode = [coded](std::uint64_t turns) {
    while (turns-- > 0) keep(Pim::encode(coded->bsm, coded->written));
  };
  made.push_back({"decode a message", shape.text(), decode, checksum, sum});
  made.push_back({"decode a message, and make its ranges", shape.text(), read, checksum, sum});
  made.push_back({"encode a message", shape.text(), encode, checksum, sum});
  made.push_back({"refuse a bad checksum", shape.text(), refuse, checksum, sum});
}

}  // namespace

std::vector<Workload> codecWorkloads(Sizes sizes) {
  std::vector<Workload> made;
  const std::vector<Shape> shapes{{AddressFamily::ipv4, 12, 11},
                                  {AddressFamily::ipv4, 1, 132},
                                  {AddressFamily::ipv4, 66, 1},
                                  {AddressFamily::ipv6, 3, 20}};
  for (const Shape& shape : chosen(sizes, shapes)) append(made, shape);
  return made;
}

}  // namespace Routing::Bench
