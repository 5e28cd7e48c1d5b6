#include <gtest/gtest.h>

#include <cstdio>
#include <map>
#include <string>
#include <vector>

#include "platform/pim/PimChecksum.h"
#include "platform/pim/PimCodec.h"
#include "tests/support/Octets.h"
#include "tests/support/Pcap.h"
#include "tests/support/PimInvariants.h"

// Captures as they stand: those in tests/data/pcaps were built octet by octet from the RFC layouts
// without this codec; others, of real routers, are read where they are present.

namespace Routing::Pim {
namespace {

using TestKit::CapturedPim;
using TestKit::Octets;

DecodeResult decodeCaptured(const CapturedPim& m) {
  return decode(m.octets, m.source, m.destination);
}

std::vector<std::string> textsOf(const std::filesystem::path& file) {
  std::vector<std::string> texts;
  for (const auto& message : TestKit::pimIn(file)) {
    texts.push_back(TestKit::describe(decodeCaptured(message)));
  }
  return texts;
}

struct Capture {
  const char* file;
  std::vector<std::string> says;
};

// "28 RPs from 192.0.2.13 on, these of them", as the fragmented captures carry them.
std::string rps(const std::string& net, bool hexadecimal, int first, int count) {
  std::string text;
  for (int host = first; host < first + count; ++host) {
    char digits[8];
    std::snprintf(digits, sizeof digits, hexadecimal ? "%x" : "%d", host);
    text += ' ' + net + digits + "*0*150s";
  }
  return text;
}

std::vector<Capture> ownCaptures() {
  const std::string v4 = " hash 30 BSR 192.0.2.1*", v6 = " hash 126 BSR 2001:db8::1*";
  const std::string big4 = "239.1.2.0/24 ", big6 = "ff05::1:0/112 ";
  return {
      {"hello-v4.pcap",
       {"Hello 105s delay 500+2500 DR 1 ID 1234abcd",
        "Hello 105s delay 500+2500 DR 1 ID 1234abce 192.0.2.10",
        "Hello 0s delay 500+2500 DR 1 ID 1234abcd"}},
      {"hello-v6.pcap",
       {"Hello 105s delay 500+2500 DR 1 ID 1234abcd",
        "Hello 105s delay 500+2500 DR 1 ID 1234abce 2001:db8::a",
        "Hello 0s delay 500+2500 DR 1 ID 1234abcd"}},
      {"bsm-v4-global.pcap",
       {"BSM tag 1001" + v4 + "100; 224.0.0.0/4 2/2 192.0.2.11*0*150s 192.0.2.12*10*150s; " + big4 +
            "B 1/1 192.0.2.13*5*150s",
        "BSM tag 1002" + v4 + "100; 224.0.0.0/4 2/2 192.0.2.11*0*150s 192.0.2.12*10*0s"}},
      {"bsm-v6-global.pcap",
       {"BSM tag 1001" + v6 + "100; ff00::/8 2/2 2001:db8::11*0*150s 2001:db8::12*10*150s; " +
            big6 + "B 1/1 2001:db8::13*5*150s",
        "BSM tag 1002" + v6 + "100; ff00::/8 2/2 2001:db8::11*0*150s 2001:db8::12*10*0s"}},
      {"bsm-v4-scoped.pcap",
       {"BSM tag 2001" + v4 + "50; 239.1.0.0/16 Z 0/0; " + big4 + "1/1 192.0.2.14*1*180s",
        "BSM tag 2002" + v4 + "50; 239.1.0.0/16 Z 1/1 192.0.2.15*1*180s; " + big4 + "0/0"}},
      {"bsm-v6-scoped.pcap",
       {"BSM tag 2001" + v6 + "50; ff05::/16 Z 0/0; " + big6 + "1/1 2001:db8::14*1*180s",
        "BSM tag 2002" + v6 + "50; ff05::/16 Z 1/1 2001:db8::15*1*180s; " + big6 + "0/0"}},
      {"bsm-v4-fragmented.pcap",
       {"BSM tag 3001" + v4 + "100; 224.0.0.0/4 2/2" + rps("192.0.2.", false, 11, 2) + "; " + big4 +
            "10/28" + rps("192.0.2.", false, 13, 10),
        "BSM tag 3001" + v4 + "100; " + big4 + "10/28" + rps("192.0.2.", false, 23, 10),
        "BSM tag 3001" + v4 + "100; " + big4 + "8/28" + rps("192.0.2.", false, 33, 8)}},
      {"bsm-v6-fragmented.pcap",
       {"BSM tag 3001" + v6 + "100; ff00::/8 2/2" + rps("2001:db8::", true, 0x11, 2) + "; " + big6 +
            "10/28" + rps("2001:db8::", true, 0x13, 10),
        "BSM tag 3001" + v6 + "100; " + big6 + "10/28" + rps("2001:db8::", true, 0x1d, 10),
        "BSM tag 3001" + v6 + "100; " + big6 + "8/28" + rps("2001:db8::", true, 0x27, 8)}},
      {"bsm-v4-noforward.pcap",
       {"BSM-N tag 4001" + v4 + "100; 224.0.0.0/4 2/2" + rps("192.0.2.", false, 11, 2),
        "BSM-N tag 4002" + v4 + "100"}},
      {"bsm-v6-noforward.pcap",
       {"BSM-N tag 4001" + v6 + "100; ff00::/8 2/2" + rps("2001:db8::", true, 0x11, 2),
        "BSM-N tag 4002" + v6 + "100"}},
      {"crp-v4.pcap",
       {"C-RP 192.0.2.11*192*150s count 2; 239.1.2.0/24; 239.1.0.0/16 B",
        "C-RP 192.0.2.11*0*180s count 0", "C-RP 192.0.2.11*192*0s count 1; 239.1.2.0/24",
        "C-RP 192.0.2.11*10*150s count 1; 239.1.0.0/16 Z"}},
      {"crp-v6.pcap",
       {"C-RP 2001:db8::11*192*150s count 2; ff05::1:0/112; ff05::/16 B",
        "C-RP 2001:db8::11*0*180s count 0", "C-RP 2001:db8::11*192*0s count 1; ff05::1:0/112",
        "C-RP 2001:db8::11*10*150s count 1; ff05::/16 Z"}},
  };
}

TEST(Capture, OwnCapturesSayWhatTheyWereMadeToSay) {
  for (const auto& capture : ownCaptures()) {
    EXPECT_EQ(textsOf(TestKit::ownCapture(capture.file)), capture.says) << capture.file;
  }
}

// Whatever decodes is written back as the very octets that were captured.
TEST(Capture, OwnCapturesAreWrittenBackAsTheyWere) {
  unsigned written = 0;
  for (const auto& capture : ownCaptures()) {
    for (const auto& captured : TestKit::pimIn(TestKit::ownCapture(capture.file))) {
      const auto result = decodeCaptured(captured);
      if (TestKit::messageOf(result) == nullptr) continue;
      Octets octets(77, 0xa5);
      ASSERT_TRUE(encode(*TestKit::messageOf(result), octets)) << capture.file;
      EXPECT_EQ(octets, captured.octets) << capture.file << ' ' << TestKit::describe(result);
      ++written;
    }
  }
  EXPECT_EQ(written, 32U);
}

// The second frame, cut in the middle of an RP, kept the checksum of the whole message: it falls to
// the checksum as it stands and to its length once that is put right.
TEST(Capture, OwnBadFramesAreDroppedForTheirReason) {
  for (const char* name : {"bad-v4.pcap", "bad-v6.pcap"}) {
    const auto file = TestKit::ownCapture(name);
    EXPECT_EQ(textsOf(file),
              (std::vector<std::string>{"bad-checksum", "bad-checksum", "frag-count-above-count",
                                        "mask-too-long", "hash-mask-too-long"}));
    auto cut = TestKit::pimIn(file).at(1);
    pimChecksumIs(cut.octets, cut.source, cut.destination);
    EXPECT_EQ(TestKit::describe(decodeCaptured(cut)), "truncated") << name;
  }
}

// What is in captures of other makers' routers, by the first word of its description.
TEST(Capture, ForeignMessagesAreWhatTheyAre) {
  using Counts = std::map<std::string, unsigned>;
  const std::pair<const char*, Counts> captures[] = {
      {"PIMv2_bootstrap.pcap", {{"BSM", 4}, {"C-RP", 4}}},
      {"PIMv2_hellos.pcap", {{"Hello", 6}}},
      {"PIM_register_register-stop.pcap", {{"type", 2}}},
      {"pim_header_asan-2.pcap", {}},
  };
  for (const auto& [name, expected] : captures) {
    const auto file = TestKit::foreignCapture(name);
    if (!file) GTEST_SKIP() << "captures of other makers' routers are not present";
    Counts counts;
    for (const std::string& text : textsOf(*file)) ++counts[text.substr(0, text.find(' '))];
    EXPECT_EQ(counts, expected) << name;
  }
}

}  // namespace
}  // namespace Routing::Pim
