#include <sys/stat.h>

#include "agent/state/StateFault.h"
#include "agent/state/StateStore.h"
#include "agent/state/StatusFromText.h"
#include "bsr/host/BsrInstance.h"
#include "tests/agent/state/StateFixture.h"

// What lies where a state file should be, and is not to be used: the instance begins anew, and what
// was there is put aside.

namespace Routing::Agent {
namespace {

using namespace TestKit;

struct Distrust : StateFixture {
  /// The state of a follower, in two batches.
  std::string wholeText() {
    hear(Bsm("192.0.2.9", 192).group("225.0.0.0/8", {{"10.9.9.9"}}));
    file->follow(router.status);
    hear(Bsm("192.0.2.9", 192).group("226.0.0.0/8", {{"10.8.8.8"}}));
    file->flush();
    return text();
  }
  /// Why a text is not used; nothing if it is.
  std::string fault(const std::string& text, const StateHeader& reader) {
    try {
      statusFromText(text, reader, *router.limits);
      return {};
    } catch (const StateFault& fault) {
      return fault.what();
    }
  }
  std::string fault(const std::string& text) { return fault(text, own()); }
  /// The same of lines that nobody has damaged.
  std::string faultOf(const std::string& lines) {
    std::string text;
    StateWriter().begin(own(), lines, text);
    return fault(text);
  }
};

TEST_F(Distrust, EveryDamageIsSeen) {
  const std::string whole = wholeText();
  ASSERT_EQ(fault(whole), "");
  const std::size_t firstBatch = whole.find("\n. ") + 12;
  for (std::size_t size = 0; size < whole.size(); ++size) {
    EXPECT_EQ(fault(whole.substr(0, size)).empty(), size == firstBatch) << size;
  }
  for (std::size_t at = 0; at < whole.size() * 8; ++at) {
    std::string damaged = whole;
    damaged[at / 8] = static_cast<char>(damaged[at / 8] ^ (1 << at % 8));
    EXPECT_NE(fault(damaged), "") << at;
  }
  EXPECT_EQ(fault(""), "is empty");
  EXPECT_EQ(fault("#!/bin/sh\n"), "is none of ours");
  EXPECT_EQ(fault(whole + "= 0/szTimeout 1\n"), "has a torn end");
  EXPECT_EQ(fault(whole + whole.substr(firstBatch)), "is damaged");
}

TEST_F(Distrust, TheStateOfAnotherIsNotUsed) {
  const std::string whole = wholeText();
  StateHeader other = own();
  other.boot = "next";
  EXPECT_EQ(fault(whole, other), "is of another boot");
  other = own();
  other.instant -= 1;
  EXPECT_EQ(fault(whole, other), "is of a time to come");
  EXPECT_EQ(fault(whole, own(AddressFamily::ipv6)), "is of another address family");
  EXPECT_EQ(fault(whole, own(AddressFamily::ipv4, "red")), "is of another VRF");
  EXPECT_EQ(fault("pimbsr-state 2" + whole.substr(14)), "has another format");
  other = own();
  other.product = "2.0";
  EXPECT_EQ(fault(whole, other), "") << "an upgrade of the product goes on with it";
}

TEST_F(Distrust, WhatNoInstanceCanHaveComeToIsNotBelieved) {
  const std::string rp =
      "+ 0/crpStatus[224.0.0.0/4]\n+ 1/status ''\n+ 2/crpSet[225.0.0.0/8]\n"
      "+ 3/rp[10.9.9.9]\n= 4/priority 1\n";
  const std::string bsr = "+ 0/bootstrapRouter[224.0.0.0/4]\n= 1/ipAddr 192.0.2.9\n";
  const std::string candidate = "+ 0/cbsr[224.0.0.0/4]\n";
  EXPECT_EQ(faultOf(rp + "= 4/expiryTime 1050\n"), "");
  EXPECT_EQ(faultOf(bsr + "= 1/expiryTime 1050\n= 1/hashMaskLen 128\n"), "");
  for (const std::string& lines : {std::string("= 0/nothing 1\n"),
                                   std::string("what\n"),
                                   std::string("\n"),
                                   std::string("= 0/af ipv6\n"),
                                   std::string("= 0/af unset\n"),
                                   std::string("- 0/counters\n"),
                                   rp + "= 4/expiryTime inf\n",
                                   rp + "= 4/expiryTime nan\n",
                                   rp + "= 4/expiryTime -inf\n",
                                   rp + "= 4/setupTime nan\n",
                                   rp + "= 4/setupTime 1e9\n",
                                   rp + "= 4/setupTime -1\n",
                                   rp + "= 4/priority 256\n",
                                   rp + "= 4/hashMaskLen 129\n",
                                   rp + "= 4/holdTime 65536\n",
                                   rp + "+ 3/rp[2001:db8::1]\n",
                                   rp + "+ 3/rp[unset]\n",
                                   rp + "+ 2/crpSet[ff00::/8]\n",
                                   rp + "+ 2/crpSet[10.0.0.0/8]\n",
                                   rp + "+ 0/crpStatus[225.0.0.0/8]\n",
                                   bsr + "= 1/ipAddr ff02::1\n",
                                   bsr + "= 1/priority 257\n",
                                   bsr + "= 1/hashMaskLen 129\n",
                                   bsr + "= 1/expiryTime inf\n",
                                   bsr + "= 1/upTime nan\n",
                                   bsr + "= 1/setupTime 1e9\n",
                                   std::string("+ 0/bootstrapRouter[none]\n"),
                                   std::string("+ 0/bootstrapRouter[ff00::/8]\n"),
                                   candidate + "= 1/address ::1\n",
                                   candidate + "= 1/priority 257\n",
                                   candidate + "= 1/hashMaskLen 129\n",
                                   std::string("+ 0/cbsr[0.0.0.0/0]\n"),
                                   std::string("+ 0/crp[::1]\n"),
                                   std::string("+ 0/crp[10.1.1.1]\n+ 1/prefixSet[ff00::/8]\n"),
                                   std::string("+ 0/bsBorder[ff00::/8]\n"),
                                   std::string("= 0/zoneGroup[ff00::/8] 'e'\n"),
                                   std::string("+ 0/crpPermit[::/0]\n")}) {
    EXPECT_NE(faultOf(lines), "") << lines;
  }
}

TEST_F(Distrust, AStateWithinTheLimitsAndNoLarger) {
  std::string ranges = "+ 0/crpStatus[224.0.0.0/4]\n+ 1/status ''\n";
  ranges +=
      "+ 2/crpSet[225.0.0.0/8]\n+ 2/crpSet[226.0.0.0/8]\n+ 3/rp[10.9.9.9]\n+ 4/rp[10.9.9.9]\n"
      "= 5-6/priority 1\n= 5-6/expiryTime 1050\n";
  const std::string zones =
      "+ 0/bootstrapRouter[224.0.0.0/4]\n+ 0/bootstrapRouter[239.0.0.0/8]\n= 1-2/expiryTime 1050\n";
  const std::string tooMuch = "holds more than the limits allow";
  router.limits->maxRpsIs(2);
  router.limits->maxGroupsIs(2);
  router.limits->maxZonesIs(1);
  EXPECT_EQ(faultOf(ranges), "");
  EXPECT_EQ(faultOf(zones), "") << "one zone beside the global one";
  EXPECT_EQ(faultOf(zones + "+ 0/bootstrapRouter[239.1.0.0/16]\n= 3/expiryTime 1050\n"), tooMuch);
  EXPECT_EQ(faultOf(ranges + "+ 2/crpSet[227.0.0.0/8]\n"), tooMuch);
  router.limits->maxRpsIs(1);
  EXPECT_EQ(faultOf(ranges), tooMuch);
}

TEST_F(Distrust, NoOfficeWithoutWhatItNeeds) {
  const std::string lines =
      "+ 0/cbsr[224.0.0.0/4]\n= 1/address 10.0.0.1\n= 1/priority 64\n"
      "= 1/hashMaskLen 30\n= 1/bsPeriod 60\n= 1/elected True\n"
      "+ 0/bootstrapRouter[224.0.0.0/4]\n= 2/ipAddr 10.0.0.1\n"
      "= 2/expiryTime 1060\n= 0/bsTimeout 130\n";
  const auto elected = [&](const std::string& more) {
    std::string text;
    StateWriter().begin(own(), lines + more, text);
    router.status = statusFromText(text, own(), *router.limits);
    return router.status->cbsr(prefix(global))->elected();
  };
  EXPECT_TRUE(elected(""));
  EXPECT_EQ(router.bsrOf(global), "10.0.0.1 256 128");
  for (const char* more :
       {"= 1/address unset\n", "= 1/priority 256\n", "= 1/hashMaskLen 128\n", "= 1/bsPeriod 0\n",
        "- 0/bootstrapRouter[224.0.0.0/4]\n", "= 2/ipAddr 192.0.2.9\n", "= 1/elected False\n",
        "= 2/expiryTime 930\n"}) {
    EXPECT_FALSE(elected(more)) << more;
  }
  EXPECT_EQ(router.bsrOf(global), "none") << "its followers have given it up";
}

TEST_F(Distrust, NoRpOutlivesItsHoldTime) {
  std::string text;
  StateWriter().begin(own(),
                      "+ 0/crpStatus[224.0.0.0/4]\n+ 1/status ''\n+ 2/crpSet[225.0.0.0/8]\n"
                      "+ 3/rp[10.9.9.9]\n+ 3/rp[10.9.9.8]\n+ 3/rp[10.9.9.7]\n= 4-6/priority 1\n"
                      "= 4-6/holdTime 1\n= 4-6/expiryTime 1e300\n= 5/holdTime 0\n"
                      "= 6/expiryTime 0\n",
                      text);
  router.status = statusFromText(text, own(), *router.limits);
  EXPECT_DOUBLE_EQ(rp("225.0.0.0/8", "10.9.9.9").expiryTime(), now() + 1);
  EXPECT_DOUBLE_EQ(rp("225.0.0.0/8", "10.9.9.8").expiryTime(), now() + 65535);
  EXPECT_EQ(router.rpSetOf(global).size(), 2U);
}

TEST_F(Distrust, WhateverElseIsThereIsPutAside) {
  const std::string whole = wholeText();
  const std::string name = path + "/default.ipv4";
  const auto isPutAside = [&] {
    const bool cold =
        restored() == nullptr && !exists("default.ipv4") && exists("default.ipv4.bad");
    return cold;
  };
  textIs(whole + "x");
  EXPECT_TRUE(isPutAside());
  EXPECT_EQ(text("default.ipv4.bad"), whole + "x");
  EXPECT_EQ(restored(), nullptr) << "nothing is there";
  std::filesystem::create_directories(name + "/more");
  EXPECT_TRUE(isPutAside());
  std::filesystem::remove(name + ".bad/more");
  std::filesystem::create_symlink("/etc/passwd", name);
  EXPECT_TRUE(isPutAside());
  ASSERT_EQ(mkfifo(name.c_str(), 0600), 0);
  EXPECT_TRUE(isPutAside());
  textIs(whole);
  std::filesystem::permissions(name, std::filesystem::perms(0640));
  EXPECT_TRUE(isPutAside());
  textIs("");
  std::filesystem::resize_file(name, 1ULL << 40U);
  EXPECT_TRUE(isPutAside());
  textIs(whole);
  EXPECT_NE(restored(), nullptr);
  EXPECT_TRUE(exists("default.ipv4"));
}

TEST_F(Distrust, ADirectoryIsHeldByOneProcessAndOwnedByIt) {
  EXPECT_THROW(StateDirectory{path}, std::system_error) << "we hold it";
  directory.reset();
  EXPECT_NO_THROW(StateDirectory{path});
  std::filesystem::permissions(path, std::filesystem::perms(0755));
  EXPECT_THROW(StateDirectory{path}, std::system_error);
  std::filesystem::permissions(path, std::filesystem::perms(0700));
  std::filesystem::create_directory_symlink(path, path + "-link");
  EXPECT_THROW(StateDirectory{path + "-link"}, std::system_error);
  std::filesystem::remove(path + "-link");
  directory.emplace(path);
}

TEST_F(Distrust, NothingIsLeftOfInstancesThatDoNotComeBack) {
  file->follow(router.status);
  struct stat made {};
  ASSERT_EQ(stat((path + "/default.ipv4").c_str(), &made), 0);
  EXPECT_EQ(made.st_mode & 0777, 0600U);
  for (const char* name : {"red.ipv6", "red.ipv4.new", "red.ipv4.bad", "notes"}) {
    std::ofstream(path + "/" + name) << "x";
  }
  directory.reset();
  StateStore store(world.clock);
  store.open(path);
  store.fileOf(VrfName("default"), AddressFamily::ipv4);
  store.dropOthers();
  EXPECT_TRUE(exists("default.ipv4") && exists("red.ipv4.bad") && exists("notes"));
  EXPECT_FALSE(exists("red.ipv6") || exists("red.ipv4.new"));
  const auto odd = store.fileOf(VrfName("../a b"), AddressFamily::ipv4);
  EXPECT_EQ(odd->name(), "%2e%2e%2fa%20b.ipv4");
  const auto status = Pim::Bsr::newStatus(VrfName("../a b"), AddressFamily::ipv4);
  odd->follow(status);
  EXPECT_TRUE(exists(odd->name()));
  odd->remove();
  status->szTimeoutIs(1);
  odd->flush();
  EXPECT_FALSE(exists(odd->name()));
}

TEST_F(Distrust, AStateThatCannotBeWrittenIsNoErrorAndComesBack) {
  file->follow(router.status);
  std::filesystem::create_directories(path + "/default.ipv4.new/in-the-way");
  for (unsigned i = 0; i < 3000; ++i) {  // until it is to be written anew
    router.status->szTimeoutIs(i + 1);
    file->flush();
  }
  EXPECT_FALSE(exists("default.ipv4"));
  std::filesystem::remove_all(path + "/default.ipv4.new");
  wait(StateFile::retrySeconds);
  router.status->szTimeoutIs(1);
  file->flush();
  EXPECT_NE(restored(), nullptr);
}

TEST_F(Distrust, AStateThatIsTooLongIsNotKept) {
  const auto megabytes = [this](unsigned most) {
    for (unsigned i = 0; i < most; ++i) {
      router.status->zoneAclIs(std::string(1U << 20U, 'x') + std::to_string(i), IntfId("eth0"));
    }
  };
  megabytes(25);
  file->follow(router.status);
  EXPECT_TRUE(exists("default.ipv4"));
  router.status->zoneAclDelAll();
  megabytes(33);  // so much that it is written anew
  file->flush();
  EXPECT_FALSE(exists("default.ipv4"));
}

}  // namespace
}  // namespace Routing::Agent
