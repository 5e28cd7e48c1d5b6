#pragma once

#include <string>
#include <string_view>

#include "bsr/types/Config.h"
#include "bsr/types/Status.h"

/// The collections of one address family and the paths at which they are mounted. Each holds the
/// entry of the VRF "default" from the start; those of other VRFs come and go with their writers.
namespace Routing::Pim::Bsr {

/// Configuration by VRF, and the border settings of all interfaces.
#define PIM_BSR_CONFIG_COLL(ATTR)                         \
  ATTR(COLLECTION, vrfConfig, VrfConfig, VrfName, Config) \
  ATTR(COLLECTION, intfConfig, IntfConfig, std::string, class IntfConfig)
class ROUTING_API ConfigColl : public Entity {
 public:
  explicit ConfigColl(std::string name) : name_(std::move(name)) { doInit(); }
  const std::string& name() const { return name_; }
  std::string keyText() const override { return valueText(name_); }
  /// An address family other than IPv4 and IPv6 is a failed assertion.
  static std::string_view mountPath(AddressFamily af);
  /// Returns the entry that exists already, else a new one.
  std::shared_ptr<Config> vrfConfigIs(const VrfName& vrf) { return newVrfConfig(vrf); }
  std::shared_ptr<IntfConfig> intfConfigIs(const std::string& intf) { return newIntfConfig(intf); }
  ROUTING_ENTITY(ConfigColl, PIM_BSR_CONFIG_COLL)

 private:
  void doInit();
  const std::string name_;
};

/// Clear requests by VRF.
#define PIM_BSR_CLEAR_CONFIG_COLL(ATTR) \
  ATTR(COLLECTION, vrfClearConfig, VrfClearConfig, VrfName, ClearConfig)
class ROUTING_API ClearConfigColl : public Entity {
 public:
  explicit ClearConfigColl(std::string name) : name_(std::move(name)) { doInit(); }
  const std::string& name() const { return name_; }
  std::string keyText() const override { return valueText(name_); }
  static std::string_view mountPath(AddressFamily af);
  std::shared_ptr<ClearConfig> vrfClearConfigIs(const VrfName& vrf) {
    return newVrfClearConfig(vrf);
  }
  ROUTING_ENTITY(ClearConfigColl, PIM_BSR_CLEAR_CONFIG_COLL)

 private:
  void doInit();
  const std::string name_;
};

/// Status by VRF.
#define PIM_BSR_STATUS_COLL(ATTR) ATTR(COLLECTION, vrfStatus, VrfStatus, VrfName, Status)
class ROUTING_API StatusColl : public Entity {
 public:
  explicit StatusColl(std::string name) : name_(std::move(name)) { doInit(); }
  const std::string& name() const { return name_; }
  std::string keyText() const override { return valueText(name_); }
  static std::string_view mountPath(AddressFamily af);
  std::shared_ptr<Status> vrfStatusIs(const VrfName& vrf) { return newVrfStatus(vrf); }
  ROUTING_ENTITY(StatusColl, PIM_BSR_STATUS_COLL)

 private:
  void doInit();
  const std::string name_;
};

}  // namespace Routing::Pim::Bsr
