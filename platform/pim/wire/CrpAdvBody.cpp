// Layout: RFC 5059 section 4.2.

#include <algorithm>

#include "platform/pim/AddressChecks.h"
#include "platform/pim/wire/PimBodies.h"

namespace Routing::Pim {
void readBody(WireReader& reader, CrpAdvMessage& adv) {
  reader.skip(flagAndChecksumOctets);
  adv.prefixCountIs(reader.u8());
  adv.priorityIs(reader.u8());
  adv.holdtimeIs(reader.u16());
  adv.rpAddressIs(reader.encodedUnicast());
  reader.require(isDomainUnicast(adv.rpAddress()), DropReason::badRpAddress);
  for (unsigned i = 0; i < adv.prefixCount() && !reader.failure(); ++i) {
    const EncodedGroup group = reader.encodedGroup();
    adv.groupData().emplace_back(IpGenPrefix(group.address, group.length), GroupFlags(group.flags));
  }
}

void writeBody(WireWriter& writer, const CrpAdvMessage& adv) {
  const std::size_t count = std::min<std::size_t>(adv.prefixCount(), adv.groupData().size());
  writer.u8(0);
  writer.u16(0);
  writer.u8(static_cast<std::uint8_t>(count));
  writer.u8(adv.priority());
  writer.u16(adv.holdtime());
  writer.encodedUnicast(adv.rpAddress());
  for (std::size_t i = 0; i < count; ++i) {
    const CrpGroupInfo& group = adv.groupData()[i];
    writer.encodedGroup(group.groupInfo(), group.groupFlags().value());
  }
}

}  // namespace Routing::Pim
