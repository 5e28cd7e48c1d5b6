#include "platform/pim/wire/BootstrapRpList.h"

#include <algorithm>
#include <new>
#include <type_traits>

#include "platform/pim/wire/BlockPool.h"

namespace Routing::Pim {
namespace {

constexpr std::size_t leastRoom = 4;
static_assert(std::is_trivially_copyable_v<BootstrapRp>);

std::size_t octetsOf(std::size_t head, std::size_t rps) {
  return head + rps * sizeof(BootstrapRp);
}

}  // namespace

BootstrapRpList::Array* BootstrapRpList::newArray(std::size_t capacity) {
  static_assert(sizeof(Array) % alignof(BootstrapRp) == 0);
  return new (BlockPool::take(octetsOf(sizeof(Array), capacity)))
      Array{static_cast<std::uint32_t>(capacity), 0, 1};
}

void BootstrapRpList::free(Array* array) noexcept {
  BlockPool::give(array, octetsOf(sizeof(Array), array->capacity));
}

BootstrapRpList::const_iterator BootstrapRpList::place(const IpGenAddr& address) const {
  return std::lower_bound(begin(), end(), address,
                          [](const BootstrapRp& rp, const IpGenAddr& a) { return rp.address < a; });
}

const BootstrapRpData* BootstrapRpList::find(const IpGenAddr& address) const {
  const auto at = place(address);
  return holds(at, address) ? &at->data : nullptr;
}

// The list's RPs in an array that nobody else holds, with so much room behind them.
BootstrapRp* BootstrapRpList::own(std::size_t room) {
  BootstrapRp* const first = array_ == nullptr ? nullptr : const_cast<BootstrapRp*>(first_);
  const bool alone = array_ != nullptr && array_->holders == 1 &&
                     first_ + size_ + room <= array_->rps() + array_->capacity;
  if (alone) {
    array_->used = static_cast<std::uint32_t>(first_ + size_ + room - array_->rps());
    return first;
  }
  BootstrapRpList copy;
  copy.array_ = newArray(room == 0 ? size_ : std::max(leastRoom, 2 * (size_ + room)));
  BootstrapRp* const rps = copy.array_->rps();
  std::copy(begin(), end(), rps);
  copy.first_ = rps;
  copy.size_ = size_;
  copy.array_->used = static_cast<std::uint32_t>(size_ + room);
  swap(copy);
  return rps;
}

void BootstrapRpList::rpIs(const IpGenAddr& address, const BootstrapRpData& data) {
  const BootstrapRp rp{address, data};  // what is given may stand in the list
  const std::size_t index =
      empty() || (end() - 1)->address < address ? size_ : std::size_t(place(address) - begin());
  if (index < size_ && first_[index].address == rp.address) {
    own(0)[index] = rp;
    return;
  }
  BootstrapRp* const rps = own(1);
  std::copy_backward(rps + index, rps + size_, rps + size_ + 1);
  rps[index] = rp;
  ++size_;
}

void BootstrapRpList::rpDel(const IpGenAddr& address) {
  const auto at = place(address);
  if (!holds(at, address)) return;
  const std::size_t index = at - begin();
  BootstrapRp* const rps = own(0);
  std::copy(rps + index + 1, rps + size_, rps + index);
  --size_;
}

BootstrapRpList BootstrapRpList::part(std::size_t index, std::size_t count) const {
  BootstrapRpList part(*this);
  part.first_ += index;
  part.size_ = static_cast<std::uint32_t>(count);
  return part;
}

bool operator==(const BootstrapRpList& a, const BootstrapRpList& b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end());
}

void RpArrays::renew(std::size_t capacity) {
  BootstrapRpList fresh;
  fresh.array_ = BootstrapRpList::newArray(capacity);
  countHolders();
  lists_ = std::move(fresh);
  free_ = capacity;
}

}  // namespace Routing::Pim
