#pragma once

#include <memory>

#include "platform/entity/Schema.h"
#include "platform/net/IntfId.h"
#include "platform/net/IpGenPrefix.h"
#include "platform/net/VrfName.h"

// Entities with every kind of attribute, for the tests of the framework.
namespace Routing::Sample {

#define SAMPLE_PORT(ATTR)                                     \
  ATTR(VALUE, address, IpGenAddr, {})                         \
  ATTR(BOUNDED, priority, std::uint16_t, 256, 0, 256)         \
  ATTR(BOUNDED, interval, std::uint32_t, 60, Port::min, 3600) \
  ATTR(SET, permit, IpGenPrefix)

class Port : public Entity {
  ROUTING_KEY(Port, IntfId, intfId)
  ROUTING_ENTITY(Port, SAMPLE_PORT)

 public:
  static constexpr std::uint32_t min = 10;
};

#define SAMPLE_ROUTER(ATTR)                   \
  ATTR(VALUE, name, std::string, {})          \
  ATTR(VALUE, since, double, 0.0)             \
  ATTR(VALUE, up, bool, false)                \
  ATTR(COUNTER, rx)                           \
  ATTR(POINTER, message, std::string)         \
  ATTR(MAP, zone, IpGenPrefix, IntfId)        \
  ATTR(COLLECTION, port, Port, IntfId, Port)  \
  ATTR(REFERENCES, uplink, std::string, Port) \
  ATTR(CHILD, console, Console, IntfId, Port)

class Router : public Entity {
  ROUTING_KEY(Router, VrfName, vrfName)
  ROUTING_ENTITY(Router, SAMPLE_ROUTER)
};

inline std::shared_ptr<Router> makeRouter() {
  return std::make_shared<Router>(VrfName("default"));
}

}  // namespace Routing::Sample
