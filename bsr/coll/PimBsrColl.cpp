#include "bsr/coll/PimBsrColl.h"

#include "platform/entity/Assertion.h"

namespace Routing::Pim::Bsr {
namespace {

const VrfName& defaultVrf() {
  static const VrfName vrf{std::string(VrfName::defaultName)};
  return vrf;
}

std::string_view pathOf(AddressFamily af, std::string_view ipv4, std::string_view ipv6) {
  switch (af) {
    case AddressFamily::ipv4:
      return ipv4;
    case AddressFamily::ipv6:
      return ipv6;
    default:
      ROUTING_ASSERT(false && "Unsupported address family");
      return {};
  }
}

}  // namespace

ROUTING_ENTITY_DEFINE("Routing::Pim::Bsr::", ConfigColl, PIM_BSR_CONFIG_COLL)
ROUTING_ENTITY_DEFINE("Routing::Pim::Bsr::", ClearConfigColl, PIM_BSR_CLEAR_CONFIG_COLL)
ROUTING_ENTITY_DEFINE("Routing::Pim::Bsr::", StatusColl, PIM_BSR_STATUS_COLL)

std::string_view ConfigColl::mountPath(AddressFamily af) {
  return pathOf(af, "routing/pim/bsr/configcoll", "routing6/pim/bsr/configcoll");
}

void ConfigColl::doInit() {
  newVrfConfig(defaultVrf());
}

std::string_view ClearConfigColl::mountPath(AddressFamily af) {
  return pathOf(af, "routing/pim/bsr/clear/configcoll", "routing6/pim/bsr/clear/configcoll");
}

void ClearConfigColl::doInit() {
  newVrfClearConfig(defaultVrf());
}

std::string_view StatusColl::mountPath(AddressFamily af) {
  return pathOf(af, "routing/pim/bsr/statuscoll", "routing6/pim/bsr/statuscoll");
}

void StatusColl::doInit() {
  newVrfStatus(defaultVrf());
}

}  // namespace Routing::Pim::Bsr
