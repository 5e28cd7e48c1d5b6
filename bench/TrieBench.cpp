// Prefix trie against an ordered map that is asked for every prefix length, longest first.

#include <benchmark/benchmark.h>

#include <cstdint>
#include <map>
#include <random>
#include <vector>

#include "platform/net/IpGenPrefix.h"
#include "platform/trie/PrefixTrie.h"

namespace Routing {
namespace {

using Trie = PrefixTrie<std::uint32_t>;

/// The obvious way: one map look-up for each length.
class MapOfPrefixes {
 public:
  explicit MapOfPrefixes(AddressFamily) {}

  bool insert(const IpGenPrefix& prefix, std::uint32_t value) {
    return map_.emplace(prefix, value).second;
  }
  bool erase(const IpGenPrefix& prefix) { return map_.erase(prefix) > 0; }

  struct Match {
    IpGenPrefix prefix;
    const std::uint32_t* value = nullptr;
  };
  Match longestMatch(const IpGenPrefix& query) const {
    for (unsigned length = query.length() + 1; length-- > 0;) {
      const auto found = map_.find(IpGenPrefix(query.address(), length));
      if (found != map_.end()) return {found->first, &found->second};
    }
    return {};
  }

 private:
  std::map<IpGenPrefix, std::uint32_t> map_;
};

IpGenAddr randomGroup(AddressFamily af, std::mt19937_64& random) {
  const std::uint64_t low = random();
  if (af == AddressFamily::ipv4) {
    return IpGenAddr::v4(0xe0000000U | static_cast<std::uint32_t>(low >> 36));
  }
  return IpGenAddr::v6(std::uint64_t{0xff} << 56 | random() >> 8, low);
}

/// Distinct multicast prefixes of 8 to 32 (IPv4) or 16 to 128 bits, the whole range among them.
std::vector<IpGenPrefix> makePrefixes(AddressFamily af, std::size_t count) {
  std::mt19937_64 random(5059);
  const unsigned shortest = af == AddressFamily::ipv4 ? 8 : 16;
  std::uniform_int_distribution<unsigned> length(shortest, addressBits(af));
  std::map<IpGenPrefix, bool> seen{{IpGenPrefix::multicast(af), true}};
  std::vector<IpGenPrefix> out{IpGenPrefix::multicast(af)};
  while (out.size() < count) {
    const IpGenPrefix prefix(randomGroup(af, random), length(random));
    if (seen.emplace(prefix, true).second) out.push_back(prefix);
  }
  return out;
}

/// Host prefixes to ask for: half of them inside a stored prefix, half anywhere.
std::vector<IpGenPrefix> makeQueries(AddressFamily af, const std::vector<IpGenPrefix>& stored) {
  std::mt19937_64 random(7761);
  std::vector<IpGenPrefix> out;
  for (std::size_t i = 0; i < 4096; ++i) {
    const bool inside = i % 2 == 0;
    const IpGenAddr address =
        inside ? stored[random() % stored.size()].address() : randomGroup(af, random);
    out.push_back(IpGenPrefix::host(address));
  }
  return out;
}

template <class Store>
Store filled(AddressFamily af, const std::vector<IpGenPrefix>& prefixes) {
  Store store(af);
  std::uint32_t value = 0;
  for (const IpGenPrefix& prefix : prefixes) store.insert(prefix, value++);
  return store;
}

template <class Store, AddressFamily af>
void lookup(benchmark::State& state) {
  const auto prefixes = makePrefixes(af, static_cast<std::size_t>(state.range(0)));
  const auto queries = makeQueries(af, prefixes);
  const Store store = filled<Store>(af, prefixes);
  std::size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(store.longestMatch(queries[i]).value);
    i = (i + 1) % queries.size();
  }
  state.SetItemsProcessed(state.iterations());
}

/// Takes one prefix out of a full store and puts it back: two operations for each iteration.
template <class Store, AddressFamily af>
void eraseInsert(benchmark::State& state) {
  const auto prefixes = makePrefixes(af, static_cast<std::size_t>(state.range(0)));
  Store store = filled<Store>(af, prefixes);
  std::size_t i = 0;
  for (auto _ : state) {
    benchmark::DoNotOptimize(store.erase(prefixes[i]));
    benchmark::DoNotOptimize(store.insert(prefixes[i], 1));
    i = (i + 7919) % prefixes.size();
  }
  state.SetItemsProcessed(2 * state.iterations());
}

template <class Store, AddressFamily af>
void walk(benchmark::State& state) {
  const auto prefixes = makePrefixes(af, static_cast<std::size_t>(state.range(0)));
  const Store trie = filled<Store>(af, prefixes);
  for (auto _ : state) {
    std::uint64_t sum = 0;
    trie.forEach([&sum](const IpGenPrefix& p, std::uint32_t value) { sum += p.length() + value; });
    benchmark::DoNotOptimize(sum);
  }
  state.SetItemsProcessed(state.iterations() * state.range(0));
}

void sizes(benchmark::internal::Benchmark* b) {
  b->Arg(10)->Arg(1000)->Arg(100000);
}

BENCHMARK_TEMPLATE(lookup, Trie, AddressFamily::ipv4)->Apply(sizes);
BENCHMARK_TEMPLATE(lookup, MapOfPrefixes, AddressFamily::ipv4)->Apply(sizes);
BENCHMARK_TEMPLATE(lookup, Trie, AddressFamily::ipv6)->Apply(sizes);
BENCHMARK_TEMPLATE(lookup, MapOfPrefixes, AddressFamily::ipv6)->Apply(sizes);
BENCHMARK_TEMPLATE(eraseInsert, Trie, AddressFamily::ipv4)->Apply(sizes);
BENCHMARK_TEMPLATE(eraseInsert, MapOfPrefixes, AddressFamily::ipv4)->Apply(sizes);
BENCHMARK_TEMPLATE(eraseInsert, Trie, AddressFamily::ipv6)->Apply(sizes);
BENCHMARK_TEMPLATE(eraseInsert, MapOfPrefixes, AddressFamily::ipv6)->Apply(sizes);
BENCHMARK_TEMPLATE(walk, Trie, AddressFamily::ipv4)->Apply(sizes);
BENCHMARK_TEMPLATE(walk, Trie, AddressFamily::ipv6)->Apply(sizes);

}  // namespace
}  // namespace Routing

BENCHMARK_MAIN();
