#pragma once

#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>

#include "agent/state/StateFile.h"
#include "tests/bsr/engine/CandidateFixture.h"

// The candidate's stage, with a directory where its state is kept: a router that dies and comes
// back as another one.

namespace Routing::Agent {

class StateFixture : public TestKit::CandidateFixture {
 protected:
  void SetUp() override {
    ASSERT_NE(mkdtemp(path.data()), nullptr);
    directory.emplace(path);
    file = newFile();
  }
  void TearDown() override {
    file.reset();
    std::filesystem::remove_all(path);
  }

  StateHeader own(AddressFamily af = AddressFamily::ipv4,
                  const std::string& vrf = "default") const {
    return {"1.0", "boot", now(), af, VrfName(vrf)};
  }
  std::unique_ptr<StateFile> newFile() {
    return std::make_unique<StateFile>(*directory, world.clock, own());
  }
  std::shared_ptr<Pim::Bsr::Status> restored() { return newFile()->restored(*router.limits); }

  std::string text(const std::string& name = "default.ipv4") const {
    std::ifstream in(path + "/" + name, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), {}};
  }
  void textIs(const std::string& text) const {
    std::ofstream(path + "/default.ipv4", std::ios::binary) << text;
    std::filesystem::permissions(path + "/default.ipv4", std::filesystem::perms(0600));
  }
  bool exists(const std::string& name) const {
    return std::filesystem::symlink_status(path + "/" + name).type() !=
           std::filesystem::file_type::not_found;
  }

  std::string path = testing::TempDir() + "pimbsr-state-XXXXXX";
  std::optional<StateDirectory> directory;
  std::unique_ptr<StateFile> file;
};

}  // namespace Routing::Agent
