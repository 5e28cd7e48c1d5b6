#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include "platform/pim/PimCodec.h"
#include "platform/pim/wire/PimChecksum.h"
#include "tests/support/PimGenerators.h"
#include "tests/support/PimInvariants.h"

namespace Routing::Pim {
namespace {

using TestKit::Octets;

Octets rubbish() {
  return *rc::gen::arbitrary<Octets>();
}

// A valid message of a random type with the datagram addresses it was made for.
struct Sample {
  Octets octets;
  IpGenAddr source;
  IpGenAddr destination;
};

template <typename Message>
Sample sampleOf(const Message& message) {
  Sample sample{{}, message.source(), message.destination()};
  RC_ASSERT(encode(message, sample.octets));
  return sample;
}

Sample anySample() {
  switch (*rc::gen::inRange(0, 3)) {
    case 0:
      return sampleOf(*rc::gen::arbitrary<BootstrapMessage>());
    case 1:
      return sampleOf(*rc::gen::arbitrary<CrpAdvMessage>());
    default:
      return sampleOf(*rc::gen::arbitrary<HelloMessage>());
  }
}

DecodeResult decodeSigned(Sample sample) {
  if (sample.octets.size() >= 4) pimChecksumIs(sample.octets, sample.source, sample.destination);
  return decode(sample.octets, sample.source, sample.destination);
}

// Whatever octets give must obey the protocol and survive its own encoding.
void judge(const DecodeResult& result) {
  RC_ASSERT(TestKit::violation(result) == "");
  const PimMessage* message = TestKit::messageOf(result);
  if (message == nullptr) return;
  Octets again = rubbish();
  RC_ASSERT(encode(*message, again));
  const auto second = decode(again, message->source(), message->destination());
  RC_ASSERT(TestKit::describe(second) == TestKit::describe(result));
}

void mutate(Octets& octets) {
  const auto at = [&] { return *rc::gen::inRange<std::size_t>(0, octets.size()); };
  const auto iterator = [&] { return octets.begin() + static_cast<std::ptrdiff_t>(at()); };
  if (octets.empty()) return;
  switch (*rc::gen::inRange(0, 4)) {
    case 0:
      octets[at()] = *rc::gen::arbitrary<std::uint8_t>();
      break;
    case 1:
      octets[at()] ^= static_cast<std::uint8_t>(1U << *rc::gen::inRange(0, 8));
      break;
    case 2:
      octets.erase(iterator());
      break;
    default:
      octets.insert(iterator(), *rc::gen::element<std::uint8_t>(0, 1, 2, 24, 127, 255));
  }
}

template <typename Message>
void roundTrips() {
  const Message message = *rc::gen::arbitrary<Message>();
  Octets octets = rubbish();
  RC_ASSERT(encode(message, octets));
  const auto result = decode(octets, message.source(), message.destination());
  const auto* decoded = std::get_if<std::shared_ptr<Message>>(&result);
  RC_ASSERT(decoded != nullptr);
  RC_ASSERT(**decoded == message);
  RC_ASSERT(TestKit::violation(**decoded) == "");
}

RC_GTEST_PROP(CodecProperty, EveryMessageRoundTrips, ()) {
  roundTrips<BootstrapMessage>();
  roundTrips<CrpAdvMessage>();
  roundTrips<HelloMessage>();
}

RC_GTEST_PROP(CodecProperty, MutatedOctetsAreDroppedOrObeyTheProtocol, ()) {
  Sample sample = anySample();
  for (int i = 0; i < 32; ++i) {
    const Sample whole = sample;
    for (int changes = *rc::gen::inRange(1, 4); changes > 0; --changes) mutate(sample.octets);
    const auto result = decodeSigned(sample);
    judge(result);
    if (TestKit::messageOf(result) == nullptr) sample = whole;  // mutate on from what still decodes
  }
}

// A cut Bootstrap message may still be one (of fewer ranges), as may a cut Hello; no cut makes
// something up.
RC_GTEST_PROP(CodecProperty, AnyCutIsDroppedOrHoldsLess, ()) {
  const Sample sample = anySample();
  const auto wholeText =
      TestKit::describe(decode(sample.octets, sample.source, sample.destination));
  for (int i = 0; i < 32; ++i) {
    const auto length = *rc::gen::inRange<std::size_t>(0, sample.octets.size());
    Sample cut = sample;
    cut.octets.resize(length);
    const auto result = decodeSigned(cut);
    judge(result);
    if (TestKit::messageOf(result) != nullptr) {
      RC_ASSERT(wholeText.starts_with(TestKit::describe(result)));
    } else {
      const auto reason = std::get<DropReason>(result);
      RC_ASSERT(reason == (length < 4 ? DropReason::shortHeader : DropReason::truncated));
    }
  }
}

}  // namespace
}  // namespace Routing::Pim
