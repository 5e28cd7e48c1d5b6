#include "platform/pim/wire/CrpAdvMessage.h"

#include <ostream>
#include <tuple>

namespace Routing::Pim {

bool operator==(const CrpAdvMessage& a, const CrpAdvMessage& b) {
  const auto fields = [](const CrpAdvMessage& m) {
    return std::tie(m.rpAddress_, m.holdtime_, m.prefixCount_, m.priority_, m.groupData_);
  };
  return a.sameAddresses(b) && fields(a) == fields(b);
}

std::ostream& operator<<(std::ostream& out, const CrpGroupInfo& group) {
  return out << group.groupInfo() << (group.groupFlags().bidir() ? " bidir" : "")
             << (group.groupFlags().zone() ? " zone" : "");
}

std::ostream& operator<<(std::ostream& out, const CrpAdvMessage& adv) {
  return out << "C-RP advertisement from " << adv.source() << " to " << adv.destination() << " RP "
             << adv.rpAddress() << " priority " << unsigned{adv.priority()} << " holdtime "
             << adv.holdtime() << " groups " << adv.groupData().size();
}

}  // namespace Routing::Pim
