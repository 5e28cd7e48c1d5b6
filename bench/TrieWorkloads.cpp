#include <memory>

#include "bench/Baselines.h"
#include "bench/Workloads.h"
#include "platform/trie/PrefixTrie.h"

namespace Routing::Bench {
namespace {

constexpr std::size_t queries = 65536;

template <AddressFamily af>
struct Tries {
  static constexpr std::size_t words = af == AddressFamily::ipv4 ? 1 : 2;
  using Plain = PlainTrie<words>;

  explicit Tries(std::uint32_t prefixes) {
    for (std::uint32_t i = 1; i <= prefixes; ++i) {
      const IpGenAddr address = any();
      const auto length = static_cast<unsigned>(8 + numbers.below(addressBits(af) / 2));
      const IpGenPrefix prefix(address, length);
      trie.insert(prefix, i);
      plain.insert(Plain::bitsOf(prefix.address()), length, *trie.find(prefix));
    }
    for (std::size_t i = 0; i < queries; ++i) {
      asked.push_back(IpGenPrefix::host(any()));
      askedPlainly.push_back(Plain::bitsOf(asked.back().address()));
    }
  }
  /// Half of all addresses crowd in one eighth of the space, as they do in tables of routes.
  IpGenAddr any() {
    const std::uint64_t crowd = numbers.below(2) == 0 ? 0 : ~std::uint64_t{7} << 58;
    const std::uint64_t upper = numbers.next() & ~crowd;
    return af == AddressFamily::ipv4 ? IpGenAddr::v4(static_cast<std::uint32_t>(upper >> 32))
                                     : IpGenAddr::v6(upper, numbers.next());
  }

  Numbers numbers;
  PrefixTrie<std::uint32_t> trie{af};
  Plain plain;
  std::vector<IpGenPrefix> asked;
  std::vector<typename Plain::Bits> askedPlainly;
};

template <AddressFamily af>
Workload longestMatch(std::uint32_t prefixes) {
  const auto tries = std::make_shared<Tries<af>>(prefixes);
  const auto match = [tries](std::uint64_t turns) {
    std::uint64_t sum = 0;
    while (turns-- > 0) {
      const auto found = tries->trie.longestMatch(tries->asked[turns % queries]);
      sum += found ? *found.value : 0;
    }
    keep(sum);
  };
  const auto plainly = [tries](std::uint64_t turns) {
    std::uint64_t sum = 0;
    while (turns-- > 0) sum += tries->plain.longestMatch(tries->askedPlainly[turns % queries]);
    keep(sum);
  };
  const std::string family = af == AddressFamily::ipv4 ? "IPv4, " : "IPv6, ";
  return {"longest match", family + std::to_string(prefixes) + " prefixes", match,
          "a bare patricia trie", plainly};
}

}  // namespace

std::vector<Workload> trieWorkloads(Sizes sizes) {
  std::vector<Workload> made;
  for (const std::uint32_t prefixes : chosen<std::uint32_t>(sizes, {10, 1000, 100000})) {
    made.push_back(longestMatch<AddressFamily::ipv4>(prefixes));
    made.push_back(longestMatch<AddressFamily::ipv6>(prefixes));
  }
  return made;
}

}  // namespace Routing::Bench
