#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <algorithm>
#include <functional>
#include <iterator>
#include <string>
#include <utility>
#include <vector>

#include "platform/trie/PrefixTrie.h"
#include "tests/platform/trie/PrefixGen.h"
#include "tests/support/Octets.h"

namespace Routing {
namespace {

using Test::prefixOf;
using TestKit::prefix;
using Stored = std::pair<IpGenPrefix, int>;

/// What a PrefixTrie does, done by looking at everything.
class ListOracle {
 public:
  bool insert(const IpGenPrefix& prefix, int value) {
    if (find(prefix) != nullptr) return false;
    stored_.emplace_back(prefix, value);
    return true;
  }
  bool erase(const IpGenPrefix& prefix) {
    return std::erase_if(stored_, [&](const Stored& s) { return s.first == prefix; }) > 0;
  }
  const Stored* find(const IpGenPrefix& prefix) const {
    return pick([&](const IpGenPrefix& p) { return p == prefix; }, {});
  }
  const Stored* longestMatch(const IpGenPrefix& query) const {
    return pick([&](const IpGenPrefix& p) { return p.contains(query); }, longer);
  }
  const Stored* parent(const IpGenPrefix& query) const {
    return pick([&](const IpGenPrefix& p) { return p != query && p.contains(query); }, longer);
  }
  const Stored* next(const IpGenPrefix& after) const {
    return pick([&](const IpGenPrefix& p) { return p > after; }, std::less<>());
  }
  std::vector<Stored> inside(const IpGenPrefix& range) const {
    std::vector<Stored> out;
    std::copy_if(stored_.begin(), stored_.end(), std::back_inserter(out),
                 [&](const Stored& s) { return range.contains(s.first); });
    std::sort(out.begin(), out.end());
    return out;
  }
  std::size_t size() const { return stored_.size(); }

 private:
  using Better = std::function<bool(const IpGenPrefix&, const IpGenPrefix&)>;
  static bool longer(const IpGenPrefix& a, const IpGenPrefix& b) { return a.length() > b.length(); }

  const Stored* pick(const std::function<bool(const IpGenPrefix&)>& fits,
                     const Better& better) const {
    const Stored* best = nullptr;
    for (const Stored& s : stored_) {
      if (fits(s.first) && (best == nullptr || better(s.first, best->first))) best = &s;
    }
    return best;
  }

