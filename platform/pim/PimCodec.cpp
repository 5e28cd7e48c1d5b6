#include "platform/pim/PimCodec.h"

#include <optional>

#include "platform/pim/AddressChecks.h"
#include "platform/pim/wire/BlockPool.h"
#include "platform/pim/wire/PimBodies.h"
#include "platform/pim/wire/PimChecksum.h"

namespace Routing::Pim {
namespace {

constexpr std::size_t headerOctets = 4;

bool destinationAllowed(PimType type, const IpGenAddr& destination) {
  switch (type) {
    case PimType::hello:
      return destination == allPimRouters(destination.af());
    case PimType::crpAdv:
      return isUnicast(destination);
    default:
      return true;
  }
}

std::optional<DropReason> headerFault(std::span<const std::uint8_t> payload,
                                      const IpGenAddr& source, const IpGenAddr& destination) {
  if (pimChecksum(payload, source, destination) != 0) return DropReason::badChecksum;
  if (!isUnicast(source)) return DropReason::badSource;
  const auto type = static_cast<PimType>(*pimTypeOf(payload));
  if (!destinationAllowed(type, destination)) return DropReason::wrongDestination;
  return std::nullopt;
}

template <typename Message>
DecodeResult decodeAs(std::span<const std::uint8_t> payload, const IpGenAddr& source,
                      const IpGenAddr& destination) {
  if (const auto fault = headerFault(payload, source, destination)) return *fault;
  WireReader reader(payload.subspan(1), source.af());
  auto message = std::allocate_shared<Message>(PoolAllocator<Message>{});
  message->sourceIs(source);
  message->destinationIs(destination);
  readBody(reader, *message);
  if (reader.failure()) return *reader.failure();
  return message;
}

void writeTyped(WireWriter& writer, const PimMessage& message) {
  switch (message.type()) {
    case PimType::hello:
      return writeBody(writer, static_cast<const HelloMessage&>(message));
    case PimType::bootstrap:
      return writeBody(writer, static_cast<const BootstrapMessage&>(message));
    case PimType::crpAdv:
      return writeBody(writer, static_cast<const CrpAdvMessage&>(message));
  }
}

bool sameKnownFamily(const IpGenAddr& a, const IpGenAddr& b) {
  return a.af() == b.af() && a.af() != AddressFamily::unset;
}

}  // namespace

DecodeResult decode(std::span<const std::uint8_t> payload, const IpGenAddr& source,
                    const IpGenAddr& destination) {
  if (!sameKnownFamily(source, destination)) return DropReason::badFamily;
  if (payload.size() < headerOctets) return DropReason::shortHeader;
  if (payload[0] >> 4 != pimVersion) return DropReason::badVersion;
  const std::uint8_t type = *pimTypeOf(payload);
  switch (static_cast<PimType>(type)) {
    case PimType::hello:
      return decodeAs<HelloMessage>(payload, source, destination);
    case PimType::bootstrap:
      return decodeAs<BootstrapMessage>(payload, source, destination);
    case PimType::crpAdv:
      return decodeAs<CrpAdvMessage>(payload, source, destination);
  }
  return OtherType{type};
}

bool encode(const PimMessage& message, const IpGenAddr& source, const IpGenAddr& destination,
            std::vector<std::uint8_t>& out) {
  WireWriter writer(out, destination.af());
  writer.u8(static_cast<std::uint8_t>(pimVersion << 4 | static_cast<unsigned>(message.type())));
  writeTyped(writer, message);
  if (!sameKnownFamily(source, destination)) writer.fail();
  if (!writer.finish()) return false;
  pimChecksumIs(out, source, destination);
  return true;
}

bool encode(const PimMessage& message, std::vector<std::uint8_t>& out) {
  return encode(message, message.source(), message.destination(), out);
}

}  // namespace Routing::Pim
