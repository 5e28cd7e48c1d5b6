#include "agent/state/StateStore.h"

#include <spdlog/spdlog.h>

#include <exception>
#include <fstream>
#include <stdexcept>

namespace Routing::Agent {
namespace {

std::string readBootId() {
  const char* const path = "/proc/sys/kernel/random/boot_id";
  std::string id;
  if (!(std::ifstream(path) >> id))
    throw std::runtime_error(std::string(path) + " is not readable");
  return id;
}

/// Files that are made and left by state files, but for those put aside.
bool isStateFile(const std::string& name) {
  for (const char* end : {".ipv4", ".ipv6", ".ipv4.new", ".ipv6.new"}) {
    if (name.ends_with(end)) return true;
  }
  return false;
}

}  // namespace

void StateStore::open(const std::string& directory) try {
  boot_ = readBootId();
  directory_.emplace(directory);
  spdlog::debug("state is kept in {}", directory);
} catch (const std::exception& error) {
  spdlog::warn("no state is kept: {}", error.what());
}

std::unique_ptr<StateFile> StateStore::fileOf(const VrfName& vrf, AddressFamily af) {
  if (!directory_) return nullptr;
  auto file = std::make_unique<StateFile>(*directory_, clock_,
                                          StateHeader{PIMBSR_VERSION, boot_, 0, af, vrf});
  used_.insert(file->name());
  return file;
}

void StateStore::dropOthers() try {
  if (!directory_) return;
  for (const std::string& name : directory_->names()) {
    if (isStateFile(name) && !used_.contains(name)) directory_->remove(name);
  }
} catch (const std::exception& error) {
  spdlog::warn("an old state file stays: {}", error.what());
}

}  // namespace Routing::Agent