  std::vector<Stored> stored_;
};

using Trie = PrefixTrie<int>;

void sameMatch(const Trie::Match& got, const Stored* want) {
  RC_ASSERT(static_cast<bool>(got) == (want != nullptr));
  RC_ASSERT(got.prefix == (want == nullptr ? IpGenPrefix() : want->first));
  if (want != nullptr) RC_ASSERT(*got.value == want->second);
}

void sameAnswers(const Trie& trie, const ListOracle& oracle, const IpGenPrefix& query) {
  sameMatch(trie.longestMatch(query), oracle.longestMatch(query));
  sameMatch(trie.parent(query), oracle.parent(query));
  sameMatch(trie.next(query), oracle.next(query));
  const Stored* own = oracle.find(query);
  RC_ASSERT((trie.find(query) != nullptr) == (own != nullptr));
  if (own != nullptr) RC_ASSERT(*trie.find(query) == own->second);
  std::vector<Stored> inside;
  trie.forEachInside(query,
                     [&](const IpGenPrefix& p, int value) { inside.emplace_back(p, value); });
  RC_ASSERT(inside == oracle.inside(query));
}

void behavesAsList(AddressFamily af) {
  const auto steps = *rc::gen::container<std::vector<std::pair<bool, IpGenPrefix>>>(rc::gen::pair(
      rc::gen::map(rc::gen::inRange(0, 3), [](int n) { return n > 0; }), prefixOf(af)));
  const auto queries = *rc::gen::container<std::vector<IpGenPrefix>>(prefixOf(af));
  Trie trie(af);
  ListOracle oracle;
  int value = 0;
  const bool large = *rc::gen::weightedElement<bool>({{9, false}, {1, true}});  // has crossings
  for (std::uint32_t i = large ? 600 : 0; i > 0; --i) {
    const std::uint32_t bits = 0xe8000000 + (i << 15);
    const IpGenPrefix prefix(af == AddressFamily::ipv4
                                 ? IpGenAddr::v4(bits)
                                 : IpGenAddr::v6(std::uint64_t{bits} << 32, 0),
                             17);
    ++value;
    RC_ASSERT(trie.insert(prefix, value) && oracle.insert(prefix, value));
  }
  std::size_t largest = trie.size();
  for (const auto& [add, prefix] : steps) {
    ++value;
    RC_ASSERT((add ? trie.insert(prefix, value) : trie.erase(prefix)) ==
              (add ? oracle.insert(prefix, value) : oracle.erase(prefix)));
    RC_ASSERT(trie.size() == oracle.size());
    largest = std::max(largest, trie.size());
    RC_ASSERT(trie.nodes() <= 2 * largest);
    sameAnswers(trie, oracle, prefix);
  }
  for (const auto& query : queries) sameAnswers(trie, oracle, query);
  std::vector<Stored> walk;
  trie.forEach([&](const IpGenPrefix& p, int v) { walk.emplace_back(p, v); });
  RC_ASSERT(walk == oracle.inside(IpGenPrefix::zero(af)));
}

RC_GTEST_PROP(PrefixTrie, BehavesAsAListIpv4, ()) {
  behavesAsList(AddressFamily::ipv4);
}
RC_GTEST_PROP(PrefixTrie, BehavesAsAListIpv6, ()) {
  behavesAsList(AddressFamily::ipv6);
}

// A chain of every length is the deepest trie there is: 129 nodes on one path.
TEST(PrefixTrie, HoldsAChainOfEveryLength) {
  Trie trie(AddressFamily::ipv6);
  const IpGenAddr address = IpGenAddr::v6(~0ULL, ~0ULL);
  for (unsigned length = 0; length <= 128; ++length) {
    ASSERT_TRUE(trie.insert({address, length}, static_cast<int>(length)));
  }
  int expected = 0;
  trie.forEach([&](const IpGenPrefix&, int value) { EXPECT_EQ(value, expected++); });
  EXPECT_EQ(expected, 129);
  trie.clear();
  EXPECT_TRUE(trie.empty());
  EXPECT_EQ(trie.nodes(), 0U);
  EXPECT_FALSE(trie.first());
}

// Prefixes that come and go for ever, each pair under a fork of its own, must not fill the memory.
TEST(PrefixTrie, UsesTheMemoryOfErasedPrefixesAgain) {
  Trie trie(AddressFamily::ipv4);
  for (std::uint32_t i = 0; i < 10000; ++i) {
    const IpGenPrefix low(IpGenAddr::v4(i << 12), 24);
    const IpGenPrefix high(IpGenAddr::v4(i << 12 | 0x800), 24);
    ASSERT_TRUE(trie.insert(low) && trie.insert(high));
    ASSERT_TRUE(trie.erase(low) && trie.erase(high));
  }
  EXPECT_LE(trie.nodes(), 3U);
}

TEST(PrefixTrie, WalkSurvivesChangesMadeOnTheWay) {
  Trie trie(AddressFamily::ipv4);
  for (const char* p : {"10.0.0.0/8", "10.1.0.0/16", "10.2.0.0/16", "11.0.0.0/8"})
    trie.insert(prefix(p));
  std::string seen;
  trie.forEachInside(prefix("10.0.0.0/7"), [&](const IpGenPrefix& p, int) {
    seen += p.text() + ' ';
    trie.erase(p);
    trie.erase(prefix("10.2.0.0/16"));                                   // ahead: not visited
    trie.insert(prefix("9.0.0.0/8"));                                    // behind, and outside
    if (p == prefix("10.1.0.0/16")) trie.insert(prefix("10.3.0.0/16"));  // ahead: visited
  });
  EXPECT_EQ(seen, "10.0.0.0/8 10.1.0.0/16 10.3.0.0/16 11.0.0.0/8 ");
  EXPECT_EQ(trie.size(), 1U);
}

}  // namespace
}  // namespace Routing
