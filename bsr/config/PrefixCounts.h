#pragma once

#include <string_view>

#include "bsr/config/ConfigContext.h"
#include "bsr/types/Traces.h"

namespace Routing::Pim::Bsr {

/// How many configured items of an interface make the status entry of a prefix, one kind of them.
template <class RefCount>
class PrefixCounts {
 public:
  /// Where the state keeps them, and the word that traces begin with.
  struct Kind {
    const std::shared_ptr<RefCount>& (ConfigState::*find)(const IntfId&) const;
    std::shared_ptr<RefCount> (ConfigState::*make)(const IntfId&);
    void (ConfigState::*remove)(const IntfId&);
    std::string_view word;
  };

  PrefixCounts(const ConfigContext& context, const Kind& kind) : context_(context), kind_(kind) {}

  /// The interface is about to count something.
  void open(const IntfId& intf) const {
    if (find(intf)) return;
    (context_.state.get()->*kind_.make)(intf);
    BSR_TRACE(sm, 8, "Created ", kind_.word, "refcount object for interface ", intf);
  }
  /// An interface without counts is not kept.
  void countIs(const IntfId& intf, const IpGenPrefix& prefix, std::size_t count) const {
    const std::shared_ptr<RefCount> counts = find(intf);
    const std::uint32_t* before = counts ? counts->counter(prefix) : nullptr;
    if (!counts || (before == nullptr ? 0 : *before) == count) return;
    if (count > 0) {
      counts->counterIs(prefix, static_cast<std::uint32_t>(count));
    } else {
      counts->counterDel(prefix);
    }
    BSR_TRACE(sm, 8, kind_.word, "PrefixCounter for prefix ", prefix, " is ", count);
    if (!counts->counter().empty()) return;
    (context_.state.get()->*kind_.remove)(intf);
    BSR_TRACE(sm, 8, "Deleted ", kind_.word, "refcount object for interface ", intf);
  }

 private:
  const std::shared_ptr<RefCount>& find(const IntfId& intf) const {
    return (context_.state.get()->*kind_.find)(intf);
  }
  const VrfName& vrfName() const { return context_.vrfName(); }

  const ConfigContext& context_;
  const Kind kind_;
};

}  // namespace Routing::Pim::Bsr
