#include <cerrno>
#include <exception>
#include <memory>
#include <nlohmann/json.hpp>
#include <optional>
#include <stdexcept>
#include <string>
#include <system_error>

#include "client/LineSocket.h"
#include "client/MappingStore.h"
#include "client/pimbsr_client.h"

using Routing::AddressFamily;
using Routing::IpGenAddr;
using Routing::Client::LineSocket;
using Routing::Client::MappingStore;
using Routing::Client::StoredMapping;
using ClientJson = nlohmann::json;

namespace {

/// A mapping with the texts that its C form points to.
struct MappingText {
  StoredMapping stored;
  std::string range;
  std::string rp;
  pimbsr_mapping view{};

  const pimbsr_mapping* shown() {
    const auto& mapping = stored.mapping;
    range = mapping.groupRange.text();
    rp = mapping.rp.text();
    view = {.vrf = stored.vrf.c_str(),
            .family = mapping.rp.af() == AddressFamily::ipv4 ? 4 : 6,
            .group_range = range.c_str(),
            .rp_address = rp.c_str(),
            .bidirectional = mapping.mode == 2 ? 1 : 0,
            .priority = mapping.priority,
            .hash_mask_length = mapping.hashMaskLen,
            .zone = stored.zone.c_str(),
            .origin = stored.origin.c_str()};
    return &view;
  }
};

constexpr struct {
  const char* word;
  pimbsr_operation operation;
} operations[] = {
    {"present", PIMBSR_PRESENT}, {"live", PIMBSR_LIVE},     {"add", PIMBSR_ADD},
    {"update", PIMBSR_UPDATE},   {"remove", PIMBSR_REMOVE},
};

int operationOf(const std::string& word) {
  for (const auto& known : operations) {
    if (word == known.word) return known.operation;
  }
  return 0;
}

AddressFamily familyOf(int family) {
  return family == 6 ? AddressFamily::ipv6 : AddressFamily::ipv4;
}

const char* vrfOf(const char* vrf) {
  return vrf == nullptr ? "default" : vrf;
}

std::string subscription(const char* vrf, int family) {
  ClientJson request = {{"command", "subscribe"}, {"topic", "rp-mappings"}};
  if (vrf != nullptr) request["vrf"] = vrf;
  if (family != 0) request["family"] = family == 6 ? "ipv6" : "ipv4";
  return request.dump(-1, ' ', false, ClientJson::error_handler_t::replace);
}

}  // namespace

struct pimbsr_client {
  explicit pimbsr_client(const char* path) : socket(path) {}

  /// What a line says, applied; null for an answer, which tells nothing.
  const pimbsr_event* take(const std::string& text) {
    const ClientJson line = ClientJson::parse(text);
    if (!line.value("ok", true)) throw std::runtime_error(line.value("error", "refused"));
    if (!line.contains("operation")) return nullptr;
    event = {};
    event.operation = operationOf(line.at("operation").get<std::string>());
    live = live || event.operation == PIMBSR_LIVE;
    if (MappingStore::read(line, told.stored)) {
      event.operation == PIMBSR_REMOVE ? store.remove(told.stored) : store.put(told.stored);
      event.mapping = told.shown();
    }
    event.generation = line.value("generation", std::uint64_t{0});
    event.digest = std::stoull("0" + line.value("digest", std::string()), nullptr, 16);
    time = line.value("time", std::string());
    event.time = time.c_str();
    return &event;
  }

  LineSocket socket;
  MappingStore store;
  bool live = false;
  std::optional<std::string> error;
  MappingText told;
  MappingText selected;
  std::string time;
  pimbsr_event event{};
};

pimbsr_client* pimbsr_connect(const char* path, const char* vrf, int family) try {
  auto client = std::make_unique<pimbsr_client>(path == nullptr ? LineSocket::usualPath : path);
  client->socket.send(subscription(vrf, family));
  return client.release();
} catch (const std::system_error& error) {
  errno = error.code().value();
  return nullptr;
} catch (...) {
  errno = ENOMEM;
  return nullptr;
}

void pimbsr_close(pimbsr_client* client) {
  delete client;
}

int pimbsr_fd(const pimbsr_client* client) {
  return client->socket.fd();
}

const pimbsr_event* pimbsr_next(pimbsr_client* client, int timeout_ms) {
  if (client->error) return nullptr;
  try {
    while (const auto line = client->socket.next(timeout_ms)) {
      if (const pimbsr_event* event = client->take(*line)) return event;
    }
  } catch (const std::exception& error) {
    client->error = error.what();
  }
  return nullptr;
}

const char* pimbsr_error(const pimbsr_client* client) {
  return client->error ? client->error->c_str() : nullptr;
}

int pimbsr_live(const pimbsr_client* client) {
  return client->live ? 1 : 0;
}

const pimbsr_mapping* pimbsr_select(pimbsr_client* client, const char* vrf, const char* group) {
  const auto address = group == nullptr ? std::nullopt : IpGenAddr::fromText(group);
  if (!address || !client->store.select(vrfOf(vrf), *address, client->selected.stored)) {
    return nullptr;
  }
  return client->selected.shown();
}

uint64_t pimbsr_digest(const pimbsr_client* client, const char* vrf, int family) {
  return client->store.digest(vrfOf(vrf), familyOf(family));
}

size_t pimbsr_count(const pimbsr_client* client, const char* vrf, int family) {
  return client->store.count(vrfOf(vrf), familyOf(family));
}
