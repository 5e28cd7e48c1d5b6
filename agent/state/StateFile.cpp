#include "agent/state/StateFile.h"

#include <spdlog/spdlog.h>

#include <algorithm>
#include <exception>
#include <stdexcept>
#include <utility>

#include "agent/state/StateFault.h"
#include "agent/state/StatusFromText.h"

namespace Routing::Agent {
namespace {

constexpr std::uint64_t mostEditsAtOnce = maxStateEdits / 4;
constexpr std::uint64_t mostEdits = maxStateEdits / 2;

/// VRF names are those of devices; whatever else they may hold is no part of a file's name.
std::string fileName(const VrfName& vrf, AddressFamily af) {
  std::string name;
  for (const char c : vrf.text()) {
    const bool plain = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') ||
                       c == '-' || c == '_';
    name += plain ? std::string(1, c) : fmt::format("%{:02x}", static_cast<unsigned char>(c));
  }
  return name.append(".").append(enumName(af));
}

bool isCounters(const Entity& entity) {
  return dynamic_cast<const Pim::Bsr::PimBsrCounters*>(&entity) != nullptr;
}

std::size_t rpsOf(const Pim::Bsr::Status& status) {
  std::size_t count = 0;
  for (const auto& [zone, rpSets] : status.crpStatus()) {
    for (const auto& [prefix, set] : rpSets->status()->crpSet()) count += set->rp().size();
  }
  return count;
}

}  // namespace

StateFile::StateFile(const StateDirectory& directory, const Clock& clock, StateHeader own)
    : directory_(directory),
      clock_(clock),
      own_(std::move(own)),
      name_(fileName(own_.vrf, own_.af)) {}

std::string StateFile::subject() const {
  return fmt::format("{} in VRF {}", own_.af == AddressFamily::ipv4 ? "IPv4" : "IPv6",
                     own_.vrf.text());
}

StateHeader StateFile::header() const {
  StateHeader header = own_;
  header.instant = clock_.now();
  return header;
}

// --- reading ----------------------------------------------------------------------------------

std::shared_ptr<Pim::Bsr::Status> StateFile::restored(const Pim::Bsr::PimBsrLimits& limits) const {
  try {
    if (!directory_.names().contains(name_)) return nullptr;
    auto status = statusFromText(directory_.read(name_), header(), limits);
    spdlog::info("{} resumes with {} BSRs and {} RPs", subject(), status->bootstrapRouter().size(),
                 rpsOf(*status));
    return status;
  } catch (const StateFault& fault) {
    putAside(fault.what());
  } catch (const std::exception& error) {
    putAside(error.what());
  }
  return nullptr;
}

void StateFile::putAside(const char* fault) const try {
  const std::string aside = name_ + ".bad";
  directory_.rename(name_, aside);
  spdlog::warn("{} begins anew: its state file {}; it is {} now", subject(), fault, aside);
} catch (const std::exception& error) {
  spdlog::warn("{} begins anew: its state file {}, and stays: {}", subject(), fault, error.what());
}

// --- writing ----------------------------------------------------------------------------------

void StateFile::follow(const std::shared_ptr<const Pim::Bsr::Status>& status) try {
  journal_.emplace(status, isCounters);
  file_ = Fd();
  write();
} catch (const std::length_error& error) {
  spdlog::warn("{} keeps no state: {}", subject(), error.what());
  discard();
}

void StateFile::flush() {
  if (journal_ && !journal_->empty()) write();
}

void StateFile::write() try {
  if (file_ && !outgrown(journal_->lines().size())) {
    append();
  } else if (clock_.now() >= retryAt_) {
    rewrite();
  }
  journal_->clear();
} catch (const std::exception& error) {
  giveUp(error.what());
}

bool StateFile::outgrown(std::size_t more) const {
  return size_ + more > std::max(2 * beginning_, leastSize) || journal_->edits() > mostEdits;
}

void StateFile::append() {
  text_.clear();
  writer_.append(journal_->lines(), text_);
  writeAll(file_, text_);
  size_ += text_.size();
}

void StateFile::rewrite() {
  journal_->restart();
  std::string text;
  writer_.begin(header(), journal_->lines(), text);
  if (text.size() > StateDirectory::maxFileSize / 2 || journal_->edits() > mostEditsAtOnce) {
    throw std::length_error("it would be too long");
  }
  file_ = directory_.replace(name_, text);
  size_ = beginning_ = text.size();
}

// Half a state is worse than none.
void StateFile::giveUp(const char* reason) {
  spdlog::warn("{} keeps no state for now: {}", subject(), reason);
  discard();
  retryAt_ = clock_.now() + retrySeconds;
  journal_->clear();
}

void StateFile::remove() {
  journal_.reset();
  discard();
}

void StateFile::discard() try {
  file_ = Fd();
  directory_.remove(name_);
} catch (const std::exception& error) {
  spdlog::warn("{} leaves a state file behind: {}", subject(), error.what());
}

}  // namespace Routing::Agent
