#include <gtest/gtest.h>
#include <rapidcheck.h>

#include <algorithm>
#include <iterator>
#include <map>
#include <memory>
#include <tuple>
#include <vector>

#include "platform/pim/RpCandidateStatus.h"

namespace Routing::Pim {
namespace {

// Runs of keys come and go, in blocks that fill, split, empty and join; beside it a map of the
// same.
TEST(EntityCollection, IsLikeAMapWhateverComesAndGoes) {
  EXPECT_TRUE(rc::check([] {
    RpCandidateSet set{IpGenPrefix{}};
    const auto& rps = set.rp();
    std::map<IpGenAddr, std::shared_ptr<RpEntry>> map;
    const auto steps =
        *rc::gen::container<std::vector<std::tuple<bool, unsigned, unsigned>>>(rc::gen::tuple(
            rc::gen::arbitrary<bool>(), rc::gen::inRange(0U, 400U), rc::gen::inRange(0U, 250U)));
    for (const auto& [comes, first, count] : steps) {
      const auto kept = rps.begin();
      const auto keptKey = rps.empty() ? IpGenAddr{} : kept->first;
      for (unsigned i = first; i < first + count; ++i) {
        const IpGenAddr key = IpGenAddr::v4(i * 7 % 401);
        if (comes) {
          map[key] = set.newRp(key);
        } else {
          map.erase(key);
          set.rpDel(key);
        }
        RC_ASSERT(set.rp(key) == (comes ? map.at(key) : nullptr));
      }
      RC_ASSERT(rps.copy() == map);
      RC_ASSERT(std::equal(rps.rbegin(), rps.rend(), map.rbegin(), map.rend()));
      const IpGenAddr bound = IpGenAddr::v4(first);
      RC_ASSERT(std::distance(rps.begin(), rps.lower_bound(bound)) ==
                std::distance(map.begin(), map.lower_bound(bound)));
      if (map.contains(keptKey)) RC_ASSERT(std::next(kept) == rps.upper_bound(keptKey));
    }
  }));
}

}  // namespace
}  // namespace Routing::Pim
