#include "config/judge/Judge.h"

namespace Routing::Agent {

const char* familyName(AddressFamily af) {
  return af == AddressFamily::ipv4 ? "ipv4" : "ipv6";
}

std::string entryPath(const std::string& parent, const char* name, const std::string& key) {
  return parent + '/' + name + '[' + key + ']';
}

std::string familyPath(const VrfName& vrf, AddressFamily af) {
  return entryPath("vrf[" + vrf.text() + ']', "address-family", familyName(af));
}

std::string accessListPath(const std::pair<AddressFamily, std::string>& key) {
  return std::string("access-list[") + familyName(key.first) + ' ' + key.second + ']';
}

std::string FamilyJudge::bsrCandidatePath(const std::string& interface) const {
  return entryPath(bsrPath() + "/bsr-candidate", "interface", interface);
}

std::string FamilyJudge::rpCandidatePath(const std::string& interface) const {
  return entryPath(bsrPath() + "/rp-candidate", "interface", interface);
}

std::string FamilyJudge::interfacePath(const std::string& interface) const {
  return entryPath(path, "interface", interface);
}

}  // namespace Routing::Agent
